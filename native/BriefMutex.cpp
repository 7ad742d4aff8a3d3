#include "native/BriefMutex.h"

#include <linux/futex.h>
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace Ferrolink::Native {
namespace {

// At most 45 microseconds, a pause taking 10 to 45 ns: about what a sleep and its wake-up take on a
// virtual machine whose processors halt. Whoever waits awake for as long as sleeping would have
// taken waits at most twice as long as the best choice would have: Karlin et al., "Empirical
// Studies of Competitive Spinning for a Shared-Memory Multiprocessor" (1991). Fewer pauses let two
// threads with commands of 1 MiB sleep in turns.
constexpr int kPauses = 1000;

// The longest sleep where nothing makes sure that a wake-up is not missed.
constexpr timespec kShortSleep{0, 1'000'000};

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));

// A full memory barrier in every thread of the process that is running. False where the kernel
// refuses. Registering again costs next to nothing.
bool barrierInAllThreads() noexcept {
  return syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0 &&
         syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0) == 0;
}

}  // namespace

bool BriefMutex::tryLock() noexcept {
  return m_state.load(std::memory_order_relaxed) == kFree &&
         m_state.exchange(kTaken, std::memory_order_acquire) == kFree;
}

void BriefMutex::waitAwake() noexcept {
  for (int pause = 0; pause < kPauses; ++pause) {
    __builtin_ia32_pause();
    if (tryLock()) {
      return;
    }
  }
  sleep();
}

void BriefMutex::sleep() noexcept {
  m_sleepers.fetch_add(1, std::memory_order_seq_cst);
  const bool wakesAreSeen = barrierInAllThreads();
  while (!tryLock()) {
    syscall(SYS_futex, &m_state, FUTEX_WAIT_PRIVATE, kTaken, wakesAreSeen ? nullptr : &kShortSleep,
            nullptr, 0);
  }
  m_sleepers.fetch_sub(1, std::memory_order_relaxed);
}

void BriefMutex::wakeOne() noexcept {
  syscall(SYS_futex, &m_state, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace Ferrolink::Native
