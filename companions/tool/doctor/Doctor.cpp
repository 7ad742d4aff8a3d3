#include "companions/tool/doctor/Doctor.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "companions/tool/Failure.h"
#include "companions/tool/Terminal.h"
#include "companions/tool/doctor/Checks.h"

namespace Ferrolink::Companions::Tool {
namespace {

using Check = void (*)(const Machine&, Findings&);

constexpr std::array<Check, 16> kBeforeStart = {
    CheckInstallation, CheckSiblings,         CheckConfiguration, CheckServerFile,
    CheckJvmIsNamed,   CheckJvmLibrary,       CheckOwnArchive,    CheckClassPath,
    CheckPreloads,     CheckVariables,        CheckDebugMode,     CheckNativeAccess,
    CheckThreads,      CheckWorkingDirectory, CheckErrorLogs,     CheckOtherProcess};

// Which JVM runs comes first: it explains more than a failure does.
constexpr std::array<Check, 7> kAfterStart = {CheckRunningJvm, CheckStart,   CheckHandlers,
                                              CheckReceiver,   CheckSignals, CheckHeap,
                                              CheckEndpoint};

void PrintText(const Examination& examination) {
  const auto& all = examination.findings.All();
  const auto part = [](const char* name, const std::string& text) {
    std::printf("  %-9s %s\n", name, Wrapped(text, 12).c_str());
  };
  for (const Finding& finding : all) {
    std::printf("%s  %s\n", Styled(STDOUT_FILENO, Style::Bad, finding.id).c_str(),
                Wrapped(finding.finding, 2).c_str());
    part("evidence", Shown(finding.evidence));
    part("remedy", finding.remedy);
    if (!finding.install.empty()) {
      part("Debian", finding.install);
    }
    std::printf("\n");
  }
  if (all.empty()) {
    const auto& trial = examination.machine.trial;
    const std::string java = trial ? "Java " + trial->javaVersion + " starts and answers."
                                   : "No JVM was started for trial.";
    std::printf("%s\n", Styled(STDOUT_FILENO, Style::Good, "Nothing is wrong. " + java).c_str());
  } else {
    std::printf("%zu %s.\n", all.size(), all.size() == 1 ? "finding" : "findings");
  }
}

void PrintJson(const Examination& examination) {
  nlohmann::ordered_json report;
  report["version"] = FERROLINK_VERSION;
  report["findings"] = nlohmann::ordered_json::array();
  for (const Finding& finding : examination.findings.All()) {
    nlohmann::ordered_json one = {{"id", finding.id},
                                  {"finding", finding.finding},
                                  {"evidence", Shown(finding.evidence)},
                                  {"remedy", finding.remedy}};
    if (!finding.install.empty()) {
      one["install"] = finding.install;
    }
    report["findings"].push_back(one);
  }
  report["java"] = examination.machine.trial ? examination.machine.trial->javaVersion : "";
  std::printf("%s\n", report.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

}  // namespace

Examination Examine(const Case& asked) {
  Examination examination{ExamineMachine(asked), {}};
  Machine& machine = examination.machine;
  Findings& findings = examination.findings;
  for (const Check check : kBeforeStart) {
    check(machine, findings);
  }
  if (asked.startsJvm && !findings.ExplainNoStart()) {
    machine.trial =
        TryToStart({.runtimePath = machine.java.searched ? machine.java.chosen.path : "",
                    .libraries = machine.installation.libraries,
                    .configuration = asked.configuration,
                    .classPath = machine.asked.classPath,
                    .hostSignals = false,
                    .limit = asked.startLimit});
  }
  for (const Check check : kAfterStart) {
    check(machine, findings);
  }
  return examination;
}

int PrintExamination(const Examination& examination, bool asJson) {
  if (asJson) {
    PrintJson(examination);
  } else {
    PrintText(examination);
  }
  return examination.findings.All().empty() ? kDone : kFailed;
}

}  // namespace Ferrolink::Companions::Tool
