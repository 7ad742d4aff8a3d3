#ifndef FERROLINK_BENCH_HARNESS_PAIR_H
#define FERROLINK_BENCH_HARNESS_PAIR_H

#include <array>
#include <atomic>
#include <functional>
#include <thread>

namespace FerrolinkBench {

/// Two threads that do the same work at the same time, each on a processor of its own.
class Pair {
 public:
  using Work = std::function<void(int thread, long calls)>;
  using Hook = std::function<void()>;

  /// The hooks run on each of the threads when it begins and before it ends.
  Pair(const Hook& begin, const Hook& end);
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;
  ~Pair();

  /// Has each thread do `work` with `calls` calls; returns the nanoseconds from the moment that the
  /// first begins to the moment that the last is done.
  double run(const Work& work, long calls);

 private:
  using Moment = std::int64_t;  // nanoseconds of the steady clock

  void serve(int thread, const Hook& begin, const Hook& end);

  // Written by run before the generation is raised, read by the threads after that.
  const Work* m_work = nullptr;
  long m_calls = 0;

  std::atomic<unsigned> m_generation{0};
  std::atomic<unsigned> m_ready{0};
  std::atomic<unsigned> m_done{0};
  std::array<Moment, 2> m_begin{};
  std::array<Moment, 2> m_end{};
  std::array<std::thread, 2> m_threads;
};

}  // namespace FerrolinkBench

#endif
