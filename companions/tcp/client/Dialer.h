#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_DIALER_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_DIALER_H

#include <memory>
#include <optional>

#include "companions/tcp/Connection.h"
#include "companions/tcp/client/ClientSettings.h"
#include "companions/tcp/client/Peer.h"

namespace Ferrolink::Companions::Tcp::Client {

/// Makes a connection of a connected socket, up to and including the handshake. Errors: ClientError
/// 003, 004 and 006; std::system_error for those of the network.
using Secure = std::unique_ptr<Connection>(PatientSocket socket, const ClientSettings& settings,
                                           const Peer& server);

/// A new connection to a Ferrolink server, greeted and ready for commands, made in the time that
/// the settings grant. Where a command ends at `end` and `servers` servers may be asked for it,
/// this one included, it has no more than its share of what is left. Errors: ClientError 001, 003,
/// 004, 006, 008; 009 where `end` has come.
std::unique_ptr<Connection> Dial(const Peer& server, const ClientSettings& settings, Secure& secure,
                                 std::optional<PatientSocket::Clock::time_point> end,
                                 std::size_t servers = 1);

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
