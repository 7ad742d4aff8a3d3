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

// Empty if a variable or the configuration names a Java: then every host finds it.
std::string NoteOn(const JavaChoice& java) {
  return java.searched && !java.chosen.path.empty()
             ? "Hosts that do not use the C++ helpers need JAVA_HOME=" + java.chosen.path + "."
             : "";
}

// Such as "named by JAVA_HOME" and "found in /usr/lib/jvm".
std::string HowFound(const JavaChoice& java) {
  const std::string how = !java.searched                       ? "named by "
                          : java.chosen.place.starts_with('/') ? "found in "
                                                               : "found by ";
  return how + java.chosen.place;
}

std::string AllWell(const Machine& machine) {
  const std::string java = machine.trial ? "Java " + machine.trial->javaVersion + " of " +
                                               machine.trial->javaHome + " starts and answers, " +
                                               HowFound(machine.java) + "."
                                         : "No JVM was started for trial.";
  const std::string note = NoteOn(machine.java);
  return "Nothing is wrong. " + java + (note.empty() ? "" : " " + note);
}

void PrintText(const Examination& examination) {
  const auto& all = examination.findings.All();
  const auto part = [](const char* name, const std::string& text) {
    std::printf("  %-9s %s\n", name, Wrapped(text, 12).c_str());
  };
  for (const Finding& finding : all) {
    const std::string rest =
        Wrapped(finding.id + "  " + finding.finding, 2).substr(finding.id.size());
    std::printf("%s%s\n", Styled(STDOUT_FILENO, Style::Bad, finding.id).c_str(), rest.c_str());
    part("evidence", Shown(finding.evidence));
    part("remedy", finding.remedy);
    if (!finding.install.empty()) {
      part("Debian", finding.install);
    }
    std::printf("\n");
  }
  if (all.empty()) {
    const std::string text = Wrapped(AllWell(examination.machine), 0);
    std::printf("%s\n", Styled(STDOUT_FILENO, Style::Good, text).c_str());
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
  const Machine& machine = examination.machine;
  report["java"] = machine.trial ? machine.trial->javaVersion : "";
  report["javaHome"] = machine.trial ? machine.trial->javaHome : "";
  report["javaFoundBy"] = machine.java.chosen.place;
  report["note"] = NoteOn(machine.java);
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
