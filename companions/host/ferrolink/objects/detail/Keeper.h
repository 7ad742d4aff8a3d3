#ifndef FERROLINK_HOST_OBJECTS_DETAIL_KEEPER_H
#define FERROLINK_HOST_OBJECTS_DETAIL_KEEPER_H

#include <dlfcn.h>
#include <semaphore.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <exception>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>

namespace Ferrolink::Objects::detail {

/// Keeps the code of this module mapped until the process ends, even if the library that contains
/// it is closed. Threads and Java continue to use the code. Idempotent and thread-safe.
inline void KeepThisCodeMapped() {
  static const bool kept = [] {
    Dl_info info{};
    static const char inThisModule = 0;
    if (dladdr(&inThisModule, &info) != 0) {
      dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    }
    return true;
  }();
  static_cast<void>(kept);
}

/// A daemon thread that sends pending releases if no other command takes them along: within about a
/// fifth of a second, or at once if there are many. It sleeps while nothing is pending.
///
/// Lifetime: must live until the process ends once it was started. Thread rule: thread-safe.
/// @code
/// Keeper keeper([this] { return SendPending(); }, [this] { return m_pending.IsEmpty(); });
/// keeper.Start();
/// keeper.Notice(false);
/// @endcode
class Keeper {
 public:
  /// `send` sends all pending releases and returns false if that failed. `isEmpty` returns whether
  /// none is pending. Neither may throw; both are called on the keeper's thread.
  Keeper(std::function<bool()> send, std::function<bool()> isEmpty)
      : m_send(std::move(send)), m_isEmpty(std::move(isEmpty)) {
    sem_init(&m_work, 0, 0);
  }
  Keeper(const Keeper&) = delete;
  Keeper& operator=(const Keeper&) = delete;
  ~Keeper() { sem_destroy(&m_work); }

  /// Starts the thread. Idempotent. If the system has no thread left, a later call tries again.
  void Start() noexcept {
    if (m_started.load(std::memory_order_relaxed) || m_started.exchange(true)) {
      return;
    }
    try {
      KeepThisCodeMapped();
      StartThread();
    } catch (const std::exception&) {
      m_started = false;
    }
  }

  /// Tells the thread that a release is pending. `many` ends its current pause. Does not block.
  void Notice(bool many) noexcept {
    if (many || (!m_awake.load() && !m_awake.exchange(true))) {
      sem_post(&m_work);
    }
  }

 private:
  // The time in which other commands may take the releases along.
  static constexpr long kPauseMilliseconds = 100;
  // A command that failed is likely to fail again at once.
  static constexpr long kPauseAfterFailureMilliseconds = 10'000;

  // The thread blocks all signals: they are for the threads of the program.
  void StartThread() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    struct Restore {
      explicit Restore(const sigset_t& mask) : m_mask(mask) {}
      Restore(const Restore&) = delete;
      Restore& operator=(const Restore&) = delete;
      ~Restore() { pthread_sigmask(SIG_SETMASK, &m_mask, nullptr); }
      const sigset_t& m_mask;
    } const restore(before);
    std::thread([this] { Run(); }).detach();
  }

  [[noreturn]] void Run() noexcept {
    for (;;) {
      while (sem_wait(&m_work) != 0) {
      }
      do {
        WaitFor(kPauseMilliseconds);
        if (!m_send()) {
          WaitFor(kPauseAfterFailureMilliseconds);
        }
        m_awake = false;
        // A record that was added before this found the thread awake.
      } while (!m_isEmpty() && !m_awake.exchange(true));
    }
  }

  // Ends early if `many` is noticed. The monotonic clock ignores changes of the system time.
  void WaitFor(long milliseconds) noexcept {
    timespec until{};
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += milliseconds / 1000;
    until.tv_nsec += milliseconds % 1000 * 1'000'000;
    if (until.tv_nsec >= 1'000'000'000) {
      ++until.tv_sec;
      until.tv_nsec -= 1'000'000'000;
    }
    while (sem_clockwait(&m_work, CLOCK_MONOTONIC, &until) != 0 && errno == EINTR) {
    }
  }

  // Constant after construction.
  const std::function<bool()> m_send;
  const std::function<bool()> m_isEmpty;
  // m_awake is true from the first notice until the thread has found nothing pending. Only its
  // change to true posts m_work, so most notices cost one load.
  std::atomic<bool> m_started{false};
  std::atomic<bool> m_awake{false};
  sem_t m_work{};
};

}  // namespace Ferrolink::Objects::detail

#endif
