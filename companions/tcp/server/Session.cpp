#include "companions/tcp/server/Session.h"

#include <cxxabi.h>

#include <algorithm>
#include <asio/error.hpp>
#include <exception>
#include <optional>
#include <system_error>

#include "companions/tcp/server/CommandGate.h"
#include "companions/tcp/server/Refusals.h"
#include "native/interfaces/CommandHeader.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

namespace Header = Native::Definitions::CommandHeader;

using Clock = PatientSocket::Clock;

// How long a session keeps its thread and its slot without a command, and how long while others
// need slots.
constexpr std::chrono::milliseconds kStay{1000};
constexpr std::chrono::milliseconds kShortStay{10};

// A client that sends its next command within that time costs no poll(2). How much later a session
// without a command notices that the server goes away; no longer than the short stay.
constexpr std::chrono::milliseconds kSoon{10};

// A peer that moves bytes more slowly than 4 KiB a second gets no more time for them than for none.
constexpr std::chrono::nanoseconds kPerByte{1'000'000'000 / 4096};

// Memory for a command grows by that at least, no faster than it doubles, and by that at most.
// 64 KiB and what surrounds them take one step.
constexpr std::size_t kFirstStep = (64U << 10U) + 4096;
constexpr std::size_t kLongestStep = 1U << 20U;

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Whether a response says that the handler raised an exception.
bool isException(std::span<const std::uint8_t> response) {
  return response.size() >= Header::kSize &&
         response[Header::kCommandType] == Header::kTypeExceptionReport;
}

bool isOver(const Wire::FrameHeader& header, Clock::time_point arrived) {
  return header.milliseconds != Wire::kNoTimeLimit &&
         Clock::now() - arrived >= std::chrono::milliseconds(header.milliseconds);
}

}  // namespace

// As for the other run, below: the end of the thread passes through.
__attribute__((no_sanitize("null"))) Session::End Session::run() {
  try {
    m_connection.socket().dontWait(false);
    m_connection.socket().abortBy(m_around.departure.descriptor());
    m_connection.socket().expectWithin(kSoon);
    m_connection.keepBuffers(true);
    return serve();
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& error) {
    m_around.events.broke(m_guest, error.what());
  }
  return End::Closed;
}

Session::End Session::serve() {
  std::optional<Member::ThreadStay> stay;
  try {
    stay.emplace(m_around.member);
  } catch (const std::exception& error) {
    return refuseFirst(error.what());
  }
  for (;;) {
    Next next = awaitHeader();
    if (next == Next::Frame) {
      next = answerNext();
    }
    switch (next) {
      case Next::Frame:
        break;
      case Next::Idle:
        return End::Idle;
      case Next::GoAway:
        return End::GoingAway;
      case Next::Close:
        return End::Closed;
      case Next::Linger:
        return End::Answered;
    }
  }
}

// The command whose header has come, which the runtime cannot execute on this thread.
Session::End Session::refuseFirst(const std::string& why) {
  Wire::FrameHeader header;
  m_connection.receiveHeader(header);
  m_connection.nextNumber();
  refuse("The runtime does not take the server's thread: " + why + " The command was not executed.",
         Refusal::Busy);
  return End::Answered;
}

// Bytes that flow keep a frame going, but none buys more than `progress` in advance.
void Session::limitBy(std::chrono::milliseconds progress) {
  m_connection.socket().waitAtMost(progress);
  m_connection.socket().waitWhileItFlows(progress, kPerByte);
}

Session::Next Session::awaitHeader() {
  asio::error_code error;
  if (m_connection.unread() == 0) {
    m_connection.socket().waitUntil(std::nullopt);
    const auto idle = m_around.options.idleTimeout;
    const auto stay = m_around.crowd.isDense() ? kShortStay : kStay;
    m_connection.socket().waitAtMost(idle.count() == 0 ? stay : std::min(stay, idle));
    m_connection.readAhead(error);
    if (error == asio::error::timed_out) {
      return Next::Idle;
    }
    if (error == asio::error::eof) {
      return Next::Close;
    }
  }
  if (!error && !m_connection.hasHeader()) {
    limitBy(m_around.options.readTimeout);
    while (!error && !m_connection.hasHeader()) {
      m_connection.readAhead(error);
    }
  }
  if (error == asio::error::operation_aborted) {
    return Next::GoAway;
  }
  if (error) {
    throw std::system_error(error);
  }
  return Next::Frame;
}

Session::Next Session::answerNext() {
  Wire::FrameHeader header;
  try {
    m_connection.receiveHeader(header);
  } catch (const FrameTooLong& tooLong) {
    m_connection.nextNumber();
    return refuse(std::string("The command has ") + tooLong.what() + " (--max-frame-bytes).",
                  Refusal::Command);
  }
  const bool isLimited = header.milliseconds != Wire::kNoTimeLimit;
  const auto arrived = isLimited ? Clock::now() : Clock::time_point();
  if (header.number != m_connection.nextNumber()) {
    return refuse(Refusals::kOtherNumber, Refusal::Command);
  }
  if (header.status != Wire::Status::Payload) {
    return refuse(Refusals::kNoCommand, Refusal::Command);
  }
  if (const Next next = receiveCommand(header); next != Next::Frame) {
    return next;
  }
  m_around.events.metrics().received(Wire::kFrameHeaderSize + header.length);
  const Next next = reply(execute(header, arrived));
  m_command.clear();
  m_response.clear();
  return next;
}

// Memory is charged as the bytes come. A command that did not come altogether was not begun.
Session::Next Session::receiveCommand(const Wire::FrameHeader& header) {
  try {
    m_command.begin(header.length);
    if (m_connection.unread() < header.length) {
      limitBy(m_around.options.readTimeout);
    }
    for (std::size_t got = 0; got < header.length; got = m_command.bytes().size()) {
      const std::size_t step = std::clamp(got, kFirstStep, kLongestStep);
      m_connection.receiveBytes(m_command.extend(std::min(header.length - got, step)));
    }
    return Next::Frame;
  } catch (const MemoryUsedUp&) {
    return refuse(Refusals::kNoMemory, Refusal::Busy);
  } catch (const std::system_error& error) {
    if (error.code() == asio::error::operation_aborted) {
      return refuse(Refusals::kGoingAway, Refusal::GoingAway);
    }
    if (error.code() == asio::error::timed_out) {
      return refuse(Refusals::kTooSlow, Refusal::Command);
    }
    throw;
  }
}

Session::Next Session::refuse(const std::string& text, Refusal kind) {
  m_command.clear();
  return reply(notBegun(Wire::Status::FinalNotBegun, text, kind));
}

Session::Next Session::reply(const Answer& answer) {
  Wire::FrameHeader header;
  header.number = m_connection.number();
  header.status = answer.status;
  const std::span<const std::uint8_t> bytes =
      answer.status == Wire::Status::Payload ? m_response.bytes() : bytesOf(answer.text);
  limitBy(m_around.options.writeTimeout);
  m_connection.send(header, bytes);
  m_around.events.metrics().sent(Wire::kFrameHeaderSize + bytes.size());
  return Wire::endsConnection(answer.status) ? Next::Linger : Next::Frame;
}

// The name of the handler is in the command's bytes, if they have come.
Session::Answer Session::notBegun(Wire::Status status, std::string text, Refusal kind) {
  m_around.events.notBegun(m_guest, handlerOf(m_command.bytes()), text, kind);
  return {status, std::move(text)};
}

Session::Answer Session::execute(const Wire::FrameHeader& header, Clock::time_point arrived) {
  if (m_around.departure.hasBegun()) {
    return notBegun(Wire::Status::FinalNotBegun, Refusals::kGoingAway, Refusal::GoingAway);
  }
  if (isOver(header, arrived)) {
    return notBegun(Wire::Status::TimeOver, Refusals::kTimeOver, Refusal::TimeOver);
  }
  Answer answer = admit(m_command.bytes());
  if (answer.text.size() > m_connection.limit()) {
    answer.text.resize(m_connection.limit());
  }
  return answer;
}

// What the client may not do is not begun.
Session::Answer Session::admit(std::span<std::uint8_t> command) {
  const AccessRules::Client* client = m_guest.rules();
  if (std::string refusal = whyRefused(command, m_around.options, client); !refusal.empty()) {
    const bool byRules = whyRefused(command, m_around.options).empty();
    return notBegun(Wire::Status::NotBegun, std::move(refusal),
                    byRules ? Refusal::Rules : Refusal::Command);
  }
  if (client == nullptr) {
    return run(command);
  }
  const std::optional<AccessRules::Call> call = client->beginCall();
  if (!call) {
    return notBegun(Wire::Status::NotBegun, client->tooManyCalls(), Refusal::Rules);
  }
  return run(command);
}

// Whatever fails is an answer, but for the end of the thread, which cannot be stopped; the C++
// runtime binds the reference that catches it to nothing, which the undefined-behaviour sanitizer
// would report.
__attribute__((no_sanitize("null"))) Session::Answer Session::run(std::span<std::uint8_t> command) {
  RunningCall call(m_around.events, m_guest, handlerOf(command));
  try {
    return runAs(command, call);
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& error) {
    const std::string text = error.what();
    return {Wire::Status::Error,
            text.empty() ? "The runtime raised an exception without a text." : text};
  } catch (...) {
    return {Wire::Status::Error, "The runtime raised something that is no standard exception."};
  }
}

Session::Answer Session::runAs(std::span<std::uint8_t> command, RunningCall& call) {
  const std::size_t length = m_around.member.execute(command);
  m_command.clear();
  if (length > m_connection.limit()) {
    m_around.member.dropResponse(length);
    return {Wire::Status::Error,
            "The response has " + std::string(FrameTooLong(length, m_connection.limit()).what()) +
                " (--max-frame-bytes). The command was executed."};
  }
  try {
    m_response.begin(length);
    m_around.member.readResponse(m_response.extend(length));
  } catch (const MemoryUsedUp& usedUp) {
    m_around.member.dropResponse(length);
    return {Wire::Status::Error, "The response has " + std::to_string(length) + " bytes, but " +
                                     usedUp.what() + ". The command was executed."};
  }
  if (!isException(m_response.bytes())) {
    call.answered();
  }
  return {};
}

}  // namespace Ferrolink::Companions::Tcp::Server
