// Many threads against a real JVM, on every JDK of the machine, plain, checked and under ZGC.
#include <gtest/gtest.h>

#include <algorithm>
#include <latch>
#include <regex>
#include <sstream>
#include <thread>

#include "tests/integration/RealJvmCases.h"
#include "tests/support/Counts.h"

using namespace Ferrolink::Tests;

namespace {

constexpr int kThreads = 8;

// How many threads get exceptions, and how many commands each sends. Every other one fails.
std::size_t FailingThreads() {
  return static_cast<std::size_t>(CountOr("TEST_FAILING_THREADS", kThreads));
}

std::size_t CommandsThatFailOrNot() {
  return static_cast<std::size_t>(CountOr("TEST_FAILING_COMMANDS", 500));
}

// The end of every error text in the case's tree, from every thread.
std::string RuntimeInfo() {
  return "\nRUNTIME INFO:\n\nMisbehaving test receiver\nJVM Native Launcher Runtime Info: \nJVM "
         "shared library search path: " +
         std::string(std::getenv("JAVA_HOME")) + "/lib/server/libjvm.so";
}

void OnThreads(int threads, const std::function<void(int)>& body) {
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

bool AnswersItself(IReceiver* receiver, int thread, int call) {
  const Bytes sent =
      Command(2, "e" + std::to_string(thread) + " of 8, command " + std::to_string(call));
  return Exchange(receiver, sent) == sent;
}

bool ThrowsItsOwnText(IReceiver* receiver, const std::string& expected) {
  return ThrownBy([&] { Exchange(receiver, Command(2, "tsome text")); }) == expected;
}

long JavaThreads(IReceiver* receiver) {
  const Bytes count = Exchange(receiver, Command(2, "c"));
  return count.at(0) * 256L + count.at(1);
}

std::vector<std::string> WarningsOf(const std::string& text) {
  std::vector<std::string> warnings;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.find("WARNING") != std::string::npos || line.find("FATAL") != std::string::npos) {
      warnings.push_back(line);
    }
  }
  return warnings;
}

std::size_t StampedLines(const std::string& log) {
  const std::regex stamp(
      R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\tThread ID: \d+\tJVM Launcher: Exception code 023\. JVM exception occurred)");
  return static_cast<std::size_t>(
      std::distance(std::sregex_iterator(log.begin(), log.end(), stamp), std::sregex_iterator()));
}

class RealJvmLoad : public testing::TestWithParam<std::string> {
 protected:
  // One run per JDK; the JVM's options are the test's parameter.
  void OnEveryJdk(const std::string& name,
                  const std::function<void(const InstallationTree&, const CaseResult&)>& check) {
    const auto jdks = InstalledJdks();
    ASSERT_FALSE(jdks.empty());
    for (const auto& jdk : jdks) {
      SCOPED_TRACE(jdk.string() + " " + GetParam());
      const InstallationTree tree;
      InstallWithTestReceiver(tree);
      const CaseResult result = RunCase(name, tree, OnJdk(tree, jdk, GetParam()));
      ASSERT_EQ(result.signal, 0) << result.out.substr(0, 2000) << result.err.substr(0, 2000);
      ASSERT_EQ(result.exitCode, 0) << result.out.substr(0, 2000) << result.err.substr(0, 2000);
      EXPECT_EQ(WarningsOf(result.out), std::vector<std::string>{});
      check(tree, result);
    }
  }
};

}  // namespace

PROCESS_CASE(answerEightThreads) {
  IReceiver* receiver = OpenReceiver();
  std::array<long, kThreads> right{};
  OnThreads(kThreads, [&](int thread) {
    for (int call = 0; call < 20'000; ++call) {
      right.at(static_cast<std::size_t>(thread)) += AnswersItself(receiver, thread, call) ? 1 : 0;
    }
  });
  for (const long count : right) {
    Report(count);
  }
}

TEST_P(RealJvmLoad, EightThreadsOfTwentyThousandCommandsReadTheirOwnAnswers) {
  OnEveryJdk("answerEightThreads", [](const InstallationTree&, const CaseResult& result) {
    EXPECT_EQ(result.report, std::vector<std::string>(kThreads, "20000"));
  });
}

PROCESS_CASE(throwOnThreads) {
  IReceiver* receiver = OpenReceiver();
  const std::string expected =
      "JVM Launcher: Exception code 023. JVM exception occurred" + RuntimeInfo();
  const int commands = static_cast<int>(CommandsThatFailOrNot());
  std::vector<long> right(FailingThreads());
  OnThreads(static_cast<int>(right.size()), [&](int thread) {
    for (int call = 0; call < commands; ++call) {
      const bool held = call % 2 == 0 ? AnswersItself(receiver, thread, call)
                                      : ThrowsItsOwnText(receiver, expected);
      right.at(static_cast<std::size_t>(thread)) += held ? 1 : 0;
    }
  });
  for (const long count : right) {
    Report(count);
  }
}

TEST_P(RealJvmLoad, ExceptionsPastTheReceiverReachTheirThreadsWithWholeTexts) {
  OnEveryJdk("throwOnThreads", [](const InstallationTree& tree, const CaseResult& result) {
    const std::size_t commands = CommandsThatFailOrNot();
    EXPECT_EQ(result.report, std::vector<std::string>(FailingThreads(), std::to_string(commands)));
    const std::size_t raised = FailingThreads() * (commands / 2);
    const std::size_t lines = StampedLines(tree.ErrorLog());
    EXPECT_EQ(lines, raised * 2);
    RecordProperty("raised", static_cast<int>(raised));
    RecordProperty("log_lines", static_cast<int>(lines));
  });
}

PROCESS_CASE(sendFromShortLivedThreads) {
  IReceiver* receiver = OpenReceiver();
  const long before = JavaThreads(receiver);
  long right = 0;
  for (int thread = 0; thread < 10'000; ++thread) {
    std::thread([&] { right += AnswersItself(receiver, thread, 0) ? 1 : 0; }).join();
  }
  Report(right);
  Report(JavaThreads(receiver) - before);
}

TEST_P(RealJvmLoad, TenThousandShortLivedThreadsLeaveNoJavaThreadBehind) {
  OnEveryJdk("sendFromShortLivedThreads", [](const InstallationTree&, const CaseResult& result) {
    EXPECT_EQ(result.report, (std::vector<std::string>{"10000", "0"}));
  });
}

INSTANTIATE_TEST_SUITE_P(Plain, RealJvmLoad, testing::Values(""));
INSTANTIATE_TEST_SUITE_P(CheckedJni, RealJvmLoad, testing::Values("-Xcheck:jni"));
INSTANTIATE_TEST_SUITE_P(Zgc, RealJvmLoad, testing::Values("-XX:+UseZGC -Xmx512m"));
