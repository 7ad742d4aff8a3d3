#ifndef FERROLINK_NATIVE_BRIEFMUTEX_H
#define FERROLINK_NATIVE_BRIEFMUTEX_H

#include <atomic>
#include <cstdint>

namespace Ferrolink::Native {

/// A mutex for stretches that are shorter than putting a thread to sleep and waking it: a thread
/// that finds it taken first spins, for as long as a sleep and its wake-up would take at most, and
/// then sleeps in the kernel. Where the process may use only one processor, it sleeps at once.
/// Neither fair nor recursive. Meets BasicLockable; nothing throws.
///
/// Whoever gives it back takes the note that threads sleep with it, so a sleeper is woken once,
/// however long it takes to run. A woken thread that takes the mutex puts the note back, since
/// others may still sleep: each sleep costs at most one wake call more than it needs.
class BriefMutex {
 public:
  BriefMutex() = default;
  BriefMutex(const BriefMutex&) = delete;
  BriefMutex& operator=(const BriefMutex&) = delete;
  ~BriefMutex() = default;

  void lock() noexcept {
    std::uint32_t expected = kFree;
    if (!m_state.compare_exchange_strong(expected, kTaken, std::memory_order_acquire,
                                         std::memory_order_relaxed)) [[unlikely]] {
      LockTaken();
    }
  }

  void unlock() noexcept {
    if (m_state.exchange(kFree, std::memory_order_release) == kTakenWithSleepers) [[unlikely]] {
      WakeOne();
    }
  }

 private:
  static constexpr std::uint32_t kFree = 0;
  static constexpr std::uint32_t kTaken = 1;
  static constexpr std::uint32_t kTakenWithSleepers = 2;

  void LockTaken() noexcept;
  [[nodiscard]] bool Spin() noexcept;
  void Sleep() noexcept;
  void WakeOne() noexcept;

  // Alone on its cache line: what lies beside it is read by threads that do not take the lock.
  alignas(64) std::atomic<std::uint32_t> m_state{kFree};
};

}  // namespace Ferrolink::Native

#endif
