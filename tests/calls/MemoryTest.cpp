// The memory use of a Java program that calls for a long time.
#include <gtest/gtest.h>

#include "tests/calls/JavaProgramCases.h"

using namespace Ferrolink::Tests;

PROCESS_CASE(callManyTimes) {
  StartJava({"-Xms64m", "-Xmx64m", "-XX:+AlwaysPreTouch", "-XX:+UseSerialGC"})
      .RunMain("ManyCalls", {CaseHandlers().string(), CaseArguments().at(0)});
}

constexpr long kEightMebibytes = 8L << 10;  // in KiB

TEST(CallsMemory, TenMillionCallsOfCppStayWithinEightMebibytes) {
  OnEveryJdk("callManyTimes", {"10000000"}, "", [](const CaseResult& result) {
    const std::vector<std::string> lines = LinesOf(result.out);
    ASSERT_EQ(lines.size(), 2U) << result.err.substr(0, 4000);
    EXPECT_EQ(lines[0], "10000000");
    EXPECT_LE(std::stol(lines[1]), kEightMebibytes);
    testing::Test::RecordProperty("grown_kib", lines[1]);
  });
}
