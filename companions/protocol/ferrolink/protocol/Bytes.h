#ifndef FERROLINK_PROTOCOL_BYTES_H
#define FERROLINK_PROTOCOL_BYTES_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The bytes that the runtimes of the family exchange: commands, replies, and their parts.
///
/// Every command and every reply is a header of 11 bytes and a body. The layout is in
/// native/interfaces/CommandHeader.h; these headers build and parse it:
/// @code
/// using namespace Ferrolink::Protocol;
/// Bytes command = CallCommand({.target = Runtime::Jvm}, "echo", AsBytes("hello"));
/// const HandlerCall call = CallOf(command);  // {"echo", "hello"}
/// @endcode
/// Thread rule: all functions are thread-safe. Memory: std::bad_alloc leaves nothing behind.
namespace Ferrolink::Protocol {

/// Bytes with an owner: a whole command or reply, or a payload.
using Bytes = std::vector<std::uint8_t>;

/// Bytes that somebody else owns. The view must not outlive them. Functions take payloads as views,
/// so vectors, arrays and spans need no copy.
using ByteView = std::span<const std::uint8_t>;

/// The bytes of a text, without a copy:
/// @code
/// host.Call("echo", AsBytes("hello"));
/// @endcode
[[nodiscard]] inline ByteView AsBytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Bytes as a text, without a copy. Nothing checks that they are UTF-8.
[[nodiscard]] inline std::string_view AsText(ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// A copy of a text's bytes.
[[nodiscard]] inline Bytes ToBytes(std::string_view text) {
  return {text.begin(), text.end()};
}

/// A copy of bytes as a text. Nothing checks that they are UTF-8.
[[nodiscard]] inline std::string ToText(ByteView bytes) {
  return {bytes.begin(), bytes.end()};
}

}  // namespace Ferrolink::Protocol

#endif
