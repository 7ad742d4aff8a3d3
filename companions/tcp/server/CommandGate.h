#ifndef FERROLINK_COMPANIONS_TCP_SERVER_COMMANDGATE_H
#define FERROLINK_COMPANIONS_TCP_SERVER_COMMANDGATE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "companions/tcp/server/AccessRules.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The handler that a command calls, as a view of the command; empty if it calls none or is
/// malformed.
std::string_view HandlerOf(std::span<const std::uint8_t> command);

/// Why a command from the network must not reach the member; empty if it may. `client` is the
/// sender, null without rules. Thread-safe.
std::string WhyRefused(std::span<const std::uint8_t> command, const ServerOptions& options,
                       const AccessRules::Client* client = nullptr);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
