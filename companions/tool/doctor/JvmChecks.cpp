// A JVM that is named nowhere or wrongly, and one that cannot be loaded.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "companions/tool/Elf.h"
#include "companions/tool/doctor/Checks.h"
#include "ferrolink/JavaHomes.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kInstallJava = "apt install default-jre-headless";

std::string OtherJavas() {
  std::string text;
  for (const Host::JavaHome& home : Host::FindJavaHomes()) {
    text += (text.empty() ? "" : ", ") + home.home.string() +
            (home.version.empty() ? "" : " (" + home.version + ")");
  }
  return text;
}

// "Name one of the Javas of this machine: ..." or "Install one."
std::string NameAnother(const std::string& place) {
  const std::string others = OtherJavas();
  return others.empty()
             ? "Install a Java runtime, and remove or correct " + place + "."
             : "Correct " + place + ", or remove it. Javas of this machine: " + others + ".";
}

std::string InstallUnlessThere() {
  return OtherJavas().empty() ? kInstallJava : "";
}

// The steps of the search.
std::string StepTexts(const JavaChoice& java) {
  std::string text;
  for (const JavaName& step : java.steps) {
    text += step.place + (step.path.empty() ? ": not set\n" : " = " + step.path + "\n");
  }
  return text;
}

// The steps of the search, and what became of the files that the chosen one stands for.
std::string SearchTexts(const Machine& machine) {
  std::string text = StepTexts(machine.java);
  if (machine.java.searched) {
    text += machine.java.chosen.place + ": " + machine.java.chosen.path + "\n";
  }
  for (const CandidateResult& candidate : machine.candidates) {
    // The loader mostly begins with the file's name.
    const std::string file = candidate.file.string();
    text +=
        "tried " + (candidate.reason.starts_with(file + ":")
                        ? candidate.reason
                        : file + ": " + (candidate.reason.empty() ? "opens" : candidate.reason));
    text += "\n";
  }
  text.pop_back();
  return text;
}

// Adds a finding if the file is for another machine. True if it did.
bool IsForAnotherMachine(const Machine& machine, const fs::path& file, Findings& findings) {
  const ElfFacts facts = ReadElf(file);
  const std::string place = machine.java.chosen.place;
  Finding finding{"", "", SearchTexts(machine), NameAnother(place), InstallUnlessThere(), true};
  if (facts.bits == 32) {
    finding.id = "jvm-32-bit";
    finding.finding =
        "The JVM library has 32 bits (" + facts.machine + "); a program of 64 bits cannot load it.";
  } else if (facts.isElf && !facts.IsForThisMachine()) {
    finding.id = "jvm-other-machine";
    finding.finding = "The JVM library is for another machine: " + facts.machine + ", not x86-64.";
  } else if (facts.NeedsMusl()) {
    finding.id = "jvm-musl";
    finding.finding = "The JVM library is built for musl, and this program uses the GNU C library.";
    finding.remedy = "Use a Java that is built for glibc. " + finding.remedy;
  } else {
    return false;
  }
  findings.Add(std::move(finding));
  return true;
}

void CheckShadowedName(const Machine& machine, Findings& findings) {
  const JavaChoice& java = machine.java;
  std::error_code unreadable;
  const fs::path chosen = fs::weakly_canonical(java.Library(), unreadable);
  bool later = false;
  for (const JavaName& step : java.steps) {
    if (step.place == java.chosen.place) {
      later = true;
      continue;
    }
    JavaChoice other;
    other.chosen = step;
    const fs::path library = fs::weakly_canonical(other.Library(), unreadable);
    if (later && !library.empty() && !chosen.empty() && library != chosen) {
      findings.Add(
          {"jvm-shadowed",
           step.place + " names another Java, which does not run: " + java.chosen.place + " wins.",
           step.place + " = " + step.path + "\n" + java.chosen.place + " = " + java.chosen.path,
           "Let both name the same Java, or remove one of them.", ""});
    }
  }
}

// The library takes an empty JAVA_HOME for a path, if it gets that far in its search.
void CheckEmptyName(const JavaChoice& java, Findings& findings) {
  const char* home = std::getenv("JAVA_HOME");
  if (java.searched && home != nullptr && *home == '\0') {
    findings.Add(
        {"jvm-path-empty",
         "JAVA_HOME is set, and empty. Hosts that do not use the C++ helpers fail with JVM "
         "Launcher 003.",
         "JAVA_HOME = \n" + java.chosen.place + ": " + java.chosen.path,
         "unset JAVA_HOME, or set it to " + java.chosen.path + ".", ""});
  }
}

}  // namespace

void CheckJvmIsNamed(const Machine& machine, Findings& findings) {
  const JavaChoice& java = machine.java;
  if (!java.chosen.path.empty()) {
    CheckShadowedName(machine, findings);
    CheckEmptyName(java, findings);
    return;
  }
  findings.Add({"jvm-not-found", "No JVM is named, and none is on this machine.",
                StepTexts(java) + "java on PATH: none that this program can load\n" +
                    Host::detail::JavaDirectory().string() + ": none that this program can load",
                "Install a Java runtime (a JRE is enough), or set JAVA_HOME to one.", kInstallJava,
                true});
}

void CheckJvmLibrary(const Machine& machine, Findings& findings) {
  const JavaName& chosen = machine.java.chosen;
  if (chosen.path.empty() || machine.UsableJvm() != nullptr) {
    return;
  }
  const bool forbidden = std::any_of(
      machine.candidates.begin(), machine.candidates.end(), [](const CandidateResult& candidate) {
        return access(candidate.file.c_str(), R_OK) != 0 && errno == EACCES;
      });
  if (forbidden) {
    findings.Add(
        {"jvm-path-unreadable", chosen.place + " names a Java that this user may not read.",
         SearchTexts(machine),
         "Let the program's user read it and enter the directories above it (chmod). Or: " +
             NameAnother(chosen.place),
         "", true});
    return;
  }
  std::error_code unreadable;
  const auto add = [&](const char* id, const std::string& text) {
    findings.Add(
        {id, text, SearchTexts(machine), NameAnother(chosen.place), InstallUnlessThere(), true});
  };
  if (!fs::exists(chosen.path, unreadable)) {
    add("jvm-path-missing", chosen.place + " names a path that does not exist.");
    return;
  }
  const fs::path library = machine.java.Library();
  if (library.empty()) {
    add("jvm-no-library",
        chosen.place + " names a directory that is no Java home: it has no libjvm.so.");
    return;
  }
  if (IsForAnotherMachine(machine, library, findings)) {
    return;
  }
  const bool opens = machine.candidates.empty() ? false : [&] {
    for (const CandidateResult& candidate : machine.candidates) {
      if (candidate.reason.empty()) {
        return true;
      }
    }
    return false;
  }();
  if (opens) {
    add("jvm-not-a-jvm", "The library that " + chosen.place +
                             " names opens, but it is no JVM: it lacks JNI_CreateJavaVM or "
                             "JNI_GetCreatedJavaVMs.");
  } else {
    add("jvm-unloadable", "The loader refuses the JVM library.");
  }
}

}  // namespace Ferrolink::Companions::Tool
