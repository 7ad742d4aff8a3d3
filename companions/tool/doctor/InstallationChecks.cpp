// The libraries of the installation, and who may replace them.
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "companions/tool/Elf.h"
#include "companions/tool/Trial.h"
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

// What an installation cannot do without a library.
std::string LossOf(std::string_view library) {
  if (library == "libFerrolinkCppRuntimeNative.so") {
    return "Calls of C++ handlers do not work.";
  }
  if (library == "libConfigs.so") {
    return "Configurations are ignored.";
  }
  if (library == "libUtils.so") {
    return "No telemetry is written.";
  }
  if (library == "libFerrolinkTcpClient.so") {
    return "Calls over TCP do not work.";
  }
  return library == "libFerrolinkTcpTlsClient.so" ? "Calls over TLS do not work."
                                                  : "Java cannot be called.";
}

constexpr std::string_view kMember = "libFerrolinkJvmRuntimeNative.so";

// Whether each start of a JVM opens the library. A damaged one may end the process.
bool IsOpenedByStart(std::string_view library) {
  return library == kMember || library == "libConfigs.so" || library == "libUtils.so";
}

// The loader names the file that it does not find first.
bool LacksDependency(const std::string& reason, const fs::path& file) {
  return reason.find(": cannot open shared object file") != std::string::npos &&
         !reason.starts_with(file.string());
}

// Adds a finding unless all of the library is there and opens.
void CheckContents(const fs::path& file, const ElfFacts& facts, Findings& findings) {
  const std::string name = file.filename().string();
  Finding damaged{"sibling-damaged", "",       file.string() + ": ",
                  kReinstall,        kInstall, IsOpenedByStart(name)};
  if (facts.IsTruncated()) {
    damaged.finding = name + " is truncated.";
    damaged.evidence +=
        std::to_string(facts.size) + " bytes of " + std::to_string(facts.loadedSize);
  } else if (const std::string reason = TryToOpen({file}).front().reason; !reason.empty()) {
    damaged.finding = name + " cannot be opened.";
    damaged.evidence += reason;
    if (LacksDependency(reason, file)) {
      damaged.remedy = "Install the library that the evidence names.";
      damaged.install = "apt install --fix-broken";
    }
  } else {
    return;
  }
  damaged.finding += " " + LossOf(name);
  findings.Add(std::move(damaged));
}

void CheckLibrary(const fs::path& file, Findings& findings) {
  std::error_code unreadable;
  const std::string name = file.filename().string();
  const auto add = [&](const char* id, const std::string& text, const std::string& evidence) {
    // Without the others a JVM starts nevertheless.
    findings.Add({id, text + " " + LossOf(name), evidence, kReinstall, kInstall, name == kMember});
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
    findings.Add({"sibling-other-version", name + " has another version than this tool.",
                  file.string() + ": version " +
                      (facts.version.empty() ? "unknown" : facts.version) +
                      ", this tool: " FERROLINK_VERSION,
                  kReinstall, kInstall});
  }
  CheckContents(file, facts, findings);
}

// The group that a user has from the start; none if it is unknown.
std::optional<gid_t> PrimaryGroup(uid_t user) {
  if (const passwd* entry = getpwuid(user); entry != nullptr) {
    return entry->pw_gid;
  }
  return user == geteuid() ? std::optional(getegid()) : std::nullopt;
}

bool HasOtherMember(gid_t group, uid_t user) {
  if (const struct group* entry = getgrgid(group); entry != nullptr) {
    for (char** name = entry->gr_mem; *name != nullptr; ++name) {
      const passwd* member = getpwnam(*name);
      if (member == nullptr || (member->pw_uid != user && member->pw_uid != 0)) {
        return true;
      }
    }
  }
  bool found = false;
  setpwent();
  for (const passwd* one = getpwent(); one != nullptr && !found; one = getpwent()) {
    found = one->pw_gid == group && one->pw_uid != user && one->pw_uid != 0;
  }
  endpwent();
  return found;
}

// Whether a group is the private one of a user, as on machines where files are made with umask 002.
bool IsPrivateGroup(gid_t group, uid_t user) {
  return PrimaryGroup(user) == group && !HasOtherMember(group, user);
}

// Places that somebody may change besides the superuser and the user who runs them.
struct Exposed {
  std::map<fs::path, std::string> toOwner;  // and who that is
  std::map<fs::path, std::string> toGroup;  // and its name
  std::set<fs::path> toAll;

  void Note(const fs::path& place) {
    struct stat status {};
    if (stat(place.c_str(), &status) != 0) {
      return;
    }
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
      const passwd* owner = getpwuid(status.st_uid);
      toOwner[place] = owner != nullptr ? owner->pw_name : std::to_string(status.st_uid);
    }
    if (S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0) {
      return;  // in sticky directories nobody may replace the files of others
    }
    if ((status.st_mode & S_IWOTH) != 0) {
      toAll.insert(place);
    }
    if ((status.st_mode & S_IWGRP) != 0 && status.st_gid != 0 &&
        !IsPrivateGroup(status.st_gid, status.st_uid) &&
        !IsPrivateGroup(status.st_gid, geteuid())) {
      const group* known = getgrgid(status.st_gid);
      toGroup[place] = known != nullptr ? known->gr_name : std::to_string(status.st_gid);
    }
  }

  // The file and the directories above it, up to the root of the installation. Of a link also the
  // file that it leads to, and its directory.
  void NoteUpTo(const fs::path& root, const fs::path& file) {
    for (fs::path place = file; place.native().size() >= root.native().size();
         place = place.parent_path()) {
      Note(place);
      if (place == place.parent_path()) {
        break;
      }
    }
    std::error_code missing;
    const fs::path real = fs::canonical(file, missing);
    if (!missing && fs::is_symlink(file, missing)) {
      Note(real);
      Note(real.parent_path());
    }
  }
};

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
  Exposed exposed;
  exposed.NoteUpTo(installation.root, installation.archive);
  for (const char* name : kLibraries) {
    CheckLibrary(installation.libraries / name, findings);
    exposed.NoteUpTo(installation.root, installation.libraries / name);
  }
  for (const fs::path& place : exposed.toAll) {
    findings.Add({"sibling-writable", "Every user may replace what this installation runs.",
                  place.string() + " may be written to by others",
                  "chmod o-w " + place.string() + ", and check that nobody has replaced anything.",
                  ""});
  }
  for (const auto& [place, group] : exposed.toGroup) {
    findings.Add({"sibling-writable", "Members of a group may replace what this installation runs.",
                  place.string() + " may be written to by the group " + group,
                  "chmod g-w " + place.string() + ", and check that nobody has replaced anything.",
                  ""});
  }
  for (const auto& [place, owner] : exposed.toOwner) {
    findings.Add({"sibling-writable", "Another user may replace what this installation runs.",
                  place.string() + " belongs to " + owner,
                  "chown root " + place.string() + ", and check that nobody has replaced anything.",
                  ""});
  }
}

}  // namespace Ferrolink::Companions::Tool
