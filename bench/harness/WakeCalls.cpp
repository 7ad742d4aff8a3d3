#include "bench/harness/WakeCalls.h"

#include <dlfcn.h>
#include <linux/futex.h>
#include <sys/syscall.h>

#include <array>
#include <atomic>
#include <cstdarg>

namespace {

std::atomic<long> counted{0};

using SystemCall = long(long number, ...);

SystemCall* RealSystemCall() {
  static auto* found = reinterpret_cast<SystemCall*>(dlsym(RTLD_NEXT, "syscall"));
  return found;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) long syscall(long number, ...) noexcept {
  std::array<long, 6> arguments{};
  va_list list;
  va_start(list, number);
  for (long& argument : arguments) {
    argument = va_arg(list, long);
  }
  va_end(list);
  if (number == SYS_futex && (arguments[1] & ~FUTEX_PRIVATE_FLAG) == FUTEX_WAKE) {
    counted.fetch_add(1, std::memory_order_relaxed);
  }
  return RealSystemCall()(number, arguments[0], arguments[1], arguments[2], arguments[3],
                          arguments[4], arguments[5]);
}

namespace Ferrolink::Bench {

long WakeCalls() {
  return counted.load();
}

}  // namespace Ferrolink::Bench
