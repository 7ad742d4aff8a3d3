#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTSETTINGS_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTSETTINGS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace Ferrolink::Companions::Tcp::Client {

/// What the environment says about connections to come; docs/network.md lists the variables.
struct ClientSettings {
  std::chrono::milliseconds connectTimeout{};
  std::uint32_t frameLimit = 0;

  /// Errors: ClientError 006 with the variable's name.
  static ClientSettings read();
};

/// The TLS part of it. Empty texts stand for what is not set.
struct TlsSettings {
  std::string authorities;
  std::string certificate;
  std::string key;
  bool acceptAnyCertificate = false;

  /// Errors: as above.
  static TlsSettings read();
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
