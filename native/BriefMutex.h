#ifndef FERROLINK_NATIVE_BRIEFMUTEX_H
#define FERROLINK_NATIVE_BRIEFMUTEX_H

#include <atomic>
#include <cstdint>

namespace Ferrolink::Native {

/// A mutex for critical sections that are shorter than putting a thread to sleep and waking it. A
/// thread that finds it taken spins first, at most for the time that a sleep and a wake-up take,
/// and then sleeps in the kernel. If the process may use only one processor, it sleeps at once.
/// Neither fair nor recursive. Meets BasicLockable. Throws nothing.
///
/// unlock() clears the mark that threads are asleep, so each sleeper is woken once, however long it
/// takes to run. A woken thread that takes the mutex sets the mark again, since others may still
/// sleep. Each sleep costs at most one wake call too many.
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

  // Alone on its cache line: threads that do not take the lock read what lies beside it.
  alignas(64) std::atomic<std::uint32_t> m_state{kFree};
};

}  // namespace Ferrolink::Native

#endif
