#ifndef FERROLINK_TESTS_COMPANIONS_TCP_COUNTEDCALLERS_H
#define FERROLINK_TESTS_COMPANIONS_TCP_COUNTEDCALLERS_H

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/companions/tcp/TcpSupport.h"
#include "tests/companions/tcp/libraries/ExecutionRecord.h"

namespace Ferrolink::Tests {

/// The outcomes of all commands, compared with the servers' record of executions.
struct Tally {
  long calls = 0;
  long executed = 0;  ///< commands that were, whatever the caller was told
  long wrongAnswers = 0;
  long lost = 0;                             ///< answered and not executed
  long twice = 0;                            ///< executed more than once
  long notExecuted = 0;                      ///< errors that say so
  long falselyNotExecuted = 0;               ///< of these: was executed
  long perhapsExecuted = 0;                  ///< all other errors
  long perhapsAndWasExecuted = 0;            ///< of these
  std::map<std::string, long> errors;        ///< by code
  std::map<std::string, std::string> texts;  ///< the first one of each code

  /// Records them as properties of the running test.
  void RecordProperties() const;
};

/// Threads that call the handler "count", one command after another, through one channel. Each
/// command has a number, and its answer is compared with the one for that number.
class CountedCallers {
 public:
  struct Plan {
    int threads = 8;
    long least = 1;        ///< commands of each thread, however soon it is told to finish
    long limitedEach = 0;  ///< of so many commands one has a time limit, of a few milliseconds
  };

  CountedCallers(ITransport& channel, Plan plan);
  CountedCallers(const CountedCallers&) = delete;
  CountedCallers& operator=(const CountedCallers&) = delete;
  ~CountedCallers() { Finish(); }

  /// Waits until each thread has received that many right answers in total. These throw if no
  /// thread has received one for a minute.
  void AwaitAnswers(long count);
  /// Waits until each thread has received that many more right answers.
  void AwaitFurtherAnswers(long count);
  /// Waits until one more command has failed as "not executed".
  void AwaitFurtherRefusal();
  /// Waits until all threads have made all their calls.
  void Finish();

  /// Call it after Finish.
  [[nodiscard]] Tally CompareWith(const ExecutionRecord& record) const;

 private:
  enum class Outcome : std::uint8_t { Answered, AnsweredWrongly, NotExecuted, PerhapsExecuted };
  struct Caller {
    long answered = 0;  // guarded by m_mutex
    // Used by the thread until it is joined.
    std::vector<Outcome> outcomes;
    std::thread thread;
  };

  void Run(std::size_t thread);
  Outcome Call(std::size_t number);
  Outcome Failed(const std::string& error);
  void Await(const std::function<bool()>& isSo, const std::string& what);
  [[nodiscard]] static std::size_t NumberFor(std::size_t thread, std::size_t call);

  ITransport& m_channel;
  const Plan m_plan;
  std::atomic<bool> m_finish{false};

  // Guarded by m_mutex, until the threads are joined.
  std::mutex m_mutex;
  std::condition_variable m_progress;
  long m_answers = 0;
  long m_refusals = 0;
  std::map<std::string, long> m_errors;
  std::map<std::string, std::string> m_texts;

  std::vector<Caller> m_callers;
};

}  // namespace Ferrolink::Tests

#endif
