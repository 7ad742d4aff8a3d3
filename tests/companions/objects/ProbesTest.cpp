// Runs the probes on every JDK.
#include <algorithm>

#include "tests/companions/objects/Probe.h"

namespace Ferrolink::Tests {

std::vector<Probe>& Probes() {
  static std::vector<Probe> probes;
  return probes;
}

namespace {

PROCESS_CASE(runProbes) {
  const Ferrolink::Objects::Java java = TheJava();
  for (const Probe& probe : Probes()) {
    std::string result;
    try {
      result = probe.run(java);
    } catch (const std::exception& error) {
      result = std::string("threw ") + error.what();
    }
    Report(std::string(probe.name) + ": " + result);
  }
}

void ExpectAll(const CaseResult& result) {
  ExpectEnded(result);
  EXPECT_EQ(result.report.size(), Probes().size()) << result.err;
  for (std::size_t index = 0; index < std::min(result.report.size(), Probes().size()); ++index) {
    EXPECT_EQ(result.report[index],
              std::string(Probes()[index].name) + ": " + Probes()[index].expected);
  }
}

using ObjectProbes = OnEachJdk;

TEST_P(ObjectProbes, AllHold) {
  ASSERT_GE(Probes().size(), 34U);
  ExpectAll(RunOnJava("runProbes", GetParam()));
}

TEST_P(ObjectProbes, AllHoldWhereTheJvmChecksJni) {
  ExpectAll(RunOnJava("runProbes", GetParam(), "-Xcheck:jni"));
}

INSTANTIATE_TEST_SUITE_P(EachJdk, ObjectProbes, testing::ValuesIn(InstalledJdks()));

}  // namespace
}  // namespace Ferrolink::Tests
