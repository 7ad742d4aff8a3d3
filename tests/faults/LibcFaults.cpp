#include "tests/faults/LibcFaults.h"

#include <link.h>
#include <unwind.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "tests/faults/LibcFaultGate.h"

// The linker names both ends of the section.
extern "C" {
extern const char __start_fault_interposers[];  // NOLINT(bugprone-reserved-identifier)
extern const char __stop_fault_interposers[];   // NOLINT(bugprone-reserved-identifier)
}

namespace FerrolinkTest {
namespace {

enum class Owner { Ours, Between, Foreign };

struct Range {
  std::uintptr_t start;
  std::uintptr_t end;
  Owner owner;
};

// Written by setOwnLibraries, before anything is counted.
std::array<Range, 64> ranges;
std::size_t rangeCount = 0;

std::atomic<int> counted{-1};  // a LibcCall, or none
std::atomic<long> calls{0};
std::atomic<long> toFail{0};
std::atomic<bool> failed{false};
std::atomic<bool> slept{false};

__attribute__((tls_model("initial-exec"))) thread_local bool walking = false;

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// Libraries through which ours call: what they call is ours.
bool isBetween(std::string_view file) {
  for (const char* name : {"/libstdc++.so", "/libgcc_s.so", "/libc.so", "/libm.so", "/ld-linux",
                           "/libasan.so", "/libubsan.so", "/libtsan.so"}) {
    if (contains(file, name)) {
      return true;
    }
  }
  return false;
}

int addRanges(dl_phdr_info* library, std::size_t /*size*/, void* data) {
  const auto& own = *static_cast<const std::vector<std::string>*>(data);
  const std::string_view file = library->dlpi_name;
  Owner owner = isBetween(file) ? Owner::Between : Owner::Foreign;
  for (const std::string& name : own) {
    owner = file.ends_with("/" + name) ? Owner::Ours : owner;
  }
  for (int i = 0; owner != Owner::Foreign && i < library->dlpi_phnum; ++i) {
    const auto& segment = library->dlpi_phdr[i];
    if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0 && rangeCount < ranges.size()) {
      const std::uintptr_t start = library->dlpi_addr + segment.p_vaddr;
      ranges[rangeCount++] = {start, start + segment.p_memsz, owner};
    }
  }
  return 0;
}

Owner ownerOf(std::uintptr_t address) {
  if (address >= reinterpret_cast<std::uintptr_t>(&__start_fault_interposers[0]) &&
      address < reinterpret_cast<std::uintptr_t>(&__stop_fault_interposers[0])) {
    return Owner::Between;
  }
  for (std::size_t i = 0; i < rangeCount; ++i) {
    if (address >= ranges[i].start && address < ranges[i].end) {
      return ranges[i].owner;
    }
  }
  return Owner::Foreign;
}

_Unwind_Reason_Code classify(_Unwind_Context* context, void* data) {
  const Owner owner = ownerOf(_Unwind_GetIP(context) - 1);
  if (owner == Owner::Between) {
    return _URC_NO_REASON;
  }
  *static_cast<Owner*>(data) = owner;
  return _URC_END_OF_STACK;
}

}  // namespace

FERROLINK_INTERPOSER bool isToFail(LibcCall call) {
  if (counted.load(std::memory_order_relaxed) != static_cast<int>(call) || walking) {
    return false;
  }
  walking = true;
  Owner caller = Owner::Foreign;
  _Unwind_Backtrace(&classify, &caller);
  walking = false;
  if (caller != Owner::Ours) {
    return false;
  }
  const bool fails = calls.fetch_add(1) + 1 == toFail.load();
  if (fails) {
    failed.store(true);
  }
  return fails;
}

void noteSleep() {
  slept = true;
}

bool sleptInLibc() {
  return slept.load();
}

void forgetSleepsInLibc() {
  slept = false;
}

bool isCounting() {
  return counted.load() >= 0;
}

const char* nameOf(LibcCall call) {
  constexpr std::array<const char*, 7> names = {"Allocation", "DlOpen",       "DlSym",  "Open",
                                                "Write",      "ThreadCreate", "Syscall"};
  return names.at(static_cast<std::size_t>(call));
}

void setOwnLibraries(const std::vector<std::string>& names) {
  rangeCount = 0;
  dl_iterate_phdr(&addRanges, const_cast<std::vector<std::string>*>(&names));
}

void failLibcCall(LibcCall call, long number) {
  calls = 0;
  failed = false;
  toFail = number;
  counted = static_cast<int>(call);
}

void stopFailing() {
  counted = -1;
}

long libcCalls() {
  return calls.load();
}

bool libcCallFailed() {
  return failed.load();
}

}  // namespace FerrolinkTest
