#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SERVERTLS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SERVERTLS_H

#include <string>
#include <vector>

#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/TlsFiles.h"
#include "companions/tcp/server/Events.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The server's certificate, key, authorities and revocation list. Read from their files at start,
/// and again whenever they change. Not thread-safe.
class ServerTls {
 public:
  /// Errors: TlsFileError.
  ServerTls(const ServerOptions& options, const Events& events);

  /// The context for new connections; null without TLS.
  [[nodiscard]] const TlsContext& Context() const { return m_context; }

  /// Reads all files again. If some cannot be used, that is logged and the previous ones stay.
  void ReadAgain();
  /// The same, if a file has changed.
  void ReadAgainIfChanged();

 private:
  [[nodiscard]] TlsContext Read() const;
  [[nodiscard]] std::vector<std::string> Stamps() const;

  const ServerOptions& m_options;
  const Events& m_events;
  std::vector<std::string> m_stamps;  ///< of the files, before they were read last
  TlsContext m_context;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
