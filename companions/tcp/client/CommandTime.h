#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_COMMANDTIME_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_COMMANDTIME_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/Wire.h"
#include "native/interfaces/CommandHeader.h"

namespace Ferrolink::Companions::Tcp::Client {

/// A command of this type calls a handler within a time: four bytes, big-endian, of milliseconds
/// that are left precede what the body of a call has.
inline constexpr std::uint8_t kTypeCallWithin = 3;

/// How long a command may take; without a limit where neither it nor its endpoint has one.
class CommandTime {
 public:
  using Clock = PatientSocket::Clock;
  using Milliseconds = std::chrono::milliseconds;

  CommandTime(std::span<const std::uint8_t> command, Clock::time_point start) : m_start(start) {
    namespace Header = Native::Definitions::CommandHeader;
    if (command.size() < Header::kSize + 4 || command[Header::kCommandType] != kTypeCallWithin) {
      return;
    }
    std::uint32_t milliseconds = 0;
    for (const std::uint8_t byte : command.subspan(Header::kSize, 4)) {
      milliseconds = milliseconds << 8U | byte;
    }
    m_isOwn = true;
    if (milliseconds != Wire::kNoTimeLimit) {
      m_end = start + Milliseconds(milliseconds);
    }
  }

  /// The limit of commands that have none of their own.
  void LimitUnlessOwn(std::optional<Milliseconds> usual) {
    if (!m_isOwn) {
      m_end = usual ? std::optional(m_start + *usual) : std::nullopt;
    }
  }

  [[nodiscard]] const std::optional<Clock::time_point>& end() const { return m_end; }
  [[nodiscard]] bool IsOver() const { return m_end && Clock::now() >= *m_end; }

  /// For a frame's header: rounded up, so that the server's time is not over before ours.
  [[nodiscard]] std::uint32_t Left() const {
    if (!m_end) {
      return Wire::kNoTimeLimit;
    }
    const auto left = std::chrono::ceil<Milliseconds>(*m_end - Clock::now()).count();
    return static_cast<std::uint32_t>(std::clamp<long long>(left, 0, Wire::kNoTimeLimit - 1));
  }

 private:
  Clock::time_point m_start;
  std::optional<Clock::time_point> m_end;
  bool m_isOwn = false;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
