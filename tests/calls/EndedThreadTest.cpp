// C++ functions that end the thread that they are called on, on every JDK of the machine: the
// process ends with a reason where Java's frames are below them, the thread alone where none are.
#include <ferrolink/Caller.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "tests/calls/Support.h"

using namespace FerrolinkTest;
using Ferrolink::Cpp::Caller;
using Ferrolink::Native::Definitions::Runtime;

namespace {

constexpr unsigned kLimitSeconds = 10;

void joined(void* (*body)(void*), void* argument) {
  pthread_t thread{};
  pthread_create(&thread, nullptr, body, argument);
  pthread_join(thread, nullptr);
}

// The parameter is an option of the JVM.
class EndedThread : public testing::TestWithParam<std::string> {
 protected:
  static void endsTheProcess(const std::string& name, const std::vector<std::string>& arguments,
                             const std::string& handler) {
    onEveryJdk(name, arguments, GetParam(), [&](const CaseResult& result) {
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
  std::vector<std::string> arguments = caseArguments();
  arguments.insert(arguments.begin(), caseHandlers().string());
  startJava().runMain("EndingThreads", arguments);
}

TEST_P(EndedThread, OfJavaEndsTheProcessWithAReason) {
  endsTheProcess("endJavaThread", {"end-thread", "pthread_exit"}, "end-thread");
}

TEST_P(EndedThread, OfJavaThatIsCancelledEndsTheProcessWithAReason) {
  endsTheProcess("endJavaThread", {"end-thread", "cancel"}, "end-thread");
}

TEST_P(EndedThread, OfJavaUnderTwoCppFunctionsEndsTheProcessWithAReason) {
  endsTheProcess("endJavaThread", {"end-thread", "nested"}, "end-thread");
}

TEST_P(EndedThread, OfJavaUnderAFunctionInCEndsTheProcessWithAReason) {
  endsTheProcess("endJavaThread", {"end-thread-in-C", ""}, "end-thread-in-C");
}

PROCESS_CASE(endThreadThatCalledJava) {
  alarm(kLimitSeconds);
  static const Caller caller({caseNativeDirectory(), ""});
  caller.LoadLibrary(Runtime::Jvm, casePrograms());
  caller.LoadLibrary(Runtime::Cpp, caseHandlers());
  joined(
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
  endsTheProcess("endThreadThatCalledJava", {}, "end-thread");
}

PROCESS_CASE(endCppThreads) {
  alarm(kLimitSeconds);
  static const Caller caller({caseNativeDirectory(), ""});
  caller.LoadLibrary(Runtime::Cpp, caseHandlers());
  caller.LoadLibrary(Runtime::Jvm, casePrograms());
  caller.Heartbeat(Runtime::Jvm);
  for (const char* way : {"pthread_exit", "cancel", "nested"}) {
    joined(
        [](void* argument) -> void* {
          const Ferrolink::Host::ThreadAttachment attachment;
          caller.Call(Runtime::Cpp, "end-thread", static_cast<const char*>(argument));
          report("not reached");
          return nullptr;
        },
        const_cast<char*>(way));
    caller.Call(Runtime::Jvm, "collect", "");
    report(way);
  }
}

TEST_P(EndedThread, OfCppIsGoneAndTheProcessGoesOn) {
  onEveryJdk("endCppThreads", {}, GetParam(), [](const CaseResult& result) {
    EXPECT_EQ(result.signal, 0) << result.err.substr(0, 4000);
    EXPECT_EQ(result.exitCode, 0) << result.err.substr(0, 4000);
    EXPECT_EQ(result.report, (std::vector<std::string>{"pthread_exit", "cancel", "nested"}));
  });
}

INSTANTIATE_TEST_SUITE_P(Plain, EndedThread, testing::Values(""));
INSTANTIATE_TEST_SUITE_P(CheckedJni, EndedThread, testing::Values("-Xcheck:jni"));
