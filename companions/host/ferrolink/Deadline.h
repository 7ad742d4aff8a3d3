#ifndef FERROLINK_HOST_DEADLINE_H
#define FERROLINK_HOST_DEADLINE_H

#include <chrono>

namespace Ferrolink::Host {

/// The moment at which a caller gives up. Copyable; implicitly made of a duration or a time point:
///
///     host.Call("echo", bytes, std::chrono::seconds(2));
///     host.Call("echo", bytes, Deadline::Clock::now() + std::chrono::seconds(2));
class Deadline {
 public:
  /// The monotonic clock: a change of the system time has no effect.
  using Clock = std::chrono::steady_clock;

  /// A time from now on. Zero or less is over at once. More than 2^32 - 1 milliseconds (49 days) is
  /// cut to that.
  template <class Rep, class Period>
  Deadline(std::chrono::duration<Rep, Period> limit)  // NOLINT(google-explicit-constructor)
      : m_moment(Clock::now() + Bounded(limit)) {}
  /// A moment of the monotonic clock.
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
