#ifndef FERROLINK_HOST_DEADLINE_H
#define FERROLINK_HOST_DEADLINE_H

#include <chrono>

namespace Ferrolink::Host {

/// The moment at which a caller gives up. A duration or a time point converts to it.
/// @code
/// host.Call("echo", bytes, std::chrono::seconds(2));
/// host.Call("echo", bytes, Deadline::Clock::now() + std::chrono::seconds(2));
/// @endcode
/// A duration counts from its conversion. Several calls with one Deadline therefore share the time.
/// Copyable. Thread rule: thread-safe.
class Deadline {
 public:
  /// The monotonic clock. Changes of the system time have no effect on it.
  using Clock = std::chrono::steady_clock;

  /// A time from now on, in any unit. Zero or less has expired at once. The maximum is 2^32 - 1
  /// milliseconds (49 days); longer times are shortened to it.
  template <class Rep, class Period>
  Deadline(std::chrono::duration<Rep, Period> limit)  // NOLINT(google-explicit-constructor)
      : m_moment(Clock::now() + Bounded(limit)) {}
  /// A moment of the monotonic clock. It may have passed.
  Deadline(Clock::time_point moment)  // NOLINT(google-explicit-constructor)
      : m_moment(moment) {}

  /// The moment at which the caller gives up. It may have passed.
  [[nodiscard]] Clock::time_point Moment() const { return m_moment; }
  /// Whether that moment has passed.
  [[nodiscard]] bool IsOver() const { return Clock::now() >= m_moment; }

 private:
  // Floating-point numbers: they cannot overflow in the comparison, whatever the duration's unit.
  template <class Rep, class Period>
  static Clock::duration Bounded(std::chrono::duration<Rep, Period> limit) {
    constexpr std::chrono::milliseconds kLongest(0xFFFFFFFF);
    const std::chrono::duration<double> seconds(limit);
    if (!(seconds.count() > 0)) {
      return Clock::duration::zero();
    }
    return seconds >= kLongest ? Clock::duration(kLongest)
                               : std::chrono::ceil<Clock::duration>(limit);
  }

  Clock::time_point m_moment;
};

}  // namespace Ferrolink::Host

#endif
