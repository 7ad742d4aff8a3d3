#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTSETTINGS_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTSETTINGS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "companions/tcp/client/Peer.h"

namespace Ferrolink::Companions::Tcp::Client {

/// How TLS connections authenticate both ends. Empty texts mean unset.
struct TlsSettings {
  std::string name;  ///< of the server, in place of its host
  std::string authorities;
  std::string revocationList;
  std::string certificate;
  std::string key;
  bool acceptAnyCertificate = false;

  /// These settings, replaced by variables of the environment that are set. Errors: ClientError 006
  /// with the variable's name.
  [[nodiscard]] TlsSettings WithEnvironment() const;
};

/// The settings for new connections, from the configuration and the environment; docs/network.md
/// lists keys and variables. A variable takes precedence over its key.
struct ClientSettings {
  unsigned revision = 0;      ///< of the configuration, or an earlier one
  std::vector<Peer> servers;  ///< one at least, to be tried in this order
  std::chrono::milliseconds connectTimeout{};
  std::uint32_t frameLimit = 0;
  std::optional<std::chrono::milliseconds> callTimeout;
  std::chrono::milliseconds unacknowledgedTimeout{};
  std::size_t poolSize = 0;
  bool requiresTls = false;
  TlsSettings tls;  ///< without the environment

  /// Errors: ClientError 006 with the name of the variable.
  static ClientSettings Read(const Peer& endpoint);
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
