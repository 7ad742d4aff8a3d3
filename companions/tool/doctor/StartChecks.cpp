// What the trial start shows.
#include <algorithm>
#include <csignal>
#include <cstring>
#include <string_view>

#include "companions/tool/Archive.h"
#include "companions/tool/ErrorPages.h"
#include "companions/tool/Options.h"
#include "companions/tool/Terminal.h"
#include "companions/tool/doctor/Checks.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kEvidenceLines = 12;

// Whether a line of a JVM says something. Its report of a crash does not outlive the trial.
bool IsEvidence(std::string_view line) {
  const auto has = [&](std::string_view part) { return line.find(part) != std::string_view::npos; };
  return line.find_first_not_of(' ') != std::string_view::npos && line != "RUNTIME INFO:" &&
         !line.starts_with("Picked up ") && !has("contact support on") &&
         !has("error report file") && !has("hs_err");
}

// The first lines that say something; later ones mostly repeat them.
std::string FirstLines(const std::string& text) {
  std::string lines;
  std::size_t count = 0;
  for (std::size_t begin = 0; begin < text.size() && count < kEvidenceLines;) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string line = text.substr(begin, end - begin);
    begin = end + 1;
    if (IsEvidence(line) && lines.find(line) == std::string::npos) {
      lines += (lines.empty() ? "" : "\n") + line;
      ++count;
    }
  }
  return lines;
}

fs::path RealPath(const fs::path& path) {
  std::error_code unreadable;
  fs::path real = fs::canonical(path, unreadable);
  return unreadable ? path : real;
}

bool HasReceiver(const fs::path& entry) {
  std::error_code unreadable;
  if (fs::is_directory(entry, unreadable)) {
    return fs::exists(entry / kReceiver, unreadable);
  }
  try {
    return Archive(entry).Has(kReceiver);
  } catch (const ArchiveError&) {
    return false;
  }
}

// The first entry that options add to the boot class path and that has a receiver class; empty
// without one. The JVM takes that class.
std::string BootReceiver() {
  constexpr std::string_view kOption = "-Xbootclasspath/a:";
  for (const std::string& option : JvmOptions()) {
    if (!option.starts_with(kOption)) {
      continue;
    }
    for (const std::string& entry : PathsOf(option.substr(kOption.size()))) {
      if (HasReceiver(entry)) {
        return entry;
      }
    }
  }
  return {};
}

void AddShadowed(const Machine& machine, const std::string& place, const std::string& more,
                 bool stopsStart, Findings& findings) {
  findings.Add({"receiver-shadowed",
                "The receiver class does not come from the archive of the installation: another "
                "one comes first.",
                "it comes from " + place +
                    "\nthe installation's: " + machine.installation.archive.string() + more,
                "Remove the other archive from -Xbootclasspath/a, -javaagent and the Java home.",
                "", stopsStart});
}

}  // namespace

void CheckStart(const Machine& machine, Findings& findings) {
  if (!machine.trial || machine.trial->started || findings.ExplainNoStart()) {
    return;
  }
  const ChildResult& child = machine.trial->child;
  const std::string said = FirstLines(child.errors + "\n" + child.output);
  if (const std::string place = BootReceiver(); !child.isLate && !place.empty()) {
    AddShadowed(machine, place, "\n" + said, true, findings);
    return;
  }
  Finding finding{
      "start-failed", "A JVM that was started for trial did not answer: " + child.Ending() + ".",
      said,
      "The messages above are the JVM's own. Look at JAVA_TOOL_OPTIONS, and at limits of "
      "memory and threads (ulimit -a).",
      ""};
  if (child.isLate) {
    finding.id = "start-hangs";
    finding.remedy =
        "Look for options that make the JVM wait, such as -agentlib:jdwp with suspend=y, "
        "and for archives on slow file systems.";
  } else if (const auto pages = FindErrorPages(child.errors); !pages.empty()) {
    const ErrorPage& page = *pages.front();
    const std::string code = page.code.empty() ? "" : " (" + page.prefix + " " + page.code + ")";
    finding.finding = "A trial start fails: " + page.title + code + ". " + page.cause;
    finding.remedy = page.remedy;
  }
  findings.Add(std::move(finding));
}

void CheckRunningJvm(const Machine& machine, Findings& findings) {
  const CandidateResult* expected = machine.UsableJvm();
  if (!machine.trial || expected == nullptr) {
    return;
  }
  const TrialResult& trial = *machine.trial;
  const fs::path named = RealPath(expected->file);
  const std::string place = machine.java.chosen.place + ": " + expected->file.string();
  const std::string& library = trial.started ? trial.library : trial.earlyLibrary;
  const std::string failure =
      trial.started ? "" : "\n" + FirstLines(trial.child.errors + "\n" + trial.child.output);
  if (!library.empty() && RealPath(library) != named) {
    findings.Add({"jvm-other-runs", "Another JVM runs than the one that is named.",
                  "runs: " + RealPath(library).string() + "\n" + place + failure,
                  "Somebody else starts a JVM first: look at LD_PRELOAD. Let that JVM and " +
                      machine.java.chosen.place +
                      " be of the same Java, with Ferrolink's archive on its class path; or remove "
                      "what starts it.",
                  "", !trial.started});
    return;
  }
  // The library loads the one that is named, even if the process ends before it can say so.
  std::vector<fs::path> all{named};
  for (const std::string& jvm : trial.started ? trial.jvms : trial.earlyJvms) {
    const fs::path real = RealPath(jvm);
    if (std::find(all.begin(), all.end(), real) == all.end()) {
      all.push_back(real);
    }
  }
  if (all.size() > 1) {
    findings.Add(
        {"jvm-two-loaded", "Two JVM libraries are loaded in one process, which can have one JVM.",
         place + "\n" + all[1].string() + failure,
         "Let everything in the process use the same Java: name it in JAVA_HOME, and remove "
         "what loads the other (LD_PRELOAD).",
         "", !trial.started});
  }
}

void CheckHandlers(const Machine& machine, Findings& findings) {
  if (machine.trial && machine.trial->started && !machine.trial->handlerProblems.empty()) {
    findings.Add({"handler-unavailable", "A handler on the class path is not available.",
                  FirstLines(machine.trial->handlerProblems),
                  "The evidence names the class and its exception. Correct it, or add the archives "
                  "that it needs to the class path.",
                  ""});
  }
}

void CheckReceiver(const Machine& machine, Findings& findings) {
  if (!machine.trial || !machine.trial->started || machine.trial->receiverPlace.empty()) {
    return;
  }
  const std::string& place = machine.trial->receiverPlace;
  if (RealPath(place) != RealPath(machine.installation.archive)) {
    AddShadowed(machine, place, "", false, findings);
  }
}

void CheckSignals(const Machine& machine, Findings& findings) {
  if (!machine.asked.hostSignals || !machine.trial || HasJvmOption("-Xrs")) {
    return;
  }
  std::string taken;
  for (const int number : machine.trial->takenSignals) {
    if (number == SIGINT || number == SIGTERM || number == SIGHUP || number == SIGQUIT) {
      taken += (taken.empty() ? "" : ", ") + std::string("SIG") + sigabbrev_np(number);
    }
  }
  if (!taken.empty()) {
    findings.Add(
        {"signals-taken", "The JVM takes signals that the program wants to handle itself.",
         "handled by the JVM after its start: " + taken,
         "Start the program with -Xrs in JAVA_TOOL_OPTIONS (ferrolink run --host-signals), or "
         "install its handlers before the first command.",
         ""});
  }
}

}  // namespace Ferrolink::Companions::Tool
