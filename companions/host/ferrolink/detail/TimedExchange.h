#ifndef FERROLINK_HOST_DETAIL_TIMEDEXCHANGE_H
#define FERROLINK_HOST_DETAIL_TIMEDEXCHANGE_H

#include <cxxabi.h>

#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "ferrolink/Deadline.h"
#include "ferrolink/Errors.h"
#include "ferrolink/detail/Exchange.h"

/// Commands that run on a thread of their own, so that their callers can give up.
namespace Ferrolink::Host::detail {

[[noreturn]] inline void FailUnsent() {
  throw DeadlineError("The call's time was over before it was sent. Nothing was executed.", false);
}

inline void RequireTimeLeft(const Deadline& deadline) {
  if (deadline.IsOver()) {
    FailUnsent();
  }
}

/// How many of these threads there are. A command that was given up keeps its thread until it ends,
/// so callers wait for a share as long as their time lasts. Never destroyed: threads still end
/// while the process exits. Any thread.
class TimedThreads {
 public:
  static TimedThreads& Instance() {
    static auto& only = *new TimedThreads;
    return only;
  }

  /// False where none became free in time.
  bool Take(const Deadline& deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_changed.wait_until(lock, deadline.Moment(), [this] { return m_running < kMost; })) {
      return false;
    }
    ++m_running;
    return true;
  }
  void GiveBack() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_running;
    m_changed.notify_one();
  }

 private:
  static constexpr int kMost = 256;

  // Guarded by m_mutex.
  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_running = 0;
};

/// One command, shared by its caller and its thread, which may outlive the caller's interest.
class TimedExchange {
 public:
  TimedExchange(Bytes command, std::string who)
      : m_command(std::move(command)), m_who(std::move(who)) {}

  /// The thread's work. The role lives until the process ends. For the end of the thread, the C++
  /// runtime binds the reference that catches it to nothing, which the undefined-behaviour
  /// sanitizer would report.
  template <class Role>
  __attribute__((no_sanitize("null"))) void Run(Role& role, const Deadline& deadline) {
    const Ending ending(*this);
    if (!begin(deadline)) {
      return;
    }
    try {
      Finish(Exchange(role, m_command, m_who), nullptr);
    }
#if defined(__GLIBCXX__)
    catch (const abi::__forced_unwind&) {
      throw;
    }
#endif
    catch (...) {
      Finish({}, std::current_exception());
    }
  }

  /// The caller's: the reply's body, or what the exchange has thrown. Errors: DeadlineError.
  Bytes Wait(const Deadline& deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_ended.wait_until(lock, deadline.Moment(), [this] { return m_state == State::Ended; })) {
      if (std::exchange(m_state, State::GivenUp) == State::Waiting) {
        FailUnsent();
      }
      throw DeadlineError(
          "The call's time was over before its answer came. It goes on, and its answer will be "
          "dropped.",
          true);
    }
    if (m_error) {
      std::rethrow_exception(std::exchange(m_error, nullptr));
    }
    if (!m_answered) {
      if (!m_sent) {
        FailUnsent();
      }
      throw ProtocolError("The thread that carried the command out was ended before its answer.");
    }
    return std::move(m_reply);
  }

 private:
  enum class State { Waiting, Sent, Ended, GivenUp };

  /// Tells the caller, however the thread ends.
  struct Ending {
    explicit Ending(TimedExchange& of) : exchange(of) {}
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;
    ~Ending() {
      {
        const std::lock_guard<std::mutex> lock(exchange.m_mutex);
        exchange.m_state = State::Ended;
      }
      exchange.m_ended.notify_one();
    }
    TimedExchange& exchange;
  };

  bool begin(const Deadline& deadline) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state == State::GivenUp || deadline.IsOver()) {
      return false;
    }
    m_state = State::Sent;
    m_sent = true;
    return true;
  }

  void Finish(Bytes reply, std::exception_ptr error) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reply = std::move(reply);
    m_error = std::move(error);
    m_answered = true;
  }

  // The thread's alone.
  Bytes m_command;
  const std::string m_who;

  // Guarded by m_mutex.
  std::mutex m_mutex;
  std::condition_variable m_ended;
  State m_state = State::Waiting;
  bool m_sent = false;
  bool m_answered = false;
  Bytes m_reply;
  std::exception_ptr m_error;
};

/// Sends a command and waits for its reply until the time is over. Errors: those of exchange;
/// DeadlineError; std::system_error where the system has no thread.
template <class Role>
Bytes ExchangeWithin(Role& role, Bytes command, const std::string& who, const Deadline& deadline) {
  TimedThreads& threads = TimedThreads::Instance();
  const auto timed = std::make_shared<TimedExchange>(std::move(command), who);
  if (!threads.Take(deadline)) {
    FailUnsent();
  }
  const std::shared_ptr<void> share(
      &threads, [](void* taken) { static_cast<TimedThreads*>(taken)->GiveBack(); });
  std::thread([timed, share, &role, deadline] { timed->Run(role, deadline); }).detach();
  return timed->Wait(deadline);
}

}  // namespace Ferrolink::Host::detail

#endif
