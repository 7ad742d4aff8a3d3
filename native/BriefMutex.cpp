#include "native/BriefMutex.h"

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Ferrolink::Native {
namespace {

// At most 45 microseconds: a pause takes 10 to 45 ns. A sleep and a wake-up take about as long on a
// virtual machine whose processors halt. A thread that spins for the time of a sleep waits at most
// twice as long as with the best choice: Karlin et al., "Empirical Studies of Competitive Spinning
// for a Shared-Memory Multiprocessor" (1991). With fewer pauses, two threads with commands of 1 MiB
// sleep in turns. Reading the mutex shares its cache line, and the holder must get the line back
// before it can unlock. The loop therefore reads it only once in several pauses.
constexpr int kLooks = 250;
constexpr int kPausesBetweenLooks = 4;
constexpr int kUndecided = -1;

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));

// Adds the processors that the thread may use. False if the kernel does not say.
bool AddProcessorsOf(pid_t thread, cpu_set_t& processors) noexcept {
  cpu_set_t own;
  CPU_ZERO(&own);
  if (sched_getaffinity(thread, sizeof own, &own) != 0) {
    return false;
  }
  CPU_OR(&processors, &processors, &own);
  return true;
}

// On one processor the holder cannot run while another thread spins. Only threads have a processor
// list, not processes. The lists of the initial and of the calling thread are used: other threads
// inherit the list of the initial one, and a single thread may be bound to one processor. If the
// kernel does not say, several processors are assumed.
int DecideLooks() noexcept {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  const bool known = AddProcessorsOf(getpid(), processors) && AddProcessorsOf(0, processors);
  return known && CPU_COUNT(&processors) == 1 ? 0 : kLooks;
}

// Decided once, by the first thread that finds a mutex taken: two system calls per process.
// Concurrent first threads may decide it twice.
int LooksBeforeSleep() noexcept {
  static std::atomic<int> decided{kUndecided};
  int looks = decided.load(std::memory_order_relaxed);
  if (looks == kUndecided) [[unlikely]] {
    looks = DecideLooks();
    decided.store(looks, std::memory_order_relaxed);
  }
  return looks;
}

}  // namespace

void BriefMutex::LockTaken() noexcept {
  if (!Spin()) {
    Sleep();
  }
}

// Returns true if the calling thread has taken the mutex. Reads before it tries: a try would take
// the cache line from the thread that unlocks.
bool BriefMutex::Spin() noexcept {
  const int looks = LooksBeforeSleep();
  for (int look = 0; look < looks; ++look) {
    for (int pause = 0; pause < kPausesBetweenLooks; ++pause) {
      __builtin_ia32_pause();
    }
    std::uint32_t state = m_state.load(std::memory_order_relaxed);
    if (state == kFree && m_state.compare_exchange_strong(state, kTaken, std::memory_order_acquire,
                                                          std::memory_order_relaxed)) {
      return true;
    }
  }
  return false;
}

// The kernel puts the thread to sleep only while the mark is set.
void BriefMutex::Sleep() noexcept {
  while (m_state.exchange(kTakenWithSleepers, std::memory_order_acquire) != kFree) {
    syscall(SYS_futex, &m_state, FUTEX_WAIT_PRIVATE, kTakenWithSleepers, nullptr, nullptr, 0);
  }
}

void BriefMutex::WakeOne() noexcept {
  syscall(SYS_futex, &m_state, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace Ferrolink::Native
