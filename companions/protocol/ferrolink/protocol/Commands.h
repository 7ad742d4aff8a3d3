#ifndef FERROLINK_PROTOCOL_COMMANDS_H
#define FERROLINK_PROTOCOL_COMMANDS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ferrolink/protocol/Bytes.h"
#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Protocol {

/// Offsets, types and limits: CommandHeader.h.
namespace Header = Native::Definitions::CommandHeader;

/// The runtimes of the family; see native/interfaces/Runtime.h.
using Native::Definitions::Runtime;

/// Where a command goes and who sends it. Members that are left out name a runtime of this process,
/// called by C++:
/// @code
/// const Route java = {.target = Runtime::Jvm};
/// const Route server = {.target = Runtime::Jvm,
///                       .channel = Header::kChannelTcp,
///                       .address = {127, 0, 0, 1},
///                       .port = 8080};
/// @endcode
struct Route {
  Runtime target{};                          ///< the runtime that executes the command
  Runtime caller = Runtime::Cpp;             ///< the runtime that sends it
  std::uint8_t channel = 0;                  ///< one of Header::kChannel...
  std::array<std::uint8_t, 4> address = {};  ///< IPv4, octets in written order
  std::uint16_t port = 0;                    ///< of a network channel, else 0
};

/// Writes a header of Header::kSize bytes, for commands that are built in place:
/// @code
/// std::array<std::uint8_t, Header::kSize> command;
/// WriteHeader(command.data(), {.target = Runtime::Jvm}, Header::kTypeHeartBeat);
/// @endcode
inline void WriteHeader(std::uint8_t* command, const Route& route, std::uint8_t type) {
  command[Header::kTargetRuntime] = static_cast<std::uint8_t>(route.target);
  command[Header::kLaunchArgument] = 0;
  command[Header::kChannelType] = route.channel;
  for (std::size_t octet = 0; octet < route.address.size(); ++octet) {
    command[Header::kAddress + octet] = route.address[octet];
  }
  command[Header::kPort] = static_cast<std::uint8_t>(route.port & 0xFFU);
  command[Header::kPort + 1] = static_cast<std::uint8_t>(route.port >> 8U);
  command[Header::kCallingRuntime] = static_cast<std::uint8_t>(route.caller);
  command[Header::kCommandType] = type;
}

/// A command without its body. Reserves room for the body, which the caller appends:
/// @code
/// Bytes command = EmptyCommand({.target = Runtime::Cpp}, Header::kTypeHeartBeat, 1);
/// command.push_back('!');
/// @endcode
[[nodiscard]] inline Bytes EmptyCommand(const Route& route, std::uint8_t type,
                                        std::size_t bodySize = 0) {
  Bytes command;
  command.reserve(Header::kSize + bodySize);
  command.resize(Header::kSize);
  WriteHeader(command.data(), route, type);
  return command;
}

namespace detail {

/// Appends bytes to a command.
inline void Append(Bytes& command, ByteView bytes) {
  command.insert(command.end(), bytes.begin(), bytes.end());
}

/// Appends the body of a call: the length of the name, the name, the payload.
inline void AppendCall(Bytes& command, std::string_view handler, ByteView payload) {
  command.push_back(static_cast<std::uint8_t>(handler.size()));
  Append(command, AsBytes(handler));
  Append(command, payload);
}

/// Refuses a name whose length does not fit into one byte. Errors: std::length_error.
inline void RequireName(std::string_view handler) {
  if (handler.size() > Header::kLongestName) {
    throw std::length_error("The handler's name is longer than 255 bytes: " + std::string(handler));
  }
}

}  // namespace detail

/// A call of the handler that is registered under a name of 1 to 255 bytes of UTF-8:
/// @code
/// Bytes command = CallCommand({.target = Runtime::Jvm}, "echo", payload);
/// @endcode
/// The called runtime refuses an empty name. Copies the payload once. Errors: std::length_error for
/// a longer name.
[[nodiscard]] inline Bytes CallCommand(const Route& route, std::string_view handler,
                                       ByteView payload) {
  detail::RequireName(handler);
  Bytes command =
      EmptyCommand(route, Header::kTypeCallHandler, 1 + handler.size() + payload.size());
  detail::AppendCall(command, handler, payload);
  return command;
}

/// The number of bytes in a call without a time limit, for WriteCall. Errors: std::length_error for
/// a name over 255 bytes.
[[nodiscard]] inline std::size_t CallSize(std::string_view handler, ByteView payload) {
  detail::RequireName(handler);
  return Header::kNameLength + 1 + handler.size() + payload.size();
}

/// The same as CallCommand, written to a buffer of CallSize bytes:
/// @code
/// std::vector<std::uint8_t> command(CallSize("echo", payload));
/// WriteCall(command.data(), {.target = Runtime::Jvm}, "echo", payload);
/// @endcode
inline void WriteCall(std::uint8_t* command, const Route& route, std::string_view handler,
                      ByteView payload) {
  WriteHeader(command, route, Header::kTypeCallHandler);
  command[Header::kNameLength] = static_cast<std::uint8_t>(handler.size());
  std::uint8_t* const name = command + Header::kNameLength + 1;
  std::copy(handler.begin(), handler.end(), name);
  std::copy(payload.begin(), payload.end(), name + handler.size());
}

/// A call with a time limit, which network clients and servers observe; runtimes ignore it:
/// @code
/// Bytes command = CallWithinCommand(server, 2000, "echo", payload);
/// @endcode
/// A limit of 0 milliseconds is over at once; 2^32 - 1 is no limit. Errors: std::length_error for a
/// longer name.
[[nodiscard]] inline Bytes CallWithinCommand(const Route& route, std::uint32_t milliseconds,
                                             std::string_view handler, ByteView payload) {
  detail::RequireName(handler);
  Bytes command = EmptyCommand(route, Header::kTypeCallWithin,
                               Header::kTimeLimitSize + 1 + handler.size() + payload.size());
  for (const unsigned shift : {24U, 16U, 8U, 0U}) {
    command.push_back(static_cast<std::uint8_t>(milliseconds >> shift & 0xFFU));
  }
  detail::AppendCall(command, handler, payload);
  return command;
}

/// Asks the target to load a library: an archive, a shared library, whatever the runtime has:
/// @code
/// Bytes command = LoadLibraryCommand({.target = Runtime::Jvm}, "/srv/handlers.jar");
/// @endcode
/// The target reads the path up to its first zero byte. A relative path counts from the current
/// directory of the target.
[[nodiscard]] inline Bytes LoadLibraryCommand(const Route& route, std::string_view path) {
  Bytes command = EmptyCommand(route, Header::kTypeLoadLibrary,
                               Header::kLibraryPath - Header::kSize + path.size());
  command.resize(Header::kLibraryPath);
  detail::Append(command, AsBytes(path));
  return command;
}

/// Asks for a sign of life. The answer has the same body, which may be empty:
/// @code
/// Bytes command = HeartBeatCommand({.target = Runtime::Jvm}, AsBytes("12"));
/// @endcode
[[nodiscard]] inline Bytes HeartBeatCommand(const Route& route, ByteView body) {
  Bytes command = EmptyCommand(route, Header::kTypeHeartBeat, body.size());
  detail::Append(command, body);
  return command;
}

}  // namespace Ferrolink::Protocol

#endif
