// Each JNI call of a stretch fails once, in each way it can: the stretch ends in a documented error
// or goes on, nothing is left behind, and what comes next works on this thread and on another. The
// fake JVM itself ends the process where a call is made with an exception pending.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <sstream>

#include "tests/faults/Forked.h"
#include "tests/faults/JniFaultWays.h"
#include "tests/faults/JniScenarios.h"
#include "tests/jvm/LauncherFixture.h"
#include "tests/transport/TransportFixture.h"

namespace FerrolinkTest {
namespace {

/// What one run noted, in this order.
struct Observation {
  explicit Observation(const ForkedRun& run) {
    if (run.notes.size() < 6) {
      return;
    }
    outcome = run.notes[0];
    pending = run.notes[1];
    recovered = {run.notes[2], run.notes[4]};
    left = {run.notes[3], run.notes[5]};
    calls.assign(run.notes.begin() + 6, run.notes.end());
    complete = true;
  }
  bool complete = false;
  std::string outcome;
  std::string pending;
  Texts recovered;
  Texts left;
  Texts calls;
};

void noteLeft(JniScenario& scenario) {
  note(outstanding(scenario.jvm()) + " pending " + std::to_string(scenario.pendingExceptions()));
}

// The scenarios' threads are over when their notes are made.
void observe(const JniScenarioEntry& entry, const FakeJvm::NumberedFault& fault) {
  const auto scenario = entry.make();
  scenario->jvm().clearCalls();
  scenario->jvm().failCall(fault);
  const std::string outcome = scenario->act();
  scenario->jvm().failCall({});
  const Texts calls = scenario->jvm().calls();
  note(outcome);
  note(std::to_string(scenario->pendingExceptions()));
  for (int round = 0; round < 2; ++round) {
    note(scenario->recover());
    noteLeft(*scenario);
  }
  for (const std::string& call : calls) {
    note(call);
  }
}

std::vector<long> countsIn(const std::string& text) {
  std::istringstream words(text);
  std::vector<long> counts;
  for (std::string name; words >> name;) {
    if (long count = 0; words >> count) {
      counts.push_back(count);
    }
  }
  return counts;
}

constexpr std::size_t kAttached = 4;  // its place among the counts

bool noMoreThan(const std::string& left, const std::string& baseline, int furtherAttachments) {
  const std::vector<long> now = countsIn(left);
  std::vector<long> before = countsIn(baseline);
  before.at(kAttached) += furtherAttachments;
  return now.size() == before.size() &&
         std::equal(now.begin(), now.end(), before.begin(), std::less_equal<>());
}

// Empty where all is as it should be.
std::string judge(const ForkedRun& run, const Observation& baseline, const std::string& call,
                  const JniFaultWay& way, int furtherAttachments) {
  if (run.signal == SIGABRT && run.output.find("FakeJvm:") == std::string::npos &&
      mayEndProcess(call, way, run.output)) {
    return "";
  }
  const Observation seen(run);
  if (!run.endedWell() || !seen.complete) {
    return "the process " + run.describe();
  }
  if (seen.outcome != baseline.outcome && !mayEndIn(call, seen.outcome, baseline.outcome)) {
    return "outcome " + seen.outcome;
  }
  if (seen.pending != "0") {
    return "a Java exception is pending";
  }
  if (seen.recovered != baseline.recovered) {
    return "recovered with " + seen.recovered.front() + " then " + seen.recovered.back();
  }
  if (seen.left.front() != seen.left.back() ||
      !noMoreThan(seen.left.back(), baseline.left.back(), furtherAttachments)) {
    return "left " + seen.left.front() + " then " + seen.left.back() + " instead of " +
           baseline.left.back();
  }
  return "";
}

const JniScenarioEntry& named(const std::string& name) {
  static const std::vector<JniScenarioEntry> all = jniScenarios();
  return *std::find_if(all.begin(), all.end(),
                       [&](const JniScenarioEntry& entry) { return entry.name == name; });
}

}  // namespace

PROCESS_CASE(everyCallFails) {
  const JniScenarioEntry& entry = named(caseArguments().front());
  const ForkedRun undisturbed = runForked([&] { observe(entry, {}); });
  const Observation baseline(undisturbed);
  if (!undisturbed.endedWell() || !baseline.complete || baseline.pending != "0") {
    report("undisturbed: " + undisturbed.describe());
    return;
  }
  alarm(0);  // each run has its own limit
  long faults = 0;
  for (std::size_t i = 0; i < baseline.calls.size(); ++i) {
    const std::string& call = baseline.calls[i];
    for (const JniFaultWay& way : waysToFail(call, entry.launcher)) {
      FakeJvm::NumberedFault fault = way.fault;
      fault.call = static_cast<long>(i) + 1;
      const ForkedRun run = runForked([&] { observe(entry, fault); });
      const std::string wrong = judge(run, baseline, call, way, entry.furtherAttachments);
      if (!wrong.empty()) {
        report("call " + std::to_string(i + 1) + " " + call + " " + way.name + ": " + wrong);
      }
      faults += 1;
    }
  }
  report(faults > 0 ? "done" : "no fault at all");
}

class JniFaults : public testing::TestWithParam<std::size_t> {};

TEST_P(JniFaults, OfEveryCallEndInADocumentedErrorAndLeaveNothingBehind) {
  const std::string name = jniScenarios()[GetParam()].name;
  SiblingTree siblings;
  siblings.addRuntime("Cpp", FAKESIBLING_PATH);
  siblings.addRuntime("Jvm", FAKESIBLING_PATH);
  CaseOptions options = name == "Configure" ? loggedOptions(siblings.tree()) : fakeJvmOptions();
  options.arguments = {name};
  const CaseResult result = runCase("everyCallFails", siblings.tree(), options);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, Texts{"done"});
}

INSTANTIATE_TEST_SUITE_P(In, JniFaults, testing::Range<std::size_t>(0, jniScenarios().size()),
                         [](const auto& scenario) {
                           return std::string(jniScenarios()[scenario.param].name);
                         });

}  // namespace FerrolinkTest
