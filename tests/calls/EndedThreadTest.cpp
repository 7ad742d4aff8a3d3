// C++ functions that end the thread that they are called on, on every JDK of the machine: the
// process ends with a reason where Java's frames are below them, the thread alone where none are.
#include <ferrolink/Caller.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "tests/calls/JavaProgramCases.h"

using namespace Ferrolink::Tests;
using Ferrolink::Cpp::Caller;
using Ferrolink::Native::Definitions::Runtime;

namespace {

constexpr unsigned kLimitSeconds = 10;

void Joined(void* (*body)(void*), void* argument) {
  pthread_t thread{};
  pthread_create(&thread, nullptr, body, argument);
  pthread_join(thread, nullptr);
}

// The parameter is an option of the JVM.
class EndedThread : public testing::TestWithParam<std::string> {
 protected:
  static void EndsTheProcess(const std::string& name, const std::vector<std::string>& arguments,
                             const std::string& handler) {
    OnEveryJdk(name, arguments, GetParam(), [&](const CaseResult& result) {
      EXPECT_EQ(result.signal, SIGABRT) << result.out << result.err.substr(0, 4000);
      EXPECT_NE(result.err.find("Ferrolink: the C++ function '" + handler +
                                "', which Java called, or a function that it called, ended the "
                                "thread (pthread_exit or cancellation). Java cannot go on without "
                                "its frames on that thread, so the process ends here. Return from "
                                "the function or throw an exception instead.\n"),
                std::string::npos)
          << result.out.substr(0, 1000) << result.err.substr(0, 4000);
    });
  }
};

}  // namespace

PROCESS_CASE(endJavaThread) {
  alarm(kLimitSeconds);
  std::vector<std::string> arguments = CaseArguments();
  arguments.insert(arguments.begin(), CaseHandlers().string());
  StartJava().RunMain("EndingThreads", arguments);
}

TEST_P(EndedThread, OfJavaEndsTheProcessWithAReason) {
  EndsTheProcess("endJavaThread", {"end-thread", "pthread_exit"}, "end-thread");
}

TEST_P(EndedThread, OfJavaThatIsCancelledEndsTheProcessWithAReason) {
  EndsTheProcess("endJavaThread", {"end-thread", "cancel"}, "end-thread");
}

TEST_P(EndedThread, OfJavaUnderTwoCppFunctionsEndsTheProcessWithAReason) {
  EndsTheProcess("endJavaThread", {"end-thread", "nested"}, "end-thread");
}

TEST_P(EndedThread, OfJavaUnderAFunctionInCEndsTheProcessWithAReason) {
  EndsTheProcess("endJavaThread", {"end-thread-in-C", ""}, "end-thread-in-C");
}

PROCESS_CASE(endThreadThatCalledJava) {
  alarm(kLimitSeconds);
  static const Caller caller({CaseNativeDirectory(), ""});
  caller.LoadLibrary(Runtime::Jvm, CasePrograms());
  caller.LoadLibrary(Runtime::Cpp, CaseHandlers());
  Joined(
      [](void*) -> void* {
        caller.Call(Runtime::Jvm, "relay", "pthread_exit");
        return nullptr;
      },
      nullptr);
  for (int collection = 0; collection < 20; ++collection) {
    std::thread([] { caller.Call(Runtime::Jvm, "collect", ""); }).join();
  }
}

TEST_P(EndedThread, OfCppWithJavaInBetweenEndsTheProcessWithAReason) {
  EndsTheProcess("endThreadThatCalledJava", {}, "end-thread");
}

PROCESS_CASE(endCppThreads) {
  alarm(kLimitSeconds);
  static const Caller caller({CaseNativeDirectory(), ""});
  caller.LoadLibrary(Runtime::Cpp, CaseHandlers());
  caller.LoadLibrary(Runtime::Jvm, CasePrograms());
  caller.Heartbeat(Runtime::Jvm);
  for (const char* way : {"pthread_exit", "cancel", "nested"}) {
    Joined(
        [](void* argument) -> void* {
          const Ferrolink::Host::ThreadAttachment attachment;
          caller.Call(Runtime::Cpp, "end-thread", static_cast<const char*>(argument));
          Report("not reached");
          return nullptr;
        },
        const_cast<char*>(way));
    caller.Call(Runtime::Jvm, "collect", "");
    Report(way);
  }
}

TEST_P(EndedThread, OfCppIsGoneAndTheProcessGoesOn) {
  OnEveryJdk("endCppThreads", {}, GetParam(), [](const CaseResult& result) {
    EXPECT_EQ(result.signal, 0) << result.err.substr(0, 4000);
    EXPECT_EQ(result.exitCode, 0) << result.err.substr(0, 4000);
    EXPECT_EQ(result.report, (std::vector<std::string>{"pthread_exit", "cancel", "nested"}));
  });
}

INSTANTIATE_TEST_SUITE_P(Plain, EndedThread, testing::Values(""));
INSTANTIATE_TEST_SUITE_P(CheckedJni, EndedThread, testing::Values("-Xcheck:jni"));
