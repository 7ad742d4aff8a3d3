#ifndef FERROLINK_BENCH_HARNESS_TEAM_H
#define FERROLINK_BENCH_HARNESS_TEAM_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Ferrolink::Bench {

/// Threads that do the same work at the same time. Each has a processor of its own if there are
/// enough; otherwise the kernel places them.
class Team {
 public:
  using Work = std::function<void(std::size_t thread, long calls)>;
  using Hook = std::function<void()>;

  /// Each thread runs the hooks at its beginning and before its end.
  Team(std::size_t threads, const Hook& begin, const Hook& end);
  Team(const Team&) = delete;
  Team& operator=(const Team&) = delete;
  ~Team();

  /// Runs `work` with `calls` calls on each thread. Returns the nanoseconds from the first begin to
  /// the last end.
  double Run(const Work& work, long calls);

 private:
  using Moment = std::int64_t;  // nanoseconds of the steady clock

  struct Member {
    std::thread thread;
    Moment begin = 0;
    Moment end = 0;
  };

  void Serve(std::size_t thread, const Hook& begin, const Hook& end);
  bool AwaitTurn(unsigned& turn);
  void Meet();
  void Finish();

  const bool m_pinned;

  // Guarded by m_mutex. The work of the turn with that number; null ends the threads.
  std::mutex m_mutex;
  std::condition_variable m_begin;
  std::condition_variable m_end;
  unsigned m_turn = 0;
  std::size_t m_busy = 0;
  const Work* m_work = nullptr;
  long m_calls = 0;

  std::atomic<std::size_t> m_ready{0};

  // Each is written by its own thread during a turn, and read by Run afterwards.
  std::vector<Member> m_members;
};

}  // namespace Ferrolink::Bench

#endif
