// The installation's archive, and the class path.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <optional>

#include "companions/tool/Archive.h"
#include "companions/tool/Options.h"
#include "companions/tool/doctor/Checks.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kClassPathForm =
    "--class-path or FERROLINK_CLASS_PATH. Entries are archives, or directories of archives, "
    "separated by colons.";
constexpr const char* kReinstall = "Reinstall Ferrolink's Java archive.";

// The Java that the newest class needs, and that class.
struct Newest {
  int java = 0;
  std::string name;
};

void CheckJavaOf(const Newest& newest, const fs::path& archive, const Machine& machine, bool own,
                 Findings& findings) {
  const int running = machine.JavaFeature();
  if (running == 0 || newest.java <= running) {
    return;
  }
  findings.Add({own ? "archive-newer-java" : "class-path-newer-java",
                archive.filename().string() + " is built for Java " + std::to_string(newest.java) +
                    ", and Java " + std::to_string(running) + " would run.",
                archive.string() + ": " + newest.name,
                "Use Java " + std::to_string(newest.java) +
                    " or later, or an archive that is built for " + std::to_string(running) + ".",
                "", own});
}

// Reads all of an archive. Classes for later Javas, in META-INF/versions, do not count.
Newest ReadClasses(const Archive& archive, bool* callsOut) {
  Newest newest;
  archive.ReadAll([&](const std::string& name, const std::string& contents) {
    const int java = JavaVersionOfClass(contents);
    if (java > newest.java && !name.starts_with("META-INF/versions/") &&
        !name.ends_with("module-info.class")) {
      newest = {java, name};
    }
    if (callsOut != nullptr && java != 0 &&
        contents.find("com/ferrolink/Ferrolink") != std::string::npos) {
      *callsOut = true;
    }
  });
  return newest;
}

bool IsArchiveName(const fs::path& file) {
  std::string suffix = file.extension().string();
  std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return suffix == ".jar";
}

// Adds a finding if this user may not read the file or directory. True if it did.
bool MayNotRead(const std::string& entry, Findings& findings) {
  std::error_code unknown;
  const int wanted = fs::is_directory(entry, unknown) ? R_OK | X_OK : R_OK;
  if (access(entry.c_str(), wanted) == 0) {
    return false;
  }
  findings.Add({"class-path-unreadable", "An entry of the class path cannot be read.",
                entry + ": " + std::strerror(errno),
                "Let the program's user read the file and enter the directories above it "
                "(chmod), or correct the class path: " +
                    std::string(kClassPathForm),
                "", true});
  return true;
}

// The archives behind an entry. A trial start would fail because of an entry that is unusable, and
// say less. Adds a finding if the entry is unusable.
std::vector<fs::path> ArchivesOf(const std::string& entry, Findings& findings) {
  std::error_code unreadable;
  const auto add = [&](const char* id, const std::string& text, const std::string& why) {
    findings.Add({id, text, entry + ": " + why,
                  "Correct the class path: " + std::string(kClassPathForm), "", true});
  };
  if (access(entry.c_str(), F_OK) != 0 && errno == ENOENT) {
    add("class-path-missing", "An entry of the class path does not exist.", std::strerror(ENOENT));
    return {};
  }
  if (MayNotRead(entry, findings)) {
    return {};
  }
  if (!fs::is_directory(entry, unreadable)) {
    return {entry};
  }
  std::vector<fs::path> archives;
  for (fs::directory_iterator files(entry, unreadable), end; !unreadable && files != end;
       files.increment(unreadable)) {
    if (IsArchiveName(files->path()) && !MayNotRead(files->path().string(), findings)) {
      archives.push_back(files->path());
    }
  }
  if (archives.empty() && !findings.Have("class-path-unreadable")) {
    add("class-path-empty", "A directory of the class path has no archives.",
        "no file whose name ends with .jar");
  }
  return archives;
}

void CheckCallsOut(const Machine& machine, const fs::path& archive, Findings& findings) {
  constexpr int kFirstThatWarns = 24;
  if (machine.JavaFeature() >= kFirstThatWarns && !HasJvmOption("--enable-native-access")) {
    findings.Add({"native-access-warned",
                  "Java code that calls other runtimes loads a native library, which Java " +
                      std::to_string(machine.JavaFeature()) + " warns about and later ones refuse.",
                  archive.string() + " uses com.ferrolink.Ferrolink",
                  "Set JAVA_TOOL_OPTIONS=--enable-native-access=ALL-UNNAMED.", ""});
  }
}

void CheckUsersArchive(const Machine& machine, const fs::path& file, Findings& findings) {
  try {
    const Archive archive(file);
    bool callsOut = false;
    CheckJavaOf(ReadClasses(archive, &callsOut), file, machine, false, findings);
    std::error_code unreadable;
    if (archive.Has(kReceiver) && !fs::equivalent(file, machine.installation.archive, unreadable)) {
      findings.Add(
          {"receiver-second", "An archive of the class path has a receiver class of its own.",
           file.string() + " has " + kReceiver,
           "Remove Ferrolink's classes from that archive: the installation brings them.", ""});
    } else if (callsOut) {
      CheckCallsOut(machine, file, findings);
    }
  } catch (const ArchiveError& error) {
    findings.Add({"class-path-no-archive", "A file of the class path is no usable archive.",
                  file.string() + ": " + error.what(), "Build or copy the archive again.", "",
                  true});
  }
}

}  // namespace

void CheckOwnArchive(const Machine& machine, Findings& findings) {
  const fs::path& file = machine.installation.archive;
  if (file.empty() || findings.Have("installation-unreadable")) {
    return;
  }
  const auto add = [&](const char* id, const std::string& text, const std::string& evidence) {
    findings.Add(
        {id, text, evidence, kReinstall, "apt install --reinstall libferrolink-java", true});
  };
  std::error_code unreadable;
  if (!fs::exists(file, unreadable)) {
    add("archive-missing", "The Java archive of the installation is missing.", file.string());
    return;
  }
  try {
    const Archive archive(file);
    const Newest newest = ReadClasses(archive, nullptr);
    if (!archive.Has(kReceiver)) {
      add("archive-damaged", "The Java archive of the installation has no receiver class.",
          file.string() + " has no " + kReceiver);
      return;
    }
    CheckJavaOf(newest, file, machine, true, findings);
    const std::string version = archive.Attribute("Implementation-Version");
    if (version != FERROLINK_VERSION) {
      add("archive-other-version", "The Java archive has another version than this tool.",
          file.string() + ": version " + (version.empty() ? "unknown" : version) +
              ", this tool: " FERROLINK_VERSION);
    }
  } catch (const ArchiveError& error) {
    add("archive-damaged", "The Java archive of the installation is damaged.",
        file.string() + ": " + error.what());
  }
}

void CheckClassPath(const Machine& machine, Findings& findings) {
  for (const std::string& entry : machine.asked.classPath) {
    for (const fs::path& file : ArchivesOf(entry, findings)) {
      CheckUsersArchive(machine, file, findings);
    }
  }
}

}  // namespace Ferrolink::Companions::Tool
