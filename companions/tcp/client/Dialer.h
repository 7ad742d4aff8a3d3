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
/// the settings grant, and before `end`. Errors: ClientError 001, 003, 004, 006, 009.
std::unique_ptr<Connection> dial(const Peer& server, const ClientSettings& settings, Secure& secure,
                                 std::optional<PatientSocket::Clock::time_point> end);

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
