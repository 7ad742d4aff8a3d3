#ifndef FERROLINK_COMPANIONS_TCP_SERVER_COMMANDGATE_H
#define FERROLINK_COMPANIONS_TCP_SERVER_COMMANDGATE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "companions/tcp/server/AccessRules.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The handler that a command calls, within the command; empty where it calls none, or is not
/// formed like a call.
std::string_view HandlerOf(std::span<const std::uint8_t> command);

/// Why a command from the network does not get to the member; empty where it does. `client` is who
/// sends it, null where there are no rules. Any thread.
std::string WhyRefused(std::span<const std::uint8_t> command, const ServerOptions& options,
                       const AccessRules::Client* client = nullptr);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
