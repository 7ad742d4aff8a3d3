// Java programs that call other runtimes, on every JDK of the machine.
#include <gtest/gtest.h>

#include "tests/calls/JavaProgramCases.h"
#include "tests/support/Counts.h"

using namespace Ferrolink::Tests;

PROCESS_CASE(runProgram) {
  std::vector<std::string> arguments = CaseArguments();
  const std::string program = arguments.front();
  arguments.front() = CaseHandlers().string();
  StartJava().RunMain(program, arguments);
}

namespace {

// The parameter is an option of the JVM.
class Calls : public testing::TestWithParam<std::string> {
 protected:
  static void Prints(const std::vector<std::string>& program,
                     const std::vector<std::string>& lines) {
    OnEveryJdk("runProgram", program, GetParam(), [&](const CaseResult& result) {
      EXPECT_EQ(result.signal, 0) << result.err.substr(0, 4000);
      EXPECT_EQ(result.exitCode, 0) << result.err.substr(0, 4000);
      EXPECT_EQ(LinesOf(result.out), lines) << result.err.substr(0, 4000);
    });
  }
};

// How Java prints eight counts that are the same.
std::string FromEightThreads(long count) {
  std::string text;
  for (int thread = 0; thread < 8; ++thread) {
    text += (thread == 0 ? "[" : ", ") + std::to_string(count);
  }
  return text + "]";
}

// The participants in calls of that depth: C++ and Java in turn, Java outermost.
std::string Participants(int depth) {
  std::string names;
  for (int level = depth; level >= 0; --level) {
    names += level % 2 == 0 ? 'J' : 'C';
  }
  return names;
}

}  // namespace

TEST_P(Calls, OfEightThreadsOverThreeChannelsReadTheirOwnAnswersAndWholeErrorTexts) {
  const long calls = CountOr("TEST_CALLS", 20'000);
  const long callsToAFailure = 160;
  Prints({"ConcurrentCallers", std::to_string(calls)},
         {"answers " + FromEightThreads(calls),
          "failures " + FromEightThreads((calls + callsToAFailure - 1) / callsToAFailure)});
  RecordProperty("calls", std::to_string(8 * calls));
}

TEST_P(Calls, OfJavaAndCppNestFiftyDeep) {
  Prints({"NestedCalls", "0", "1", "2", "3", "50"},
         {Participants(0), Participants(1), Participants(2), Participants(3), Participants(50),
          Participants(50)});
}

TEST_P(Calls, OfDeploymentsEndWhereTwoMembersForwardToEachOther) {
  Prints({"DeployingCalls"}, {"1", "1", "1"});
}

INSTANTIATE_TEST_SUITE_P(Plain, Calls, testing::Values(""));
// A checked JVM reports the sanitizers' signal handlers.
#if !defined(FERROLINK_SANITIZED)
INSTANTIATE_TEST_SUITE_P(CheckedJni, Calls, testing::Values("-Xcheck:jni"));
#endif
