#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_SERVERTEXT_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_SERVERTEXT_H

#include <cstdint>
#include <span>
#include <string>

#include "companions/tcp/Connection.h"
#include "companions/tcp/client/Peer.h"

namespace Ferrolink::Companions::Tcp::Client {

/// A server's error text, made printable. UTF-8, line breaks and tabs stay. Other control
/// characters and bytes that are not UTF-8 become \xNN. Truncated at 64 KiB.
std::string ServerText(std::span<const std::uint8_t> bytes);

/// Raises the error in an answer without a response: ClientError 008 or 009, or std::runtime_error
/// with the server's text.
[[noreturn]] void FailWithAnswer(const Peer& server, const Frame& answer);

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
