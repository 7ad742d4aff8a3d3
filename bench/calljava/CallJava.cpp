// C++ calls Java in the same process: through the library, and by JNI written by hand for the same
// class in the same JVM.
#include <cstdio>
#include <exception>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/calljava/HandWritten.h"
#include "bench/harness/Arguments.h"
#include "bench/harness/JavaHost.h"
#include "bench/harness/Report.h"
#include "bench/harness/Serve.h"
#include "bench/harness/Team.h"
#include "bench/harness/WakeCalls.h"

namespace {

using namespace Ferrolink::Bench;

constexpr const char* kUsage =
    "usage: ferrolink-bench-call-java [--home DIR] [--sizes 64,1024,65536,1048576]\n"
    "         [--units attached,clone,detached,pair,crowd] [--threads 8,64] [--rounds N]\n"
    "         [--warm-up MILLISECONDS] [--batch MILLISECONDS]\n"
    "         [--json FILE]      a table, and all rounds to FILE; --threads are the crowd's\n"
    "         [--handler]        call the handler \"echo\" of the archive at --home\n"
    "       ferrolink-bench-call-java [--home DIR] --serve     answers \"SIZE CALLS\" lines";

constexpr const char* kFloor = "floor";
constexpr const char* kSameSequence = "same-sequence";
constexpr const char* kOneLock = "and one lock";
constexpr const char* kOurs = "ours";

/// The buffers of one thread, and the ways to make a call with them.
class Caller {
 public:
  Caller(const JavaHost& java, const JavaMethod& method, std::size_t size, bool clone)
      : m_receiver(java.Receiver()),
        m_method(method),
        m_command(java.Handler() ? HandlerCommand(size) : EchoCommand(size, clone)),
        m_answer(size) {}

  void Floor(JNIEnv* env) {
    CallWithFloor(env, m_method, m_command.data(), Length(), m_answer.data());
  }
  void FloorOfUnattachedThread() {
    const Attached thread(m_method.vm);
    Floor(thread.Env());
  }
  void SameSequence() {
    CallWithSameSequence(m_method, m_command.data(), Length(), m_answer.data(), m_waiting);
  }
  void OneLock() {
    CallWithOneLock(m_method, m_command.data(), Length(), m_answer.data(), m_waiting);
  }
  void Ours() {
    const int answered = m_receiver->SendCommand(m_command.data(), Length());
    m_receiver->ReadResponse(m_answer.data(), answered);
  }

  /// Checks the answer, so that a contender that skips the work cannot win. For the bench's
  /// receiver.
  template <class Call>
  void Verify(Call call) {
    m_answer.assign(m_answer.size(), 0);
    call();
    if (m_answer != m_command) {
      throw std::runtime_error("an answer differs from its command");
    }
  }

 private:
  [[nodiscard]] int Length() const { return static_cast<int>(m_command.size()); }

  IReceiver* m_receiver;
  const JavaMethod& m_method;
  Bytes m_command;
  Bytes m_answer;
  Bytes m_waiting;
};

class Benchmark {
 public:
  Benchmark(const JavaHost& java, const Plan& plan, Report& report)
      : m_java(java), m_method(FindReceiver(java.Vm())), m_plan(plan), m_report(report) {}

  /// Calls on an attached thread.
  void OnAttachedThread(std::size_t size, bool clone) {
    const Attached thread(m_java.Vm());
    Caller caller(m_java, m_method, size, clone);
    const auto floor = [&] { caller.Floor(thread.Env()); };
    const auto same = [&] { caller.SameSequence(); };
    const auto ours = [&] { caller.Ours(); };
    Compare(clone ? "attached, clone" : "attached", size, caller, floor, same, ours);
  }

  /// Calls on a thread that the JVM does not know: each call attaches and detaches it.
  void Detached(std::size_t size) {
    Caller caller(m_java, m_method, size, false);
    const auto floor = [&] { caller.FloorOfUnattachedThread(); };
    const auto same = [&] { caller.SameSequence(); };
    const auto ours = [&] { caller.Ours(); };
    Compare("attach and detach", size, caller, floor, same, ours);
  }

  /// Calls on two attached threads at once, each on a processor of its own.
  void Pair(std::size_t size) { Together(2, size, m_plan); }

  /// Calls on more attached threads than processors, as a rule. Turns are long, so each thread
  /// loses its processor several times, sometimes while it holds a lock.
  void Crowd(std::size_t threads, std::size_t size) {
    Plan plan = m_plan;
    plan.batchMilliseconds *= static_cast<double>(threads);
    Together(threads, size, plan);
  }

 private:
  void Together(std::size_t count, std::size_t size, const Plan& plan) {
    std::vector<JNIEnv*> environments(count);
    std::vector<Caller> callers(count, Caller(m_java, m_method, size, false));
    Team team(
        count,
        [this] {
          JNIEnv* env = nullptr;
          m_java.Vm()->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
        },
        [this] { m_java.Vm()->DetachCurrentThread(); });
    const Team::Work takeEnvironment = [&](std::size_t thread, long) {
      m_java.Vm()->GetEnv(reinterpret_cast<void**>(&environments.at(thread)), JNI_VERSION_1_8);
    };
    team.Run(takeEnvironment, 1);
    const auto batch = [&team](auto call) {
      return [&team, call](long calls) {
        const Team::Work work = [&call](std::size_t thread, long repetitions) {
          for (long i = 0; i < repetitions; ++i) {
            call(thread);
          }
        };
        return team.Run(work, calls);
      };
    };
    double commands = 0;
    const auto ours = [&](long calls) {
      commands += static_cast<double>(calls) * static_cast<double>(count);
      return batch([&](std::size_t i) { callers.at(i).Ours(); })(calls);
    };
    const long wakesBefore = WakeCalls();
    const std::vector<Series> series =
        Measure({{kFloor, batch([&](std::size_t i) { callers.at(i).Floor(environments.at(i)); })},
                 {kSameSequence, batch([&](std::size_t i) { callers.at(i).SameSequence(); })},
                 {kOneLock, batch([&](std::size_t i) { callers.at(i).OneLock(); })},
                 {kOurs, ours}},
                plan);
    const auto wakes = static_cast<double>(WakeCalls() - wakesBefore);
    m_report.Add({std::to_string(count) + " threads", size, 1000 * wakes / commands}, series);
  }

  template <class Floor, class Same, class Ours>
  void Compare(const char* name, std::size_t size, Caller& caller, Floor floor, Same same,
               Ours ours) {
    caller.Verify(floor);
    caller.Verify(same);
    caller.Verify(ours);
    m_report.Add(
        {name, size},
        Measure({{kFloor, Repeat(floor)}, {kSameSequence, Repeat(same)}, {kOurs, Repeat(ours)}},
                m_plan));
  }

  const JavaHost& m_java;
  const JavaMethod m_method;
  const Plan m_plan;
  Report& m_report;
};

void RunUnit(Benchmark& benchmark, const Arguments& arguments, const std::string& unit,
             std::size_t size) {
  if (unit == "attached") {
    benchmark.OnAttachedThread(size, false);
  } else if (unit == "clone") {
    benchmark.OnAttachedThread(size, true);
  } else if (unit == "detached") {
    benchmark.Detached(size);
  } else if (unit == "pair") {
    benchmark.Pair(size);
  } else if (unit == "crowd") {
    for (const std::string& threads : arguments.List("threads", "8,64")) {
      benchmark.Crowd(std::stoul(threads), size);
    }
  } else {
    throw std::runtime_error("no such unit: " + unit);
  }
}

void MeasureUnits(const JavaHost& java, const Arguments& arguments) {
  Plan plan;
  plan.rounds = static_cast<int>(arguments.Number("rounds", plan.rounds));
  plan.warmUpMilliseconds = arguments.Number("warm-up", plan.warmUpMilliseconds);
  plan.batchMilliseconds = arguments.Number("batch", plan.batchMilliseconds);
  Report report(kSameSequence, arguments.Text("json", ""));
  Benchmark benchmark(java, plan, report);
  for (const std::string& unit : arguments.List("units", "attached,clone,detached,pair")) {
    for (const std::size_t size : arguments.Sizes("64,1024,65536,1048576")) {
      RunUnit(benchmark, arguments, unit, size);
    }
  }
}

void ServeCalls(const JavaHost& java) {
  const JavaMethod method = FindReceiver(java.Vm());
  const Attached thread(java.Vm());
  Serve([&](std::size_t size, long calls) {
    Caller caller(java, method, size, false);
    return Repeat([&] { caller.Ours(); })(calls);
  });
}

}  // namespace

int main(int count, char** values) {
  try {
    const Arguments arguments(
        count, values, kUsage,
        {"home", "sizes", "units", "threads", "rounds", "warm-up", "batch", "json"},
        {"serve", "handler"});
    const JavaHost java(arguments.Text("home", BENCH_HOME), arguments.Has("handler"));
    // Measures on another thread, because the library treats the thread that starts the JVM
    // specially.
    std::async(std::launch::async, [&] {
      if (arguments.Has("serve")) {
        ServeCalls(java);
      } else {
        MeasureUnits(java, arguments);
      }
    }).get();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
