#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SERVERTLS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SERVERTLS_H

#include <string>
#include <vector>

#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/server/Events.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The server's certificate, key, authorities and revocation list, read from their files at start
/// and again whenever they change. One thread at a time.
class ServerTls {
 public:
  /// Errors: TlsFileError.
  ServerTls(const ServerOptions& options, const Events& events);

  /// For connections that are made from now on; null without TLS.
  [[nodiscard]] const TlsContext& Context() const { return m_context; }

  /// Reads all files again. Files that cannot be used are logged, and the old ones stay.
  void ReadAgain();
  /// The same, where a file is another one than before.
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
