#include <atomic>
#include <chrono>
#include <latch>
#include <thread>

#include "tests/companions/cpp/Support.h"

namespace FerrolinkTest {
namespace {

using Ferrolink::Cpp::Deadline;
using Ferrolink::Cpp::DeadlineError;
using Ferrolink::Cpp::ProtocolError;
using namespace std::chrono_literals;

constexpr const char* kUnsent =
    "The call's time was over before it was sent. Nothing was executed.";
constexpr const char* kGivenUp =
    "The call's time was over before its answer came. It goes on, and its answer will be dropped.";

/// The handler "hang", which goes on until it is released. Never destroyed: a process may end
/// before.
struct Hanging {
  Hanging() {
    openRegistrar().Register("hang", [this](Span) {
      ++begun;
      release.wait();
      ++ended;
      return ToBytes("late");
    });
  }

  // A caller may give up between the sending of its call and the handler's first step.
  void awaitBegun(int calls) const {
    while (begun < calls) {
      std::this_thread::yield();
    }
  }

  std::latch release{1};
  std::atomic<int> begun{0};
  std::atomic<int> ended{0};
};

Hanging& registerHanging() {
  return *new Hanging;
}

void registerEcho() {
  openRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
}

// What the caller is told: "no" or "perhaps", a colon, and the text.
template <class Error = DeadlineError>
std::string failureOf(const Caller& caller, const char* handler, Deadline deadline) {
  try {
    return "answer: " + ToText(caller.Call(Runtime::Cpp, handler, "x", deadline));
  } catch (const Error& error) {
    return std::string(error.MayHaveExecuted() ? "perhaps: " : "no: ") + error.what();
  }
}

// On a busy machine the time may be over before a thread has begun the call: then again.
std::string giveUpOnHanging(const Caller& caller) {
  std::string failure;
  do {
    failure = failureOf(caller, "hang", 20ms);
  } while (failure == std::string("no: ") + kUnsent);
  return failure;
}

PROCESS_CASE(answerInTime) {
  const Caller caller = openCaller();
  std::atomic<std::thread::id> used;
  openRegistrar().Register("thread", [&](Span b) {
    used = std::this_thread::get_id();
    return Bytes(b.begin(), b.end());
  });
  for (const Deadline& deadline :
       {Deadline(1h), Deadline(std::chrono::hours::max()), Deadline(0.5h),
        Deadline(std::chrono::duration<double>(1e300)), Deadline(Deadline::Clock::now() + 1h),
        Deadline(Deadline::Clock::time_point::max())}) {
    report(ToText(caller.Call(Runtime::Cpp, "thread", "answer", deadline)));
    report(used.load() == std::this_thread::get_id() ? "own" : "another");
  }
}

TEST(CppDeadlines, CallsAreAnsweredInTimeByAnotherThread) {
  std::vector<std::string> expected;
  for (int i = 0; i < 6; ++i) {
    expected.insert(expected.end(), {"answer", "another"});
  }
  expectReport(runMemberCase("answerInTime"), expected);
}

PROCESS_CASE(sendNothing) {
  const Caller caller = openCaller();
  std::atomic<int> called{0};
  openRegistrar().Register("count", [&](Span) {
    ++called;
    return Bytes();
  });
  for (const Deadline& deadline :
       {Deadline(0s), Deadline(-1ns), Deadline(std::chrono::hours::min()),
        Deadline(std::chrono::duration<double>(-1e300)), Deadline(Deadline::Clock::now()),
        Deadline(Deadline::Clock::time_point::min())}) {
    report(failureOf(caller, "count", deadline));
  }
  report(called.load());
}

TEST(CppDeadlines, WithoutTimeNothingIsSent) {
  std::vector<std::string> expected(6, std::string("no: ") + kUnsent);
  expected.emplace_back("0");
  expectReport(runMemberCase("sendNothing"), expected);
}

PROCESS_CASE(giveUp) {
  const Caller caller = openCaller();
  registerEcho();
  Hanging& hanging = registerHanging();
  report(giveUpOnHanging(caller));
  hanging.awaitBegun(1);
  report(hanging.begun.load());
  for (int i = 0; i < 50; ++i) {
    if (failureOf(caller, "echo", 1h) != "answer: x") {
      report("another answer");
    }
  }
  hanging.release.count_down();
  while (hanging.ended == 0) {
    std::this_thread::yield();
  }
  for (int i = 0; i < 50; ++i) {
    if (failureOf(caller, "echo", 1h) != "answer: x" ||
        ToText(caller.Call(Runtime::Cpp, "echo", "y")) != "y") {
      report("another answer");
    }
  }
}

TEST(CppDeadlines, ACallerGivesUpTheHandlerGoesOnAndNobodyGetsItsAnswer) {
  expectReport(runMemberCase("giveUp"), {std::string("perhaps: ") + kGivenUp, "1"});
}

PROCESS_CASE(useUpThreads) {
  const Caller caller = openCaller();
  registerEcho();
  Hanging& hanging = registerHanging();
  while (hanging.begun < 256) {
    failureOf(caller, "hang", 5ms);
  }
  report(failureOf(caller, "echo", 20ms));
  report(failureOf(caller, "hang", 20ms));
  report(ToText(caller.Call(Runtime::Cpp, "echo", "without a limit")));
  report(hanging.begun.load());
  hanging.release.count_down();
  report(failureOf(caller, "echo", 1h));
}

TEST(CppDeadlines, WhereTooManyCallsGoOnOthersWaitForOneToEndAndAreNotSent) {
  expectReport(runMemberCase("useUpThreads"),
               {std::string("no: ") + kUnsent, std::string("no: ") + kUnsent, "without a limit",
                "256", "answer: x"});
}

PROCESS_CASE(nestWithDeadlines) {
  const Caller caller = openCaller();
  openRegistrar().Register("down", [caller](Span payload) {
    if (payload[0] == 0) {
      return Bytes{0};
    }
    const Bytes next{static_cast<std::uint8_t>(payload[0] - 1)};
    return with(caller.Call(Runtime::Cpp, "down", next, 1h), 'd');
  });
  report(static_cast<long>(caller.Call(Runtime::Cpp, "down", Bytes{40}, 1h).size()));
}

TEST(CppDeadlines, HandlersCallWithTimeLimitsThemselves) {
  expectReport(runMemberCase("nestWithDeadlines"), {"41"});
}

PROCESS_CASE(failInTime) {
  const Caller caller = openCaller();
  openRegistrar().Register("fail", [](Span) -> Bytes { throw std::runtime_error("broken"); });
  openRegistrar().Register("leave", [](Span) -> Bytes { pthread_exit(nullptr); });
  report(failureOf<Ferrolink::Cpp::RemoteError>(caller, "fail", 1h));
  report(failureOf<ProtocolError>(caller, "leave", 1h));
  report(failureOf<ProtocolError>(caller, std::string(256, 'n').c_str(), 1h).substr(0, 41));
}

TEST(CppDeadlines, FailuresComeBackToTheCallersThread) {
  expectReport(runMemberCase("failInTime"),
               {"perhaps: std::runtime_error: broken",
                "perhaps: The thread that carried the command out was ended before its answer.",
                "no: The handler's name is longer than 255"});
}

PROCESS_CASE(answerMany) {
  const Caller caller = openCaller();
  registerEcho();
  Hanging& hanging = registerHanging();
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&, number] {
      for (int call = 0; call < 250; ++call) {
        const std::string payload = std::to_string(number) + ":" + std::to_string(call);
        right += ToText(caller.Call(Runtime::Cpp, "echo", payload, 1h)) == payload ? 1 : 0;
        if (call % 125 == 5) {
          right += giveUpOnHanging(caller) == std::string("perhaps: ") + kGivenUp ? 1 : 0;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  report(right.load());
  hanging.awaitBegun(16);
  report(hanging.begun.load());
}

// The process ends while calls go on.
TEST(CppDeadlines, ManyThreadsGetTheirOwnAnswersAndAProcessEndsWhileCallsGoOn) {
  expectReport(runMemberCase("answerMany"), {"2016", "16"});
}

}  // namespace
}  // namespace FerrolinkTest
