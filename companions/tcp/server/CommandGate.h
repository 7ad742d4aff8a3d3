#ifndef FERROLINK_COMPANIONS_TCP_SERVER_COMMANDGATE_H
#define FERROLINK_COMPANIONS_TCP_SERVER_COMMANDGATE_H

#include <cstdint>
#include <span>
#include <string>

#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Why a command from the network does not get to the member; empty where it does. Any thread.
std::string whyRefused(std::span<const std::uint8_t> command, const ServerOptions& options);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
