#ifndef FERROLINK_BENCH_HARNESS_ROUNDS_H
#define FERROLINK_BENCH_HARNESS_ROUNDS_H

#include <chrono>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

/// Compares several ways of doing the same work.
///
/// The results are ratios, and a machine's speed drifts by more than the ratios differ from 1:
/// other programs run, the clock rate changes, the collector starts. So no contender is measured
/// alone. All take turns in rounds of a few milliseconds, and a ratio is computed within each
/// round. The order is shuffled for each round. A turn begins with calls that do not count, because
/// the previous contender has changed caches and allocator. Google Benchmark interleaves
/// repetitions, but reports only each contender's own mean or median; for that reason it is not
/// used.
namespace Ferrolink::Bench {

/// Makes `calls` calls and returns their total time in nanoseconds.
using Batch = std::function<double(long calls)>;

struct Contender {
  std::string name;
  Batch run;
};

/// The results of one contender per round, in nanoseconds per call. Round i belongs to round i of
/// the others.
struct Series {
  std::string name;
  std::vector<double> nanoseconds;
};

struct Plan {
  int rounds = 100;
  double warmUpMilliseconds = 300;  ///< of each contender, before anything is kept
  double batchMilliseconds = 1;     ///< how long each turn lasts
};

std::vector<Series> Measure(const std::vector<Contender>& contenders, const Plan& plan);

struct Quartiles {
  double first = 0;
  double median = 0;
  double third = 0;
};
Quartiles QuartilesOf(std::vector<double> values);

/// The quartiles of a / b, computed per round.
Quartiles Ratio(const Series& a, const Series& b);

/// A batch that repeats `call` on the calling thread.
template <class Call>
Batch Repeat(Call call) {
  return [call](long calls) mutable {
    const auto begin = std::chrono::steady_clock::now();
    for (long i = 0; i < calls; ++i) {
      call();
    }
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - begin;
    return took.count();
  };
}

/// The same in CPU time of the calling thread, for calls that stay on it.
template <class Call>
Batch RepeatOnCpu(Call call) {
  return [call](long calls) mutable {
    const auto now = [] {
      timespec time{};
      clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
      return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
    };
    const double begin = now();
    for (long i = 0; i < calls; ++i) {
      call();
    }
    return now() - begin;
  };
}

}  // namespace Ferrolink::Bench

#endif
