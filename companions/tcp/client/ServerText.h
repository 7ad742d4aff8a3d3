#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_SERVERTEXT_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_SERVERTEXT_H

#include <cstdint>
#include <span>
#include <string>

#include "companions/tcp/Connection.h"
#include "companions/tcp/client/Peer.h"

namespace Ferrolink::Companions::Tcp::Client {

/// An error text that a server sent, fit to be shown. UTF-8 stays as it is, with its line breaks
/// and tabs; other control characters and bytes that are no UTF-8 appear as \xNN. Cut off at 64
/// KiB.
std::string ServerText(std::span<const std::uint8_t> bytes);

/// Raises what the server says in place of a response: ClientError 008 or 009, or
/// std::runtime_error with its text.
[[noreturn]] void FailWithAnswer(const Peer& server, const Frame& answer);

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
