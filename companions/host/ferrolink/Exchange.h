#ifndef FERROLINK_HOST_EXCHANGE_H
#define FERROLINK_HOST_EXCHANGE_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "ferrolink/Deadline.h"
#include "ferrolink/Errors.h"
#include "ferrolink/detail/NotExecuted.h"
#include "ferrolink/detail/ThreadBuffer.h"
#include "ferrolink/detail/TimedExchange.h"
#include "ferrolink/protocol/Bytes.h"
#include "ferrolink/protocol/CommandParts.h"
#include "ferrolink/protocol/Commands.h"
#include "ferrolink/protocol/Replies.h"

/// Commands of a C++ program through a role, which is a receiver or a transmitter of a member, and
/// their replies. Host and Caller are built on these functions:
/// @code
/// IReceiver* receiver = OpenReceiver(FindLibrary({}));
/// Bytes command = CallCommand(Runtime::Jvm, "echo", AsBytes("hello"));
/// const Bytes reply = Exchange(*receiver, command, "Java");
/// @endcode
/// Thread rule: a role may be used by any thread; a command and its reply stay on one thread.
namespace Ferrolink::Host {

using Native::Definitions::Runtime;
using Protocol::AsBytes;
using Protocol::Bytes;
using Protocol::ByteView;
using Protocol::ToBytes;
using Protocol::ToText;

namespace detail {

/// Throws the error for a text of the native libraries: DeadlineError or LibraryError.
[[noreturn]] inline void RaiseLibraryError(const std::string& text, bool executed) {
  const LibraryError error(text, executed);
  if (SaysDeadline(text)) {
    throw DeadlineError(text, error.MayHaveExecuted());
  }
  throw error;
}

/// Calls a member and turns its errors into those of Errors.h. `executed` says that the command was
/// executed before. System errors and memory errors pass through unchanged.
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

/// Sends one command through a role and reads its reply into the buffer, which may hold the
/// command. Returns the reply's body, a view of the buffer. Errors: those of Exchange.
template <class Role>
ByteView ExchangeIn(ThreadBuffer& buffer, Role& role, std::uint8_t* command, std::size_t size,
                    std::string_view who) {
  namespace Header = Protocol::Header;
  if (size > INT_MAX) {
    throw ProtocolError("The command is longer than 2 GiB.", false);
  }
  const std::uint8_t target = command[Header::kTargetRuntime];
  const int length =
      CallLibrary(false, [&] { return role.SendCommand(command, static_cast<int>(size)); });
  if (length < Header::kSize) {
    throw ProtocolError(std::string(who) + " answered with " + std::to_string(length) +
                        " bytes, which is no reply.");
  }
  std::uint8_t* const reply = buffer.Room(static_cast<std::size_t>(length));
  // In-process channels route a read by the first byte of the buffer.
  reply[Header::kTargetRuntime] = target;
  CallLibrary(true, [&] { return role.ReadResponse(reply, length); });
  const ByteView whole(reply, static_cast<std::size_t>(length));
  if (Protocol::IsExceptionReport(whole)) {
    throw RemoteError(ToText(Protocol::BodyOf(whole)));
  }
  return Protocol::BodyOf(whole);
}

/// Writes a call of a handler in this process to the start of the buffer. Returns its size. Errors:
/// ProtocolError for a name over 255 bytes.
inline std::size_t WriteCallIn(ThreadBuffer& buffer, Runtime target, std::string_view handler,
                               ByteView payload) {
  try {
    const std::size_t size = Protocol::CallSize(handler, payload);
    Protocol::WriteCall(buffer.Room(size), {.target = target}, handler, payload);
    return size;
  } catch (const std::length_error& error) {
    throw ProtocolError(error.what(), false);
  }
}

/// Copies an answer to a buffer of the caller's. Returns its size. Errors: AnswerTooLong.
inline std::size_t CopyAnswer(ByteView answer, std::span<std::uint8_t> to) {
  if (answer.size() > to.size()) {
    throw AnswerTooLong(answer, to.size());
  }
  std::copy(answer.begin(), answer.end(), to.begin());
  return answer.size();
}

}  // namespace detail

/// A call of a handler in this process, sent by C++:
/// @code
/// Bytes command = CallCommand(Runtime::Jvm, "echo", AsBytes("hello"));
/// @endcode
/// Errors: ProtocolError for a name over 255 bytes.
inline Bytes CallCommand(Runtime target, std::string_view handler, ByteView payload) {
  try {
    return Protocol::CallCommand({.target = target}, handler, payload);
  } catch (const std::length_error& error) {
    throw ProtocolError(error.what(), false);
  }
}

/// Sends one command through a role and reads its reply on the same thread. Returns the reply's
/// body. `who` names the called runtime in errors. The command is not changed.
///
/// Role has the functions SendCommand and ReadResponse of IReceiver, ITransmitter or ITransport.
/// Errors: RemoteError for an exception report; LibraryError; DeadlineError if a network client
/// gave up; ProtocolError for bytes that are no reply, and for a command over 2 GiB, which is not
/// sent.
template <class Role>
Bytes Exchange(Role& role, Bytes& command, std::string_view who) {
  detail::ThreadBuffer buffer;
  const ByteView body = detail::ExchangeIn(buffer, role, command.data(), command.size(), who);
  return {body.begin(), body.end()};
}

/// Asks a runtime for a sign of life, and so starts it:
/// @code
/// ExchangeHeartbeat(*receiver, Runtime::Jvm, "Java");
/// @endcode
/// Errors: those of Exchange; ProtocolError if the answer has another body.
template <class Role>
void ExchangeHeartbeat(Role& role, Runtime target, std::string_view who) {
  const Bytes body = {'1', '2'};
  Bytes command = Protocol::HeartBeatCommand({.target = target}, body);
  if (Exchange(role, command, who) != body) {
    throw ProtocolError(std::string(who) +
                        " answered a heartbeat with other bytes than it carried.");
  }
}

/// Asks a runtime to load a library. The runtime looks up a relative path from its own current
/// directory:
/// @code
/// ExchangeLoadLibrary(*receiver, Runtime::Jvm, "/srv/handlers.jar", "Java");
/// @endcode
/// Errors: those of Exchange.
template <class Role>
void ExchangeLoadLibrary(Role& role, Runtime target, std::string_view path, std::string_view who) {
  Bytes command = Protocol::LoadLibraryCommand({.target = target}, path);
  Exchange(role, command, who);
}

/// To be called before any work for a command with a deadline. Errors: DeadlineError if the time is
/// over.
inline void RequireTimeLeft(const Deadline& deadline) {
  if (deadline.IsOver()) {
    detail::FailUnsent();
  }
}

/// Sends one command on a thread of its own and waits for its reply, at most until the deadline:
/// @code
/// const Deadline deadline = std::chrono::seconds(2);
/// RequireTimeLeft(deadline);
/// Bytes reply = ExchangeWithin(*receiver, std::move(command), "Java", deadline);
/// @endcode
/// A command that was given up runs on, and its reply is dropped. At most 256 such commands run at
/// a time; further ones wait for a free thread. The role must live until the process ends. Errors:
/// those of Exchange; DeadlineError; std::system_error if the system has no thread.
template <class Role>
Bytes ExchangeWithin(Role& role, Bytes command, const std::string& who, const Deadline& deadline) {
  detail::TimedThreads& threads = detail::TimedThreads::Instance();
  const auto timed = std::make_shared<detail::TimedExchange>(std::move(command), who);
  if (!threads.Take(deadline)) {
    detail::FailUnsent();
  }
  const std::shared_ptr<void> share(
      &threads, [](void* taken) { static_cast<detail::TimedThreads*>(taken)->GiveBack(); });
  std::thread([timed, share, &role, deadline] {
    timed->Run(deadline,
               [&role](Bytes& sent, const std::string& to) { return Exchange(role, sent, to); });
  }).detach();
  return timed->Wait(deadline);
}

}  // namespace Ferrolink::Host

#endif
