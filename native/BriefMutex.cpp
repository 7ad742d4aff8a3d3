#include "native/BriefMutex.h"

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Ferrolink::Native {
namespace {

// At most 45 microseconds, a pause taking 10 to 45 ns: about what a sleep and its wake-up take on a
// virtual machine whose processors halt. Whoever spins for as long as sleeping would have taken
// waits at most twice as long as the best choice would have: Karlin et al., "Empirical Studies of
// Competitive Spinning for a Shared-Memory Multiprocessor" (1991). Fewer pauses let two threads
// with commands of 1 MiB sleep in turns.
// A look at the mutex shares its cache line, and its holder waits to have the line back before it
// can give the mutex back: hence one look in several pauses.
constexpr int kLooks = 250;
constexpr int kPausesBetweenLooks = 4;
constexpr int kUndecided = -1;

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));

// Adds the processors that the thread may use; false where the kernel does not say.
bool AddProcessorsOf(pid_t thread, cpu_set_t& processors) noexcept {
  cpu_set_t own;
  CPU_ZERO(&own);
  if (sched_getaffinity(thread, sizeof own, &own) != 0) {
    return false;
  }
  CPU_OR(&processors, &processors, &own);
  return true;
}

// Where the process may use one processor only, whoever holds the mutex does not run while another
// thread spins for it. The process has no list of processors of its own, only its threads have.
// Asked are the initial thread, whose list the others inherit, and the calling one: a thread that
// is kept to one processor does not speak for the rest. Where the kernel does not say, there are
// several.
int DecideLooks() noexcept {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  const bool known = AddProcessorsOf(getpid(), processors) && AddProcessorsOf(0, processors);
  return known && CPU_COUNT(&processors) == 1 ? 0 : kLooks;
}

// Decided by the first thread that finds a mutex taken, and never again: two system calls in the
// life of the process. Threads that come at the same time may decide it twice.
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

// True where the calling thread has taken the mutex. Looks before it tries: a try would take the
// cache line from the thread that is giving the mutex back.
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

// The kernel puts the thread to sleep only while the note that it leaves is there.
void BriefMutex::Sleep() noexcept {
  while (m_state.exchange(kTakenWithSleepers, std::memory_order_acquire) != kFree) {
    syscall(SYS_futex, &m_state, FUTEX_WAIT_PRIVATE, kTakenWithSleepers, nullptr, nullptr, 0);
  }
}

void BriefMutex::WakeOne() noexcept {
  syscall(SYS_futex, &m_state, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace Ferrolink::Native
