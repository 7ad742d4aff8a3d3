#include <atomic>
#include <chrono>
#include <latch>
#include <thread>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

using Ferrolink::Cpp::Deadline;
using Ferrolink::Cpp::DeadlineError;
using Ferrolink::Cpp::ProtocolError;
using namespace std::chrono_literals;

constexpr const char* kUnsent =
    "The call's time was over before it was sent. Nothing was executed.";
constexpr const char* kGivenUp =
    "The call's time was over before its answer came. It goes on, and its answer will be dropped.";

/// The handler "hang", which runs until it is released. Never destroyed, because a process may end
/// first.
struct Hanging {
  Hanging() {
    OpenRegistrar().Register("hang", [this](Span) {
      ++begun;
      release.wait();
      ++ended;
      return ToBytes("late");
    });
  }

  // A caller may give up before the first step of the handler that it called.
  void AwaitBegun(int calls) const {
    while (begun < calls) {
      std::this_thread::yield();
    }
  }

  std::latch release{1};
  std::atomic<int> begun{0};
  std::atomic<int> ended{0};
};

Hanging& RegisterHanging() {
  return *new Hanging;
}

void RegisterEcho() {
  OpenRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
}

// The caller's result: "no" or "perhaps", a colon, and the text.
template <class Error = DeadlineError>
std::string FailureOf(const Caller& caller, const char* handler, Deadline deadline) {
  try {
    return "answer: " + ToText(caller.Call(Runtime::Cpp, handler, "x", deadline));
  } catch (const Error& error) {
    return std::string(error.MayHaveExecuted() ? "perhaps: " : "no: ") + error.what();
  }
}

// Repeats if the time was over before a thread began the call, as on a busy machine.
std::string GiveUpOnHanging(const Caller& caller) {
  std::string failure;
  do {
    failure = FailureOf(caller, "hang", 20ms);
  } while (failure == std::string("no: ") + kUnsent);
  return failure;
}

PROCESS_CASE(answerInTime) {
  const Caller caller = OpenCaller();
  std::atomic<std::thread::id> used;
  OpenRegistrar().Register("thread", [&](Span b) {
    used = std::this_thread::get_id();
    return Bytes(b.begin(), b.end());
  });
  for (const Deadline& deadline :
       {Deadline(1h), Deadline(std::chrono::hours::max()), Deadline(0.5h),
        Deadline(std::chrono::duration<double>(1e300)), Deadline(Deadline::Clock::now() + 1h),
        Deadline(Deadline::Clock::time_point::max())}) {
    Report(ToText(caller.Call(Runtime::Cpp, "thread", "answer", deadline)));
    Report(used.load() == std::this_thread::get_id() ? "own" : "another");
  }
}

TEST(CppDeadlines, CallsAreAnsweredInTimeByAnotherThread) {
  std::vector<std::string> expected;
  for (int i = 0; i < 6; ++i) {
    expected.insert(expected.end(), {"answer", "another"});
  }
  ExpectReport(RunMemberCase("answerInTime"), expected);
}

PROCESS_CASE(sendNothing) {
  const Caller caller = OpenCaller();
  std::atomic<int> called{0};
  OpenRegistrar().Register("count", [&](Span) {
    ++called;
    return Bytes();
  });
  for (const Deadline& deadline :
       {Deadline(0s), Deadline(-1ns), Deadline(std::chrono::hours::min()),
        Deadline(std::chrono::duration<double>(-1e300)), Deadline(Deadline::Clock::now()),
        Deadline(Deadline::Clock::time_point::min())}) {
    Report(FailureOf(caller, "count", deadline));
  }
  Report(called.load());
}

TEST(CppDeadlines, WithoutTimeNothingIsSent) {
  std::vector<std::string> expected(6, std::string("no: ") + kUnsent);
  expected.emplace_back("0");
  ExpectReport(RunMemberCase("sendNothing"), expected);
}

PROCESS_CASE(giveUp) {
  const Caller caller = OpenCaller();
  RegisterEcho();
  Hanging& hanging = RegisterHanging();
  Report(GiveUpOnHanging(caller));
  hanging.AwaitBegun(1);
  Report(hanging.begun.load());
  for (int i = 0; i < 50; ++i) {
    if (FailureOf(caller, "echo", 1h) != "answer: x") {
      Report("another answer");
    }
  }
  hanging.release.count_down();
  while (hanging.ended == 0) {
    std::this_thread::yield();
  }
  for (int i = 0; i < 50; ++i) {
    if (FailureOf(caller, "echo", 1h) != "answer: x" ||
        ToText(caller.Call(Runtime::Cpp, "echo", "y")) != "y") {
      Report("another answer");
    }
  }
}

TEST(CppDeadlines, ACallerGivesUpTheHandlerGoesOnAndNobodyGetsItsAnswer) {
  ExpectReport(RunMemberCase("giveUp"), {std::string("perhaps: ") + kGivenUp, "1"});
}

PROCESS_CASE(useUpThreads) {
  const Caller caller = OpenCaller();
  RegisterEcho();
  Hanging& hanging = RegisterHanging();
  while (hanging.begun < 256) {
    FailureOf(caller, "hang", 5ms);
  }
  Report(FailureOf(caller, "echo", 20ms));
  Report(FailureOf(caller, "hang", 20ms));
  Report(ToText(caller.Call(Runtime::Cpp, "echo", "without a limit")));
  Report(hanging.begun.load());
  hanging.release.count_down();
  Report(FailureOf(caller, "echo", 1h));
}

TEST(CppDeadlines, WhereTooManyCallsGoOnOthersWaitForOneToEndAndAreNotSent) {
  ExpectReport(RunMemberCase("useUpThreads"),
               {std::string("no: ") + kUnsent, std::string("no: ") + kUnsent, "without a limit",
                "256", "answer: x"});
}

PROCESS_CASE(nestWithDeadlines) {
  const Caller caller = OpenCaller();
  OpenRegistrar().Register("down", [caller](Span payload) {
    if (payload[0] == 0) {
      return Bytes{0};
    }
    const Bytes next{static_cast<std::uint8_t>(payload[0] - 1)};
    return With(caller.Call(Runtime::Cpp, "down", next, 1h), 'd');
  });
  Report(static_cast<long>(caller.Call(Runtime::Cpp, "down", Bytes{40}, 1h).size()));
}

TEST(CppDeadlines, HandlersCallWithTimeLimitsThemselves) {
  ExpectReport(RunMemberCase("nestWithDeadlines"), {"41"});
}

PROCESS_CASE(failInTime) {
  const Caller caller = OpenCaller();
  OpenRegistrar().Register("fail", [](Span) -> Bytes { throw std::runtime_error("broken"); });
  OpenRegistrar().Register("leave", [](Span) -> Bytes { pthread_exit(nullptr); });
  Report(FailureOf<Ferrolink::Cpp::RemoteError>(caller, "fail", 1h));
  Report(FailureOf<ProtocolError>(caller, "leave", 1h));
  Report(FailureOf<ProtocolError>(caller, std::string(256, 'n').c_str(), 1h).substr(0, 41));
}

TEST(CppDeadlines, FailuresComeBackToTheCallersThread) {
  ExpectReport(RunMemberCase("failInTime"),
               {"perhaps: std::runtime_error: broken",
                "perhaps: The thread that carried the command out was ended before its answer.",
                "no: The handler's name is longer than 255"});
}

PROCESS_CASE(answerMany) {
  const Caller caller = OpenCaller();
  RegisterEcho();
  Hanging& hanging = RegisterHanging();
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&, number] {
      for (int call = 0; call < 250; ++call) {
        const std::string payload = std::to_string(number) + ":" + std::to_string(call);
        right += ToText(caller.Call(Runtime::Cpp, "echo", payload, 1h)) == payload ? 1 : 0;
        if (call % 125 == 5) {
          right += GiveUpOnHanging(caller) == std::string("perhaps: ") + kGivenUp ? 1 : 0;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  Report(right.load());
  hanging.AwaitBegun(16);
  Report(hanging.begun.load());
}

// The process ends while calls run.
TEST(CppDeadlines, ManyThreadsGetTheirOwnAnswersAndAProcessEndsWhileCallsGoOn) {
  ExpectReport(RunMemberCase("answerMany"), {"2016", "16"});
}

}  // namespace
}  // namespace Ferrolink::Tests
