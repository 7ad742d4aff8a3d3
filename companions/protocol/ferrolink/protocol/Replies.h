#ifndef FERROLINK_PROTOCOL_REPLIES_H
#define FERROLINK_PROTOCOL_REPLIES_H

#include <cstdint>
#include <string_view>
#include <utility>

#include "ferrolink/protocol/Bytes.h"
#include "ferrolink/protocol/CommandParts.h"
#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Protocol {

/// An answer without its body, which the caller appends. `to` is the code of the runtime that gets
/// it, see CallerOf. The answer is built in `room`; what was in there is discarded:
/// @code
/// Bytes answer = EmptyAnswer(CallerOf(command), Runtime::Cpp);
/// answer.push_back(42);
/// @endcode
[[nodiscard]] inline Bytes EmptyAnswer(std::uint8_t to, Native::Definitions::Runtime from,
                                       Bytes room = {}) {
  Bytes reply = std::move(room);
  reply.assign(Header::kSize, 0);
  reply[Header::kTargetRuntime] = to;
  reply[Header::kCallingRuntime] = static_cast<std::uint8_t>(from);
  return reply;
}

/// The answer to a heartbeat, with the body of the command. Requires a complete header of the
/// command.
[[nodiscard]] inline Bytes HeartBeatAnswer(ByteView command, Native::Definitions::Runtime from) {
  Bytes reply = EmptyAnswer(CallerOf(command), from);
  const ByteView body = command.subspan(Header::kSize);
  reply.insert(reply.end(), body.begin(), body.end());
  return reply;
}

/// Reports a failure to the runtime with the code `to`. `text` should be UTF-8, which nothing
/// checks:
/// @code
/// return ExceptionReport(CallerOf(command), Runtime::Cpp, "Unknown handler 'f'.");
/// @endcode
[[nodiscard]] inline Bytes ExceptionReport(std::uint8_t to, Native::Definitions::Runtime from,
                                           std::string_view text) {
  Bytes reply = EmptyAnswer(to, from);
  reply[Header::kCommandType] = Header::kTypeExceptionReport;
  reply.insert(reply.end(), text.begin(), text.end());
  return reply;
}

/// The answer to a load-library command that succeeded. It is the same for every caller.
[[nodiscard]] inline Bytes LibraryLoadedAnswer(Native::Definitions::Runtime from) {
  const auto reply = Header::LibraryLoadedBy(from);
  return {reply.begin(), reply.end()};
}

/// Whether a reply is an exception report. If so, its body is the text:
/// @code
/// if (IsExceptionReport(reply)) {
///   throw std::runtime_error(ToText(BodyOf(reply)));
/// }
/// @endcode
[[nodiscard]] inline bool IsExceptionReport(ByteView reply) {
  return HasHeader(reply) && TypeOf(reply) == Header::kTypeExceptionReport;
}

/// The body of a command or reply as a view; it may be empty. Requires a complete header.
/// @code
/// const ByteView result = BodyOf(reply);
/// @endcode
[[nodiscard]] inline ByteView BodyOf(ByteView reply) {
  return reply.subspan(Header::kSize);
}

}  // namespace Ferrolink::Protocol

#endif
