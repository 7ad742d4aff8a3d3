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

namespace Ferrolink::Tests {
namespace {

enum class Owner { Ours, Between, Foreign };

struct Range {
  std::uintptr_t start;
  std::uintptr_t end;
  Owner owner;
};

// Written by SetOwnLibraries, before anything is counted.
std::array<Range, 64> ranges;
std::size_t rangeCount = 0;

std::atomic<int> counted{-1};  // a LibcCall, or none
std::atomic<long> calls{0};
std::atomic<long> toFail{0};
std::atomic<bool> failed{false};
std::atomic<bool> slept{false};

__attribute__((tls_model("initial-exec"))) thread_local bool walking = false;

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// Libraries through which ours call: what they call is ours.
bool IsBetween(std::string_view file) {
  for (const char* name : {"/libstdc++.so", "/libgcc_s.so", "/libc.so", "/libm.so", "/ld-linux",
                           "/libasan.so", "/libubsan.so", "/libtsan.so"}) {
    if (Contains(file, name)) {
      return true;
    }
  }
  return false;
}

int AddRanges(dl_phdr_info* library, std::size_t /*size*/, void* data) {
  const auto& own = *static_cast<const std::vector<std::string>*>(data);
  const std::string_view file = library->dlpi_name;
  Owner owner = IsBetween(file) ? Owner::Between : Owner::Foreign;
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

Owner OwnerOf(std::uintptr_t address) {
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

_Unwind_Reason_Code Classify(_Unwind_Context* context, void* data) {
  const Owner owner = OwnerOf(_Unwind_GetIP(context) - 1);
  if (owner == Owner::Between) {
    return _URC_NO_REASON;
  }
  *static_cast<Owner*>(data) = owner;
  return _URC_END_OF_STACK;
}

}  // namespace

FERROLINK_INTERPOSER bool IsToFail(LibcCall call) {
  if (counted.load(std::memory_order_relaxed) != static_cast<int>(call) || walking) {
    return false;
  }
  walking = true;
  Owner caller = Owner::Foreign;
  _Unwind_Backtrace(&Classify, &caller);
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

void NoteSleep() {
  slept = true;
}

bool SleptInLibc() {
  return slept.load();
}

void ForgetSleepsInLibc() {
  slept = false;
}

bool IsCounting() {
  return counted.load() >= 0;
}

const char* NameOf(LibcCall call) {
  constexpr std::array<const char*, 7> kNames = {"Allocation", "DlOpen",       "DlSym",  "Open",
                                                 "Write",      "ThreadCreate", "Syscall"};
  return kNames.at(static_cast<std::size_t>(call));
}

void SetOwnLibraries(const std::vector<std::string>& names) {
  rangeCount = 0;
  dl_iterate_phdr(&AddRanges, const_cast<std::vector<std::string>*>(&names));
}

void FailLibcCall(LibcCall call, long number) {
  calls = 0;
  failed = false;
  toFail = number;
  counted = static_cast<int>(call);
}

void StopFailing() {
  counted = -1;
}

long LibcCalls() {
  return calls.load();
}

bool LibcCallFailed() {
  return failed.load();
}

}  // namespace Ferrolink::Tests
