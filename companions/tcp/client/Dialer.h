#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_DIALER_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_DIALER_H

#include <cstdint>
#include <memory>
#include <string>

#include "companions/tcp/Connection.h"

namespace Ferrolink::Companions::Tcp::Client {

/// Where a channel leads to.
struct Peer {
  std::string host;
  std::uint16_t port = 0;

  [[nodiscard]] std::string name() const { return host + ":" + std::to_string(port); }
};

/// What tells the two client libraries apart: makes a connection of a connected socket, up to and
/// including the handshake. Errors: ClientError 004 and 006; std::system_error for those of the
/// network.
using Secure = std::unique_ptr<Connection>(PatientSocket socket, std::uint32_t limit,
                                           const Peer& peer);

/// A new connection to a Ferrolink server, greeted and ready for commands, made in the time that
/// the settings grant. Errors: ClientError 001, 003, 004, 006.
std::unique_ptr<Connection> dial(const Peer& peer, Secure& secure);

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
