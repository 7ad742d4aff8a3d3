#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_TLSCONTEXTS_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_TLSCONTEXTS_H

#include <map>
#include <mutex>
#include <string>

#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/client/ClientSettings.h"

namespace Ferrolink::Companions::Tcp::Client {

/// The TLS contexts of connections to come: one for each choice of files, made anew when one of the
/// files has changed. Connections keep the context that they were made with.
///
/// Any thread. The lock is held while a context is made, so that a burst of connections makes one.
class TlsContexts {
 public:
  /// Errors: ClientError 006 with the file.
  TlsContext ContextFor(const TlsSettings& settings);

 private:
  struct Kept {
    std::string files;  ///< how they were when the context was made
    TlsContext context;
  };

  // Guarded by m_mutex.
  std::mutex m_mutex;
  std::map<std::string, Kept> m_contexts;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
