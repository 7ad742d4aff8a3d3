// Many threads against a real JVM, on every JDK of the machine, plain, checked and under ZGC.
#include <gtest/gtest.h>

#include <algorithm>
#include <latch>
#include <regex>
#include <sstream>
#include <thread>

#include "tests/integration/Support.h"
#include "tests/support/Counts.h"

using namespace FerrolinkTest;

namespace {

constexpr int kThreads = 8;

// How many threads get exceptions, and how many commands each sends. Every other one fails.
std::size_t failingThreads() {
  return static_cast<std::size_t>(countOr("TEST_FAILING_THREADS", kThreads));
}

std::size_t commandsThatFailOrNot() {
  return static_cast<std::size_t>(countOr("TEST_FAILING_COMMANDS", 500));
}

// What ends every error text of the case's tree, from every thread.
std::string runtimeInfo() {
  return "\nRUNTIME INFO:\n\nMisbehaving test receiver\nJVM Native Launcher Runtime Info: \nJVM "
         "shared library search path: " +
         std::string(std::getenv("JAVA_HOME")) + "/lib/server/libjvm.so";
}

void onThreads(int threads, const std::function<void(int)>& body) {
  std::latch together(threads);
  std::vector<std::thread> running;
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      together.arrive_and_wait();
      body(thread);
    });
  }
  for (std::thread& thread : running) {
    thread.join();
  }
}

bool answersItself(IReceiver* receiver, int thread, int call) {
  const Bytes sent =
      command(2, "e" + std::to_string(thread) + " of 8, command " + std::to_string(call));
  return exchange(receiver, sent) == sent;
}

bool throwsItsOwnText(IReceiver* receiver, const std::string& expected) {
  return thrownBy([&] { exchange(receiver, command(2, "tsome text")); }) == expected;
}

long javaThreads(IReceiver* receiver) {
  const Bytes count = exchange(receiver, command(2, "c"));
  return count.at(0) * 256L + count.at(1);
}

std::vector<std::string> warningsOf(const std::string& text) {
  std::vector<std::string> warnings;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.find("WARNING") != std::string::npos || line.find("FATAL") != std::string::npos) {
      warnings.push_back(line);
    }
  }
  return warnings;
}

std::size_t stampedLines(const std::string& log) {
  const std::regex stamp(
      R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\tThread ID: \d+\tJVM Launcher: Exception code 023\. JVM exception occurred)");
  return static_cast<std::size_t>(
      std::distance(std::sregex_iterator(log.begin(), log.end(), stamp), std::sregex_iterator()));
}

class RealJvmLoad : public testing::TestWithParam<std::string> {
 protected:
  // One run per JDK; the JVM's options are the test's parameter.
  void onEveryJdk(const std::string& name,
                  const std::function<void(const InstallationTree&, const CaseResult&)>& check) {
    const auto jdks = installedJdks();
    ASSERT_FALSE(jdks.empty());
    for (const auto& jdk : jdks) {
      SCOPED_TRACE(jdk.string() + " " + GetParam());
      const InstallationTree tree;
      installWithTestReceiver(tree);
      const CaseResult result = runCase(name, tree, onJdk(tree, jdk, GetParam()));
      ASSERT_EQ(result.signal, 0) << result.out.substr(0, 2000) << result.err.substr(0, 2000);
      ASSERT_EQ(result.exitCode, 0) << result.out.substr(0, 2000) << result.err.substr(0, 2000);
      EXPECT_EQ(warningsOf(result.out), std::vector<std::string>{});
      check(tree, result);
    }
  }
};

}  // namespace

PROCESS_CASE(answerEightThreads) {
  IReceiver* receiver = openReceiver();
  std::array<long, kThreads> right{};
  onThreads(kThreads, [&](int thread) {
    for (int call = 0; call < 20'000; ++call) {
      right.at(static_cast<std::size_t>(thread)) += answersItself(receiver, thread, call) ? 1 : 0;
    }
  });
  for (const long count : right) {
    report(count);
  }
}

TEST_P(RealJvmLoad, EightThreadsOfTwentyThousandCommandsReadTheirOwnAnswers) {
  onEveryJdk("answerEightThreads", [](const InstallationTree&, const CaseResult& result) {
    EXPECT_EQ(result.report, std::vector<std::string>(kThreads, "20000"));
  });
}

PROCESS_CASE(throwOnThreads) {
  IReceiver* receiver = openReceiver();
  const std::string expected =
      "JVM Launcher: Exception code 023. JVM exception occurred" + runtimeInfo();
  const int commands = static_cast<int>(commandsThatFailOrNot());
  std::vector<long> right(failingThreads());
  onThreads(static_cast<int>(right.size()), [&](int thread) {
    for (int call = 0; call < commands; ++call) {
      const bool held = call % 2 == 0 ? answersItself(receiver, thread, call)
                                      : throwsItsOwnText(receiver, expected);
      right.at(static_cast<std::size_t>(thread)) += held ? 1 : 0;
    }
  });
  for (const long count : right) {
    report(count);
  }
}

TEST_P(RealJvmLoad, ExceptionsPastTheReceiverReachTheirThreadsWithWholeTexts) {
  onEveryJdk("throwOnThreads", [](const InstallationTree& tree, const CaseResult& result) {
    const std::size_t commands = commandsThatFailOrNot();
    EXPECT_EQ(result.report, std::vector<std::string>(failingThreads(), std::to_string(commands)));
    const std::size_t raised = failingThreads() * (commands / 2);
    const std::size_t lines = stampedLines(tree.errorLog());
    EXPECT_EQ(lines, raised * 2);
    RecordProperty("raised", static_cast<int>(raised));
    RecordProperty("log_lines", static_cast<int>(lines));
  });
}

PROCESS_CASE(sendFromShortLivedThreads) {
  IReceiver* receiver = openReceiver();
  const long before = javaThreads(receiver);
  long right = 0;
  for (int thread = 0; thread < 10'000; ++thread) {
    std::thread([&] { right += answersItself(receiver, thread, 0) ? 1 : 0; }).join();
  }
  report(right);
  report(javaThreads(receiver) - before);
}

TEST_P(RealJvmLoad, TenThousandShortLivedThreadsLeaveNoJavaThreadBehind) {
  onEveryJdk("sendFromShortLivedThreads", [](const InstallationTree&, const CaseResult& result) {
    EXPECT_EQ(result.report, (std::vector<std::string>{"10000", "0"}));
  });
}

INSTANTIATE_TEST_SUITE_P(Plain, RealJvmLoad, testing::Values(""));
INSTANTIATE_TEST_SUITE_P(CheckedJni, RealJvmLoad, testing::Values("-Xcheck:jni"));
INSTANTIATE_TEST_SUITE_P(Zgc, RealJvmLoad, testing::Values("-XX:+UseZGC -Xmx512m"));
