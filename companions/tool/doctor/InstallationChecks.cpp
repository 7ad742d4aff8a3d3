// The libraries of the installation, and who may replace them.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <vector>

#include "companions/tool/Elf.h"
#include "companions/tool/doctor/Checks.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kReinstall = "Reinstall Ferrolink.";
constexpr const char* kInstall = "apt install --reinstall libferrolink";

// A name has characters beyond ASCII and the locale's encoding is not UTF-8.
bool LocaleCannotExpress(const std::string& path) {
  bool ascii = true;
  for (const char byte : path) {
    ascii = ascii && static_cast<unsigned char>(byte) < 0x80;
  }
  if (ascii) {
    return false;
  }
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') {
      const std::string locale = value;
      return locale.find("UTF-8") == std::string::npos && locale.find("utf8") == std::string::npos;
    }
  }
  return true;
}

void CheckLibrary(const fs::path& file, Findings& findings) {
  std::error_code unreadable;
  const std::string name = file.filename().string();
  const auto add = [&](const char* id, const std::string& text, const std::string& evidence) {
    findings.Add({id, text, evidence, kReinstall, kInstall});
  };
  if (!fs::exists(file, unreadable)) {
    add("sibling-missing", name + " is missing in the installation.",
        file.string() + ": no such file");
    return;
  }
  if (fs::file_size(file, unreadable) == 0 && !unreadable) {
    add("sibling-empty", name + " is empty.", file.string() + ": 0 bytes");
    return;
  }
  const ElfFacts facts = ReadElf(file);
  if (!facts.IsForThisMachine()) {
    add("sibling-damaged", name + " is no library for this machine.",
        file.string() + ": " +
            (facts.isElf ? std::to_string(facts.bits) + " bits, " + facts.machine : "no ELF file"));
    return;
  }
  if (facts.version != FERROLINK_VERSION) {
    add("sibling-other-version", name + " has another version than this tool.",
        file.string() + ": version " + (facts.version.empty() ? "unknown" : facts.version) +
            ", this tool: " FERROLINK_VERSION);
  }
}

bool MayOthersReplace(const fs::path& place) {
  struct stat status {};
  // In sticky directories nobody may replace the files of others.
  return stat(place.c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0 &&
         (status.st_mode & S_ISVTX) == 0;
}

// Adds the file and the directories above it, up to the root of the installation, that every user
// may write to.
void NoteWritable(const fs::path& root, const fs::path& file, std::set<fs::path>& writable) {
  for (fs::path place = file; place.native().size() >= root.native().size();
       place = place.parent_path()) {
    if (MayOthersReplace(place)) {
      writable.insert(place);
    }
    if (place == place.parent_path()) {
      return;
    }
  }
}

// The libraries and the archive that exist but may not be read, a line for each.
std::string UnreadableFiles(const Installation& installation) {
  std::vector<fs::path> files{installation.archive};
  for (const char* name : kLibraries) {
    files.push_back(installation.libraries / name);
  }
  std::string text;
  for (const fs::path& file : files) {
    if (access(file.c_str(), R_OK) != 0 && errno == EACCES) {
      text += (text.empty() ? "" : "\n") + file.string() + ": " + std::strerror(EACCES);
    }
  }
  return text;
}

}  // namespace

void CheckInstallation(const Machine& machine, Findings& findings) {
  const Installation& installation = machine.installation;
  if (!installation.problem.empty()) {
    findings.Add({"installation-missing",
                  "There is no installation of Ferrolink where programs look for it.",
                  installation.problem,
                  "Set FERROLINK_HOME to the directory that has Binaries, or install Ferrolink.",
                  "apt install libferrolink libferrolink-java", true});
    return;
  }
  const std::string root = installation.root.string();
  if (root.find(':') != std::string::npos) {
    findings.Add(
        {"installation-path-colon",
         "The path of the installation has a colon, at which the JVM splits its class path.", root,
         "Move the installation, or open it through a link without a colon.", "", true});
  }
  if (LocaleCannotExpress(root)) {
    findings.Add({"installation-path-locale",
                  "The path of the installation has characters that the locale cannot express.",
                  root, "Set a UTF-8 locale, such as LC_ALL=C.UTF-8.", "", true});
  }
}

void CheckSiblings(const Machine& machine, Findings& findings) {
  if (!machine.installation.problem.empty()) {
    return;
  }
  const Installation& installation = machine.installation;
  if (const std::string files = UnreadableFiles(installation); !files.empty()) {
    findings.Add(
        {"installation-unreadable", "This user may not read files of the installation.", files,
         "Let every user read them: chmod -R a+rX " + installation.root.string() + ".", "", true});
    return;
  }
  std::set<fs::path> writable;
  NoteWritable(installation.root, installation.archive, writable);
  for (const char* name : kLibraries) {
    CheckLibrary(installation.libraries / name, findings);
    NoteWritable(installation.root, installation.libraries / name, writable);
  }
  for (const fs::path& place : writable) {
    findings.Add({"sibling-writable", "Every user may replace what this installation runs.",
                  place.string() + " may be written to by others",
                  "chmod o-w " + place.string() + ", and check that nobody has replaced anything.",
                  ""});
  }
}

}  // namespace Ferrolink::Companions::Tool
