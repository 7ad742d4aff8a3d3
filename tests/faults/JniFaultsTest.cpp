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

namespace Ferrolink::Tests {
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

void NoteLeft(JniScenario& scenario) {
  Note(Outstanding(scenario.Jvm()) + " pending " + std::to_string(scenario.PendingExceptions()));
}

// The scenarios' threads are over when their notes are made.
void Observe(const JniScenarioEntry& entry, const FakeJvm::NumberedFault& fault) {
  const auto scenario = entry.make();
  scenario->Jvm().ClearCalls();
  scenario->Jvm().FailCall(fault);
  const std::string outcome = scenario->Act();
  scenario->Jvm().FailCall({});
  const Texts calls = scenario->Jvm().Calls();
  Note(outcome);
  Note(std::to_string(scenario->PendingExceptions()));
  for (int round = 0; round < 2; ++round) {
    Note(scenario->Recover());
    NoteLeft(*scenario);
  }
  for (const std::string& call : calls) {
    Note(call);
  }
}

std::vector<long> CountsIn(const std::string& text) {
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

bool NoMoreThan(const std::string& left, const std::string& baseline, int furtherAttachments) {
  const std::vector<long> now = CountsIn(left);
  std::vector<long> before = CountsIn(baseline);
  before.at(kAttached) += furtherAttachments;
  return now.size() == before.size() &&
         std::equal(now.begin(), now.end(), before.begin(), std::less_equal<>());
}

// Empty where all is as it should be.
std::string Judge(const ForkedRun& run, const Observation& baseline, const std::string& call,
                  const JniFaultWay& way, int furtherAttachments) {
  if (run.signal == SIGABRT && run.output.find("FakeJvm:") == std::string::npos &&
      MayEndProcess(call, way, run.output)) {
    return "";
  }
  const Observation seen(run);
  if (!run.EndedWell() || !seen.complete) {
    return "the process " + run.Describe();
  }
  if (seen.outcome != baseline.outcome && !MayEndIn(call, seen.outcome, baseline.outcome)) {
    return "outcome " + seen.outcome;
  }
  if (seen.pending != "0") {
    return "a Java exception is pending";
  }
  if (seen.recovered != baseline.recovered) {
    return "recovered with " + seen.recovered.front() + " then " + seen.recovered.back();
  }
  if (seen.left.front() != seen.left.back() ||
      !NoMoreThan(seen.left.back(), baseline.left.back(), furtherAttachments)) {
    return "left " + seen.left.front() + " then " + seen.left.back() + " instead of " +
           baseline.left.back();
  }
  return "";
}

const JniScenarioEntry& Named(const std::string& name) {
  static const std::vector<JniScenarioEntry> all = JniScenarios();
  return *std::find_if(all.begin(), all.end(),
                       [&](const JniScenarioEntry& entry) { return entry.name == name; });
}

}  // namespace

PROCESS_CASE(everyCallFails) {
  const JniScenarioEntry& entry = Named(CaseArguments().front());
  const ForkedRun undisturbed = RunForked([&] { Observe(entry, {}); });
  const Observation baseline(undisturbed);
  if (!undisturbed.EndedWell() || !baseline.complete || baseline.pending != "0") {
    Report("undisturbed: " + undisturbed.Describe());
    return;
  }
  alarm(0);  // each run has its own limit
  long faults = 0;
  for (std::size_t i = 0; i < baseline.calls.size(); ++i) {
    const std::string& call = baseline.calls[i];
    for (const JniFaultWay& way : WaysToFail(call, entry.launcher)) {
      FakeJvm::NumberedFault fault = way.fault;
      fault.call = static_cast<long>(i) + 1;
      const ForkedRun run = RunForked([&] { Observe(entry, fault); });
      const std::string wrong = Judge(run, baseline, call, way, entry.furtherAttachments);
      if (!wrong.empty()) {
        Report("call " + std::to_string(i + 1) + " " + call + " " + way.name + ": " + wrong);
      }
      faults += 1;
    }
  }
  Report(faults > 0 ? "done" : "no fault at all");
}

class JniFaults : public testing::TestWithParam<std::size_t> {};

TEST_P(JniFaults, OfEveryCallEndInADocumentedErrorAndLeaveNothingBehind) {
  const std::string name = JniScenarios()[GetParam()].name;
  SiblingTree siblings;
  siblings.AddRuntime("Cpp", FAKESIBLING_PATH);
  siblings.AddRuntime("Jvm", FAKESIBLING_PATH);
  CaseOptions options = name == "Configure" ? LoggedOptions(siblings.Tree()) : FakeJvmOptions();
  options.arguments = {name};
  const CaseResult result = RunCase("everyCallFails", siblings.Tree(), options);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, Texts{"done"});
}

INSTANTIATE_TEST_SUITE_P(In, JniFaults, testing::Range<std::size_t>(0, JniScenarios().size()),
                         [](const auto& scenario) {
                           return std::string(JniScenarios()[scenario.param].name);
                         });

}  // namespace Ferrolink::Tests
