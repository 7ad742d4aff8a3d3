#include "companions/tcp/server/Session.h"

#include <cxxabi.h>

#include <algorithm>
#include <asio/error.hpp>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <system_error>

#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/Wire.h"
#include "companions/tcp/server/AccessRules.h"
#include "companions/tcp/server/CommandGate.h"
#include "companions/tcp/server/Metrics.h"
#include "companions/tcp/server/Refusals.h"
#include "ferrolink/protocol/Replies.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

using Clock = PatientSocket::Clock;

// How long a session without a command keeps its thread and slot, normally and while slots are
// scarce.
constexpr std::chrono::milliseconds kStay{1000};
constexpr std::chrono::milliseconds kShortStay{10};

// A client that sends its next command within this time saves a poll(2). A session without a
// command may notice a shutdown that much later. Not longer than the short stay.
constexpr std::chrono::milliseconds kSoon{10};

// Peers slower than 4 KiB a second get no additional time for their bytes.
constexpr std::chrono::nanoseconds kPerByte{1'000'000'000 / 4096};

// The steps by which memory for a command grows: the least and the greatest; at most it doubles. 64
// KiB with header take one step.
constexpr std::size_t kFirstStep = (64U << 10U) + 4096;
constexpr std::size_t kLongestStep = 1U << 20U;

std::span<const std::uint8_t> BytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

bool IsOver(const Wire::FrameHeader& header, Clock::time_point arrived) {
  return header.milliseconds != Wire::kNoTimeLimit &&
         Clock::now() - arrived >= std::chrono::milliseconds(header.milliseconds);
}

}  // namespace

// The forced unwinding at the end of a thread passes through; see the other overload below.
__attribute__((no_sanitize("null"))) Session::End Session::Run() {
  try {
    m_connection.Socket().DontWait(false);
    m_connection.Socket().AbortBy(m_around.departure.Descriptor());
    m_connection.Socket().ExpectWithin(kSoon);
    m_connection.KeepBuffers(true);
    return Serve();
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& error) {
    m_around.events.Broke(m_guest, error.what());
  }
  return End::Closed;
}

Session::End Session::Serve() {
  std::optional<Member::ThreadStay> stay;
  try {
    stay.emplace(m_around.member);
  } catch (const std::exception& error) {
    return RefuseFirst(error.what());
  }
  for (;;) {
    Next next = AwaitHeader();
    if (next == Next::Frame) {
      next = AnswerNext();
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

// Refuses the command whose header has arrived, because the runtime cannot use this thread.
Session::End Session::RefuseFirst(const std::string& why) {
  Wire::FrameHeader header;
  m_connection.ReceiveHeader(header);
  m_connection.NextNumber();
  Refuse("The runtime does not take the server's thread: " + why + " The command was not executed.",
         Refusal::Busy);
  return End::Answered;
}

// Arriving bytes extend the time for a frame, but to `progress` ahead at most.
void Session::LimitBy(std::chrono::milliseconds progress) {
  m_connection.Socket().WaitAtMost(progress);
  m_connection.Socket().WaitWhileItFlows(progress, kPerByte);
}

Session::Next Session::AwaitHeader() {
  asio::error_code error;
  if (m_connection.Unread() == 0) {
    m_connection.Socket().WaitUntil(std::nullopt);
    const auto idle = m_around.options.idleTimeout;
    const auto stay = m_around.crowd.IsDense() ? kShortStay : kStay;
    m_connection.Socket().WaitAtMost(idle.count() == 0 ? stay : std::min(stay, idle));
    m_connection.ReadAhead(error);
    if (error == asio::error::timed_out) {
      return Next::Idle;
    }
    if (error == asio::error::eof) {
      return Next::Close;
    }
  }
  if (!error && !m_connection.HasHeader()) {
    LimitBy(m_around.options.readTimeout);
    while (!error && !m_connection.HasHeader()) {
      m_connection.ReadAhead(error);
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

Session::Next Session::AnswerNext() {
  Wire::FrameHeader header;
  try {
    m_connection.ReceiveHeader(header);
  } catch (const FrameTooLong& tooLong) {
    m_connection.NextNumber();
    return Refuse(std::string("The command has ") + tooLong.what() + " (--max-frame-bytes).",
                  Refusal::Command);
  }
  const bool isLimited = header.milliseconds != Wire::kNoTimeLimit;
  const auto arrived = isLimited ? Clock::now() : Clock::time_point();
  if (header.number != m_connection.NextNumber()) {
    return Refuse(Refusals::kOtherNumber, Refusal::Command);
  }
  if (header.status != Wire::Status::Payload) {
    return Refuse(Refusals::kNoCommand, Refusal::Command);
  }
  if (const Next next = ReceiveCommand(header); next != Next::Frame) {
    return next;
  }
  m_around.events.GetMetrics().Received(Wire::kFrameHeaderSize + header.length);
  const Next next = Reply(Execute(header, arrived));
  m_command.Clear();
  m_response.Clear();
  return next;
}

// Charges memory as the bytes arrive. A command that arrived only in part was not begun.
Session::Next Session::ReceiveCommand(const Wire::FrameHeader& header) {
  try {
    m_command.begin(header.length);
    if (m_connection.Unread() < header.length) {
      LimitBy(m_around.options.readTimeout);
    }
    for (std::size_t got = 0; got < header.length; got = m_command.Bytes().size()) {
      const std::size_t step = std::clamp(got, kFirstStep, kLongestStep);
      m_connection.ReceiveBytes(m_command.Extend(std::min(header.length - got, step)));
    }
    return Next::Frame;
  } catch (const MemoryUsedUp&) {
    return Refuse(Refusals::kNoMemory, Refusal::Busy);
  } catch (const std::system_error& error) {
    if (error.code() == asio::error::operation_aborted) {
      return Refuse(Refusals::kGoingAway, Refusal::GoingAway);
    }
    if (error.code() == asio::error::timed_out) {
      return Refuse(Refusals::kTooSlow, Refusal::Command);
    }
    throw;
  }
}

Session::Next Session::Refuse(const std::string& text, Refusal kind) {
  m_command.Clear();
  return Reply(NotBegun(Wire::Status::FinalNotBegun, text, kind));
}

Session::Next Session::Reply(const Answer& answer) {
  Wire::FrameHeader header;
  header.number = m_connection.Number();
  header.status = answer.status;
  const std::span<const std::uint8_t> bytes =
      answer.status == Wire::Status::Payload ? m_response.Bytes() : BytesOf(answer.text);
  LimitBy(m_around.options.writeTimeout);
  m_connection.Send(header, bytes);
  m_around.events.GetMetrics().Sent(Wire::kFrameHeaderSize + bytes.size());
  return Wire::EndsConnection(answer.status) ? Next::Linger : Next::Frame;
}

// Logs the handler's name if its bytes have arrived.
Session::Answer Session::NotBegun(Wire::Status status, std::string text, Refusal kind) {
  m_around.events.NotBegun(m_guest, HandlerOf(m_command.Bytes()), text, kind);
  return {status, std::move(text)};
}

Session::Answer Session::Execute(const Wire::FrameHeader& header, Clock::time_point arrived) {
  if (m_around.departure.HasBegun()) {
    return NotBegun(Wire::Status::FinalNotBegun, Refusals::kGoingAway, Refusal::GoingAway);
  }
  if (IsOver(header, arrived)) {
    return NotBegun(Wire::Status::TimeOver, Refusals::kTimeOver, Refusal::TimeOver);
  }
  Answer answer = Admit(m_command.Bytes());
  if (answer.text.size() > m_connection.Limit()) {
    answer.text.resize(m_connection.Limit());
  }
  return answer;
}

// A command that the client must not send is not begun.
Session::Answer Session::Admit(std::span<std::uint8_t> command) {
  const AccessRules::Client* client = m_guest.Rules();
  if (std::string refusal = WhyRefused(command, m_around.options, client); !refusal.empty()) {
    const bool byRules = WhyRefused(command, m_around.options).empty();
    return NotBegun(Wire::Status::NotBegun, std::move(refusal),
                    byRules ? Refusal::Rules : Refusal::Command);
  }
  if (client == nullptr) {
    return Run(command);
  }
  const std::optional<AccessRules::Call> call = client->BeginCall();
  if (!call) {
    return NotBegun(Wire::Status::NotBegun, client->TooManyCalls(), Refusal::Rules);
  }
  return Run(command);
}

// Every failure becomes an answer, except the end of the thread, which cannot be stopped. For that
// the C++ runtime binds the reference in the catch clause to null, which the undefined-behaviour
// sanitizer would report.
__attribute__((no_sanitize("null"))) Session::Answer Session::Run(std::span<std::uint8_t> command) {
  RunningCall call(m_around.events, m_guest, HandlerOf(command));
  try {
    return RunAs(command, call);
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

Session::Answer Session::RunAs(std::span<std::uint8_t> command, RunningCall& call) {
  const std::size_t length = m_around.member.Execute(command);
  m_command.Clear();
  if (length > m_connection.Limit()) {
    m_around.member.DropResponse(length);
    return {Wire::Status::Error,
            "The response has " + std::string(FrameTooLong(length, m_connection.Limit()).what()) +
                " (--max-frame-bytes). The command was executed."};
  }
  try {
    m_response.begin(length);
    m_around.member.readResponse(m_response.Extend(length));
  } catch (const MemoryUsedUp& usedUp) {
    m_around.member.DropResponse(length);
    return {Wire::Status::Error, "The response has " + std::to_string(length) + " bytes, but " +
                                     usedUp.what() + ". The command was executed."};
  }
  if (!Protocol::IsExceptionReport(m_response.Bytes())) {
    call.Answered();
  }
  return {};
}

}  // namespace Ferrolink::Companions::Tcp::Server
