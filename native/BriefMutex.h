#ifndef FERROLINK_NATIVE_BRIEFMUTEX_H
#define FERROLINK_NATIVE_BRIEFMUTEX_H

#include <atomic>
#include <cstdint>

namespace Ferrolink::Native {

/// A mutex for stretches that are shorter than putting a thread to sleep and waking it: a thread
/// that finds it taken first waits awake, for as long as a sleep and its wake-up would take at
/// most, and then sleeps in the kernel. Neither fair nor recursive. Meets BasicLockable; nothing
/// throws.
///
/// Giving it back is a plain store and a plain load. That the load does not overtake the store,
/// which would miss a thread that is just going to sleep, is the sleeper's business: it has the
/// kernel put a memory barrier into every running thread, membarrier(2), before it looks a last
/// time. Where the kernel has no such barrier, sleeps are short instead.
class BriefMutex {
 public:
  BriefMutex() = default;
  BriefMutex(const BriefMutex&) = delete;
  BriefMutex& operator=(const BriefMutex&) = delete;
  ~BriefMutex() = default;

  void lock() noexcept {
    if (m_state.exchange(kTaken, std::memory_order_acquire) != kFree) [[unlikely]] {
      waitAwake();
    }
  }

  void unlock() noexcept {
    m_state.store(kFree, std::memory_order_release);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (m_sleepers.load(std::memory_order_relaxed) != 0) [[unlikely]] {
      wakeOne();
    }
  }

 private:
  static constexpr std::uint32_t kFree = 0;
  static constexpr std::uint32_t kTaken = 1;

  [[nodiscard]] bool tryLock() noexcept;
  void waitAwake() noexcept;
  void sleep() noexcept;
  void wakeOne() noexcept;

  // Alone on their cache line: what lies beside them is read by threads that do not take the lock.
  alignas(64) std::atomic<std::uint32_t> m_state{kFree};
  std::atomic<std::uint32_t> m_sleepers{0};
};

}  // namespace Ferrolink::Native

#endif
