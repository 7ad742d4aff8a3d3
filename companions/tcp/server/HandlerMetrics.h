#ifndef FERROLINK_COMPANIONS_TCP_SERVER_HANDLERMETRICS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_HANDLERMETRICS_H

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "companions/tcp/server/Metrics.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The counters of one handler's calls. Thread-safe.
struct Metrics::Handler {
  /// Upper bounds of the histogram, in microseconds. The last bucket has all longer times.
  static constexpr std::array<std::int64_t, 16> kBounds = {
      50,     100,    250,     500,     1'000,   2'500,     5'000,     10'000,
      25'000, 50'000, 100'000, 250'000, 500'000, 1'000'000, 2'500'000, 10'000'000};

  Handler(std::string_view itsName, std::string itsLabel)
      : name(itsName), label(std::move(itsLabel)) {}

  void Count(CallResult result, std::chrono::nanoseconds duration) {
    using std::chrono::microseconds;
    const auto bucket = std::lower_bound(kBounds.begin(), kBounds.end(), duration,
                                         [](std::int64_t bound, std::chrono::nanoseconds time) {
                                           return microseconds(bound) < time;
                                         });
    buckets[static_cast<std::size_t>(bucket - kBounds.begin())].fetch_add(
        1, std::memory_order_relaxed);
    nanoseconds.fetch_add(static_cast<std::uint64_t>(duration.count()), std::memory_order_relaxed);
    if (result == CallResult::Failed) {
      failed.fetch_add(1, std::memory_order_relaxed);
    }
  }

  const std::string name;
  const std::string label;  ///< the name, fit for a text; no two handlers have the same
  std::array<Counter, kBounds.size() + 1> buckets{};
  Counter nanoseconds{0};
  Counter failed{0};
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
