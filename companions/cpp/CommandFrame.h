#ifndef FERROLINK_COMPANIONS_CPP_COMMANDFRAME_H
#define FERROLINK_COMPANIONS_CPP_COMMANDFRAME_H

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// The layout of commands and replies: a header of 11 bytes and a body.
namespace Ferrolink::Runtimes::Cpp::Native {

using Command = std::span<const std::uint8_t>;
using Reply = std::vector<std::uint8_t>;

/// A command that cannot be served, for a reason that its sender can do something about. what() is
/// the whole reply text.
class CommandRejected : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline constexpr std::uint8_t kTypeCallHandler = 2;
/// The body begins with the milliseconds that are left, four bytes, the highest first. They are for
/// those who wait and for networks; what follows is the body of a command of type 2.
inline constexpr std::uint8_t kTypeCallWithin = 3;

/// A command of type 2 or 3, taken apart; both parts lie in the command.
struct HandlerCall {
  std::string_view name;
  Command payload;
};

// All but callerOf expect a complete header.

/// The runtime to address the reply to; 0 for a command that is too short to name it.
std::uint8_t CallerOf(Command command);

/// Errors: CommandRejected where the body names no handler.
HandlerCall HandlerCallOf(Command command);

/// The path of a load-library command: from offset 24 to the first zero byte or the end. Errors:
/// CommandRejected for a command of less than 25 bytes and for an empty path.
std::string LibraryPathOf(Command command);

/// A reply of type 0 to `caller` that has no body yet.
Reply EmptyReply(std::uint8_t caller, Reply room = {});

/// A reply of type 0 that carries the command's body.
Reply HeartBeatReply(Command command);

/// A reply of type 10 whose body is `text`, of which what is not UTF-8 becomes U+FFFD. A text over
/// 1 MiB is cut off there.
Reply ExceptionReply(std::uint8_t caller, std::string_view text);

/// The answer to load-library, the same for every caller.
Reply LibraryLoadedReply();

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
