// Limits of memory, threads and stacks.
#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <limits>

#include "companions/configs/Configuration.h"
#include "companions/tool/doctor/Checks.h"
#include "ferrolink/JavaHomes.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;

constexpr long long kMebibyte = 1024LL * 1024;
constexpr long long kNoLimit = std::numeric_limits<long long>::max();
constexpr long long kUnlimitedFrom = 1LL
                                     << 60U;  // how the first version of control groups says none
constexpr long long kThreadsOfJvm = 30;
constexpr rlim_t kLeastStack = 256UL * 1024;
constexpr rlim_t kLeastAddresses = 4UL * 1024 * kMebibyte;

struct Limit {
  long long value = kNoLimit;
  std::string place;
};

Limit LimitIn(const fs::path& file) {
  std::ifstream stream(file);
  long long value = 0;
  if (!(stream >> value) || value >= kUnlimitedFrom) {  // "max" is no number
    return {};
  }
  return {value, file.string()};
}

// The names of a limit's files.
struct LimitFiles {
  const char* controller;
  const char* newName;
  const char* oldName;
  const char* usedName;  // what is used up of it already; null if that does not count
};

constexpr LimitFiles kMemory{"memory", "memory.max", "memory.limit_in_bytes", nullptr};
constexpr LimitFiles kThreads{"pids", "pids.max", "pids.max", "pids.current"};

// The limit of one group, less what is used up.
Limit RestIn(const fs::path& group, const LimitFiles& files, bool unified) {
  Limit limit = LimitIn(group / (unified ? files.newName : files.oldName));
  if (files.usedName != nullptr && limit.value != kNoLimit) {
    const Limit used = LimitIn(group / files.usedName);
    limit.value -= used.value == kNoLimit ? 0 : used.value;
  }
  return limit;
}

// The smallest limit from the group of this process up to the root.
Limit GroupLimit(const fs::path& root, const LimitFiles& files) {
  Limit least;
  std::ifstream groups("/proc/self/cgroup");
  for (std::string line; std::getline(groups, line);) {
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first + 1);
    const std::string controllers = line.substr(first + 1, second - first - 1);
    const bool unified = controllers.empty();
    if (!unified && ("," + controllers + ",").find("," + std::string(files.controller) + ",") ==
                        std::string::npos) {
      continue;
    }
    const fs::path top = unified ? root : root / controllers;
    fs::path group = fs::path(line.substr(second + 1)).relative_path();
    while (true) {
      const Limit limit = RestIn(top / group, files, unified);
      if (limit.value < least.value) {
        least = limit;
      }
      if (group.empty()) {
        break;
      }
      group = group.parent_path();
    }
  }
  return least;
}

// The number after `key` in a file like /proc/self/status; 0 without it.
long long NumberAfter(const fs::path& file, const std::string& key) {
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(key)) {
      return std::strtoll(line.c_str() + key.size(), nullptr, 10);
    }
  }
  return 0;
}

// The threads of all processes of this user.
long long ThreadsOfUser() {
  long long threads = 0;
  std::error_code gone;
  for (fs::directory_iterator all("/proc", gone), end; !gone && all != end; all.increment(gone)) {
    // /proc/self and /proc/thread-self are this process again.
    if (all->path().filename().native().find_first_not_of("0123456789") != std::string::npos) {
      continue;
    }
    const fs::path status = all->path() / "status";
    // A process that has ended has no threads, and user 0 is never counted.
    if (NumberAfter(status, "Uid:") == static_cast<long long>(getuid())) {
      threads += NumberAfter(status, "Threads:");
    }
  }
  return threads;
}

std::string Megabytes(long long bytes) {
  return std::to_string(bytes / kMebibyte) + " MiB";
}

long long HeapOf(const Machine& machine) {
  constexpr long long kDebugHeap = 2048;
  if (LowerCase(Host::detail::Variable("FERROLINK_DEBUG_MODE")) == "true") {
    return kDebugHeap * kMebibyte;
  }
  return machine.trial && machine.trial->started ? machine.trial->heapLimit : 0;
}

}  // namespace

void CheckHeap(const Machine& machine, Findings& findings) {
  const long long heap = HeapOf(machine);
  const Limit group = GroupLimit(machine.asked.controlGroups, kMemory);
  const std::string remedy =
      "Set a smaller heap, such as JAVA_TOOL_OPTIONS=-XX:MaxRAMPercentage=50, or "
      "raise the limit. Leave room for what is not heap.";
  if (heap >= group.value) {
    findings.Add({"heap-beyond-group",
                  "The largest heap of the JVM does not fit into the control group, which would "
                  "kill the process.",
                  "heap: " + Megabytes(heap) + "\n" + group.place + ": " + Megabytes(group.value),
                  remedy, ""});
    return;
  }
  struct sysinfo system {};
  if (sysinfo(&system) != 0) {
    return;
  }
  const std::uint64_t units = std::uint64_t{system.totalram} + system.totalswap;
  const std::uint64_t bytes = units * system.mem_unit;
  const auto memory = static_cast<long long>(bytes);
  if (heap > memory) {
    findings.Add({"heap-beyond-memory",
                  "The largest heap of the JVM is larger than the memory of this machine.",
                  "heap: " + Megabytes(heap) + "\nmemory and swap: " + Megabytes(memory), remedy,
                  ""});
  }
}

void CheckThreads(const Machine& machine, Findings& findings) {
  rlimit limit{};
  if (getrlimit(RLIMIT_STACK, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
      limit.rlim_cur < kLeastStack) {
    findings.Add({"stack-small", "Threads get stacks that are too small for Java.",
                  "ulimit -s: " + std::to_string(limit.rlim_cur / 1024) + " KiB",
                  "Set ulimit -s 8192, or give threads that send commands 256 KiB or more.", ""});
  }
  // The limit does not bind the superuser.
  if (getuid() != 0 && getrlimit(RLIMIT_NPROC, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
    const long long used = ThreadsOfUser();
    if (static_cast<long long>(limit.rlim_cur) - used < kThreadsOfJvm) {
      findings.Add({"threads-limited", "The user may have too few threads for a JVM.",
                    "ulimit -u: " + std::to_string(limit.rlim_cur) + ", of which " +
                        std::to_string(used) + " are in use",
                    "Leave room for 30 threads and those of the collector.", ""});
    }
  }
  const Limit group = GroupLimit(machine.asked.controlGroups, kThreads);
  if (group.value < kThreadsOfJvm) {
    findings.Add({"threads-limited", "The control group may have too few threads for a JVM.",
                  group.place + " leaves " + std::to_string(group.value),
                  "Leave room for 30 threads and those of the collector.", ""});
  }
  if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
      limit.rlim_cur < kLeastAddresses) {
    findings.Add({"addresses-limited",
                  "The address space is limited, and a JVM reserves more than it uses.",
                  "ulimit -v: " + std::to_string(limit.rlim_cur / 1024) + " KiB",
                  "Remove the limit (ulimit -v unlimited); limit the heap and the memory of the "
                  "control group instead.",
                  "", true});
  }
}

}  // namespace Ferrolink::Companions::Tool
