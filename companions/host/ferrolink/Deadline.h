#ifndef FERROLINK_HOST_DEADLINE_H
#define FERROLINK_HOST_DEADLINE_H

#include <chrono>

namespace Ferrolink::Host {

/// The moment at which a caller gives up: a time from now on, or a time point. A time of zero or
/// less is over at once. More than 2^32 - 1 milliseconds, 49 days, count as that.
class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  template <class Rep, class Period>
  Deadline(std::chrono::duration<Rep, Period> limit)  // NOLINT(google-explicit-constructor)
      : m_moment(Clock::now() + Bounded(limit)) {}
  Deadline(Clock::time_point moment)  // NOLINT(google-explicit-constructor)
      : m_moment(moment) {}

  [[nodiscard]] Clock::time_point Moment() const { return m_moment; }
  [[nodiscard]] bool IsOver() const { return Clock::now() >= m_moment; }

 private:
  // Compared as numbers with a fraction, which have room for every duration.
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
