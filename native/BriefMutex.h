#ifndef FERROLINK_NATIVE_BRIEFMUTEX_H
#define FERROLINK_NATIVE_BRIEFMUTEX_H

#include <atomic>
#include <cstdint>

namespace Ferrolink::Native {

/// A mutex for critical sections that are shorter than putting a thread to sleep and waking it. If
/// the mutex is taken, a thread first spins, at most for the time of a sleep and a wake-up, and
/// then sleeps in the kernel. If the process may use only one processor, the thread sleeps at once.
/// Neither fair nor recursive. Meets BasicLockable. Throws nothing.
///
/// unlock() clears the mark that threads are asleep, so it wakes each sleeper once, however long
/// that thread takes to run. A woken thread that takes the mutex sets the mark again, because other
/// threads may still sleep. Each sleep costs at most one superfluous wake call.
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

  // Alone on its cache line, because threads that do not take the lock read the members beside it.
  alignas(64) std::atomic<std::uint32_t> m_state{kFree};
};

}  // namespace Ferrolink::Native

#endif
