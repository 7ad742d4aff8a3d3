#ifndef FERROLINK_PROTOCOL_COMMANDPARTS_H
#define FERROLINK_PROTOCOL_COMMANDPARTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ferrolink/protocol/Bytes.h"
#include "native/interfaces/CommandHeader.h"

namespace Ferrolink::Protocol {

/// Offsets, types and limits: native/interfaces/CommandHeader.h.
namespace Header = Native::Definitions::CommandHeader;

/// A command that cannot be executed, for a reason that its sender can mend. what() is the whole
/// text of the exception report that answers it:
/// @code
/// try {
///   return Run(CallOf(command));
/// } catch (const CommandRejected& rejected) {
///   return ExceptionReport(CallerOf(command), Runtime::Cpp, rejected.what());
/// }
/// @endcode
class CommandRejected : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The parts of a call. Both are views of the command and valid as long as its bytes are:
/// @code
/// const HandlerCall call = CallOf(command);
/// Bytes answer = handlers.at(call.name)(call.payload);
/// @endcode
struct HandlerCall {
  std::string_view name;  ///< 1 to 255 bytes, not checked to be UTF-8
  ByteView payload;       ///< possibly empty
};

/// Whether the command or reply has a complete header. Must be called first for bytes of an unknown
/// sender; most functions below require it.
/// @code
/// if (!HasHeader(command)) {
///   return Refuse("shorter than a header");
/// }
/// @endcode
[[nodiscard]] inline bool HasHeader(ByteView command) {
  return command.size() >= Header::kSize;
}

/// The type of a command or reply: one of Header::kType..., or another number if the sender made a
/// mistake. Requires a complete header.
/// @code
/// if (TypeOf(command) == Header::kTypeHeartBeat) {
///   return HeartBeatAnswer(command, Runtime::Cpp);
/// }
/// @endcode
[[nodiscard]] inline std::uint8_t TypeOf(ByteView command) {
  return command[Header::kCommandType];
}

/// The code of the calling runtime, to which the reply is addressed. It may be no code of Runtime.
/// The result is 0 if the header is incomplete, so that even then a reply can be addressed.
[[nodiscard]] inline std::uint8_t CallerOf(ByteView command) {
  return HasHeader(command) ? command[Header::kCallingRuntime] : 0;
}

/// Whether the command calls a handler, with or without a time limit. Requires a complete header.
[[nodiscard]] inline bool IsCall(ByteView command) {
  return TypeOf(command) == Header::kTypeCallHandler || TypeOf(command) == Header::kTypeCallWithin;
}

namespace detail {

/// The offset of the length of the handler's name. Requires a call.
inline std::size_t NameLengthOffset(ByteView command) {
  return TypeOf(command) == Header::kTypeCallWithin ? Header::kNameLengthWithin
                                                    : Header::kNameLength;
}

/// Throws the CommandRejected that says why FindCall found nothing. Requires a complete header.
[[noreturn]] inline void RejectCall(ByteView command) {
  const std::size_t place = NameLengthOffset(command);
  if (!IsCall(command)) {
    throw CommandRejected("Malformed command: type " + std::to_string(TypeOf(command)) +
                          " calls no handler.");
  }
  if (command.size() <= place) {
    throw CommandRejected(
        place == Header::kNameLengthWithin
            ? "Malformed command: a call with a time limit begins with four bytes of "
              "milliseconds, and the length and the name of a handler; " +
                  std::to_string(command.size() - Header::kSize) + " bytes follow the header."
            : "Malformed command: the body is empty, it must begin with the length and the name "
              "of a handler.");
  }
  if (command[place] == 0) {
    throw CommandRejected("Malformed command: the handler's name is empty.");
  }
  throw CommandRejected("Malformed command: a handler's name of " + std::to_string(command[place]) +
                        " bytes is announced, " + std::to_string(command.size() - place - 1) +
                        " bytes follow.");
}

}  // namespace detail

/// The parts of a call; nothing if the command is malformed or calls no handler. For programs that
/// pass such commands on, as a server does:
/// @code
/// const auto call = FindCall(command);
/// log.Note(call ? call->name : "no call");
/// @endcode
[[nodiscard]] inline std::optional<HandlerCall> FindCall(ByteView command) {
  if (!HasHeader(command) || !IsCall(command)) {
    return std::nullopt;
  }
  const std::size_t place = detail::NameLengthOffset(command);
  if (command.size() <= place) {
    return std::nullopt;
  }
  const std::size_t length = command[place];
  const ByteView rest = command.subspan(place + 1);
  if (length == 0 || rest.size() < length) {
    return std::nullopt;
  }
  return HandlerCall{AsText(rest.first(length)), rest.subspan(length)};
}

/// The parts of a call, for the program that executes it. Requires a complete header. Both parts
/// are views of the command. Errors: CommandRejected if the command is malformed or calls no
/// handler.
/// @code
/// const HandlerCall call = CallOf(command);
/// log.Note(call.name);
/// @endcode
[[nodiscard]] inline HandlerCall CallOf(ByteView command) {
  const std::optional<HandlerCall> call = FindCall(command);
  if (!call) {
    detail::RejectCall(command);
  }
  return *call;
}

/// The milliseconds that a call with a time limit has left; nothing for all other commands, and for
/// a call that ends before its limit does. 2^32 - 1 stands for no limit:
/// @code
/// const auto limit = TimeLimitOf(command);
/// const bool limited = limit && *limit != 0xFFFFFFFF;
/// @endcode
[[nodiscard]] inline std::optional<std::uint32_t> TimeLimitOf(ByteView command) {
  if (command.size() < Header::kTimeLimit + Header::kTimeLimitSize ||
      TypeOf(command) != Header::kTypeCallWithin) {
    return std::nullopt;
  }
  std::uint32_t milliseconds = 0;
  for (const std::uint8_t byte : command.subspan(Header::kTimeLimit, Header::kTimeLimitSize)) {
    milliseconds = milliseconds << 8U | byte;
  }
  return milliseconds;
}

/// The path of a load-library command. It ends at the first zero byte or at the end of the command.
/// The file may not exist. Requires a complete header. Errors: CommandRejected if the path is
/// missing or empty.
[[nodiscard]] inline std::string LibraryPathOf(ByteView command) {
  if (command.size() <= Header::kLibraryPath) {
    throw CommandRejected("Malformed command: a load-library command of " +
                          std::to_string(command.size()) + " bytes, at least " +
                          std::to_string(Header::kLibraryPath + 1) + " are needed.");
  }
  const std::string_view text = AsText(command.subspan(Header::kLibraryPath));
  std::string path(text.substr(0, text.find('\0')));
  if (path.empty()) {
    throw CommandRejected("Malformed command: the library's path is empty.");
  }
  return path;
}

}  // namespace Ferrolink::Protocol

#endif
