#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_COMMANDTIME_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_COMMANDTIME_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/Wire.h"
#include "ferrolink/protocol/CommandParts.h"

namespace Ferrolink::Companions::Tcp::Client {

/// The time limit of a command; none if neither the command nor its endpoint has one.
class CommandTime {
 public:
  using Clock = PatientSocket::Clock;
  using Milliseconds = std::chrono::milliseconds;

  CommandTime(std::span<const std::uint8_t> command, Clock::time_point start) : m_start(start) {
    const std::optional<std::uint32_t> milliseconds = Protocol::TimeLimitOf(command);
    if (!milliseconds) {
      return;
    }
    m_isOwn = true;
    if (*milliseconds != Wire::kNoTimeLimit) {
      m_end = start + Milliseconds(*milliseconds);
    }
  }

  /// Sets the limit if the command has none of its own.
  void LimitUnlessOwn(std::optional<Milliseconds> usual) {
    if (!m_isOwn) {
      m_end = usual ? std::optional(m_start + *usual) : std::nullopt;
    }
  }

  [[nodiscard]] const std::optional<Clock::time_point>& end() const { return m_end; }
  [[nodiscard]] bool IsOver() const { return m_end && Clock::now() >= *m_end; }

  /// The remaining time for a frame's header. It is rounded up, so the server's time does not end
  /// before ours.
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
