#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_DIALER_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_DIALER_H

#include <cstddef>
#include <memory>
#include <optional>

#include "companions/tcp/Connection.h"
#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/client/ClientSettings.h"
#include "companions/tcp/client/Peer.h"

namespace Ferrolink::Companions::Tcp::Client {

/// Makes a connection of a connected socket, up to and including the handshake. Errors: ClientError
/// 003, 004 and 006; std::system_error for network errors.
using Secure = std::unique_ptr<Connection>(PatientSocket socket, const ClientSettings& settings,
                                           const Peer& server);

/// A new connection to a Ferrolink server, greeted and ready for commands. The settings limit the
/// time. If a command ends at `end` and may try `servers` servers, this one included, the limit is
/// also this server's share of the remaining time. Errors: ClientError 001, 003, 004, 006, 008; 009
/// if `end` has passed.
std::unique_ptr<Connection> Dial(const Peer& server, const ClientSettings& settings, Secure& secure,
                                 std::optional<PatientSocket::Clock::time_point> end,
                                 std::size_t servers = 1);

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
