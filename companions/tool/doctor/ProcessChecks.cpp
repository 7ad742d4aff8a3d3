// What is loaded into the process besides Ferrolink: preloaded libraries, other JVMs.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>

#include "companions/tool/doctor/Checks.h"
#include "ferrolink/JavaHomes.h"
#include "ferrolink/LoadedObject.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;

// The file that a name of the process leads to; empty if there is none.
std::string FileThatHas(const char* name) {
  void* place = dlsym(RTLD_DEFAULT, name);
  Dl_info info{};
  return place != nullptr && dladdr(place, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname
                                                                                    : "";
}

bool IsNamed(const std::string& file, const std::string& beginning) {
  return fs::path(file).filename().string().starts_with(beginning);
}

std::string PreloadText() {
  return "LD_PRELOAD = " + Host::detail::Variable("LD_PRELOAD");
}

// The JVM libraries in a file like /proc/self/maps.
std::set<std::string> MappedJvms(const std::string& maps) {
  std::set<std::string> jvms;
  std::ifstream lines(maps);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t path = line.find('/');
    if (path != std::string::npos && line.ends_with("/libjvm.so")) {
      jvms.insert(line.substr(path));
    }
  }
  return jvms;
}

void CheckAllocator(Findings& findings) {
  const std::string allocator = FileThatHas("malloc");
  if (!allocator.empty() && !IsNamed(allocator, "libc.so") && !IsNamed(allocator, "libc-") &&
      !IsNamed(allocator, "libasan") && !IsNamed(allocator, "libtsan") &&
      !IsNamed(allocator, "libclang_rt") && !IsNamed(allocator, "ferrolink")) {
    findings.Add(
        {"preload-allocator",
         "Another allocator is preloaded; together with the JVM's deep binding it may end the "
         "process.",
         "malloc is that of " + allocator + "\n" + PreloadText(),
         "Start the program with ferrolink run --preopen-jvm, which opens the JVM library without "
         "deep binding first, or without the allocator.",
         ""});
  }
}

}  // namespace

void CheckPreloads(const Machine& machine, Findings& findings) {
  const std::set<std::string> preloaded = MappedJvms("/proc/self/maps");
  const CandidateResult* usable = machine.UsableJvm();
  const auto isUsable = [&](const std::string& jvm) {
    std::error_code unreadable;
    return usable != nullptr && fs::equivalent(jvm, usable->file, unreadable);
  };
  // A JVM library that is there already is not opened with deep binding.
  const bool isOpen = std::any_of(preloaded.begin(), preloaded.end(), isUsable);
  if (!isOpen) {
    CheckAllocator(findings);
  }
  if (const std::string file = FileThatHas("JVM_begin_signal_setting");
      !isOpen && IsNamed(file, "libjsig")) {
    findings.Add(
        {"preload-libjsig",
         "libjsig is preloaded, and does not chain signals for a JVM library that is opened "
         "with deep binding.",
         file + "\n" + PreloadText(),
         "Remove libjsig from LD_PRELOAD, and install the program's signal handlers before the "
         "first command. Or open the JVM library first (ferrolink run --preopen-jvm).",
         ""});
  }
  for (const char* mark : {"__asan_init", "__tsan_init", "__msan_init"}) {
    if (const std::string file = FileThatHas(mark); !file.empty() && !IsNamed(file, "ferrolink")) {
      findings.Add(
          {"preload-sanitizer",
           "A sanitizer is preloaded, which refuses libraries that are opened with deep binding.",
           file + "\n" + PreloadText(),
           "Remove it from LD_PRELOAD, or build Ferrolink with FERROLINK_SANITIZER.", "", true});
      break;
    }
  }
  for (const std::string& jvm : preloaded) {
    if (!isUsable(jvm)) {
      findings.Add({"jvm-preloaded", "Another JVM library is preloaded than the one that is named.",
                    jvm + "\n" + PreloadText(),
                    "Preload the JVM that " + machine.java.chosen.place + " names, or none.", "",
                    true});
    }
  }
}

void CheckOtherProcess(const Machine& machine, Findings& findings) {
  if (machine.asked.process == 0) {
    return;
  }
  const std::string maps = "/proc/" + std::to_string(machine.asked.process) + "/maps";
  const int file = open(maps.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    findings.Add({"process-unreadable", "The process cannot be looked at.",
                  maps + ": " + std::strerror(errno),
                  "Name a process that runs, and run the doctor as its user.", ""});
    return;
  }
  close(file);
  const std::set<std::string> jvms = MappedJvms(maps);
  if (jvms.size() > 1) {
    findings.Add(
        {"process-two-jvms",
         "Two bridges in the process have loaded the JVMs of two Javas; a process can run one.",
         *jvms.begin() + "\n" + *jvms.rbegin(),
         "Let both bridges use the same Java: set JAVA_HOME, and the other bridge's own "
         "setting. Ferrolink adopts a JVM that runs already.",
         ""});
  }
}

}  // namespace Ferrolink::Companions::Tool
