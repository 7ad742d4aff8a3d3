#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_TLSCONTEXTS_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_TLSCONTEXTS_H

#include <map>
#include <mutex>
#include <string>

#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/TlsFiles.h"
#include "companions/tcp/client/ClientSettings.h"

namespace Ferrolink::Companions::Tcp::Client {

/// The TLS contexts of new connections, one per combination of files. A context is made again after
/// one of its files has changed. Connections keep their context.
///
/// Thread-safe. The lock is held while a context is made, so a burst of connections makes one.
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
