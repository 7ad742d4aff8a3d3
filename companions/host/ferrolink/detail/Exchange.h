#ifndef FERROLINK_HOST_DETAIL_EXCHANGE_H
#define FERROLINK_HOST_DETAIL_EXCHANGE_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "ferrolink/Errors.h"
#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Host {

using Bytes = std::vector<std::uint8_t>;

inline Bytes ToBytes(std::string_view text) {
  return {text.begin(), text.end()};
}
inline std::string ToText(std::span<const std::uint8_t> bytes) {
  return {bytes.begin(), bytes.end()};
}

}  // namespace Ferrolink::Host

/// Commands of a C++ program over the in-process channel, and what comes back.
namespace Ferrolink::Host::detail {

namespace Header = Native::Definitions::CommandHeader;
using Native::Definitions::Runtime;

inline constexpr std::uint8_t kTypeCallHandler = 2;
// As kTypeCallHandler, with the milliseconds that are left in front: kTimeLeftSize bytes, the
// highest first.
inline constexpr std::uint8_t kTypeCallWithin = 3;
inline constexpr std::size_t kTimeLeftSize = 4;
inline constexpr std::size_t kLongestName = 255;
inline constexpr std::size_t kLoadLibraryPathOffset = 24;

/// A command without its body, for which room is reserved.
inline Bytes CommandOf(Runtime target, std::uint8_t type, std::size_t bodySize) {
  Bytes command;
  command.reserve(Header::kSize + bodySize);
  command.resize(Header::kSize);
  command[Header::kTargetRuntime] = static_cast<std::uint8_t>(target);
  command[Header::kCallingRuntime] = static_cast<std::uint8_t>(Runtime::Cpp);
  command[Header::kCommandType] = type;
  return command;
}

inline Bytes CallCommand(Runtime target, std::string_view handler,
                         std::span<const std::uint8_t> payload) {
  if (handler.size() > kLongestName) {
    throw ProtocolError("The handler's name is longer than 255 bytes: " + std::string(handler),
                        false);
  }
  Bytes command = CommandOf(target, kTypeCallHandler, 1 + handler.size() + payload.size());
  command.push_back(static_cast<std::uint8_t>(handler.size()));
  command.insert(command.end(), handler.begin(), handler.end());
  command.insert(command.end(), payload.begin(), payload.end());
  return command;
}

inline Bytes LoadLibraryCommand(Runtime target, std::string_view path) {
  Bytes command = CommandOf(target, Header::kTypeLoadLibrary,
                            kLoadLibraryPathOffset - Header::kSize + path.size());
  command.resize(kLoadLibraryPathOffset);
  command.insert(command.end(), path.begin(), path.end());
  return command;
}

[[noreturn]] inline void RaiseLibraryError(const std::string& text, bool executed) {
  const LibraryError error(text, executed);
  if (SaysDeadline(text)) {
    throw DeadlineError(text, error.MayHaveExecuted());
  }
  throw error;
}

/// Calls a library of the family, whose own errors become those of this helper. Failures of the
/// system and of memory stay what they are.
template <class Action>
auto CallLibrary(bool executed, Action action) {
  try {
    return action();
  } catch (const std::system_error&) {
    throw;
  } catch (const std::runtime_error& error) {
    RaiseLibraryError(error.what(), executed);
  }
}

/// Sends one command through a receiver or a transmitter and reads its reply on the same thread;
/// returns the reply's body. `who` names the called runtime in errors.
template <class Role>
Bytes Exchange(Role& role, Bytes& command, const std::string& who) {
  if (command.size() > INT_MAX) {
    throw ProtocolError("The command is longer than 2 GiB.", false);
  }
  const int length = CallLibrary(
      false, [&] { return role.SendCommand(command.data(), static_cast<int>(command.size())); });
  if (length < Header::kSize) {
    throw ProtocolError(who + " answered with " + std::to_string(length) +
                        " bytes, which is no reply.");
  }
  Bytes reply(static_cast<std::size_t>(length));
  // In-process channels route a read by the first byte of the buffer.
  reply[Header::kTargetRuntime] = command[Header::kTargetRuntime];
  CallLibrary(true, [&] { return role.ReadResponse(reply.data(), length); });
  const std::uint8_t type = reply[Header::kCommandType];
  reply.erase(reply.begin(), reply.begin() + Header::kSize);
  if (type == Header::kTypeExceptionReport) {
    throw RemoteError(ToText(reply));
  }
  return reply;
}

template <class Role>
void Heartbeat(Role& role, Runtime target, const std::string& who) {
  Bytes command = CommandOf(target, Header::kTypeHeartBeat, 2);
  command.push_back('1');
  command.push_back('2');
  if (Exchange(role, command, who) != Bytes{'1', '2'}) {
    throw ProtocolError(who + " answered a heartbeat with other bytes than it carried.");
  }
}

}  // namespace Ferrolink::Host::detail

#endif
