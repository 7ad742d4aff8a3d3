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
#include "ferrolink/protocol/Bytes.h"

/// Runs commands on threads of their own, so that their callers can give up: a native call cannot
/// be interrupted. Used only by ExchangeWithin.
namespace Ferrolink::Host::detail {

using Protocol::Bytes;

/// Throws the DeadlineError for a command whose time was over before it was sent.
[[noreturn]] inline void FailUnsent() {
  throw DeadlineError("The call's time was over before it was sent. Nothing was executed.", false);
}

/// Limits the number of threads that run timed commands. A command that was given up keeps its
/// thread until it ends. Callers wait while all threads are in use.
///
/// Lifetime: never destroyed, because threads may still end while the process exits. Thread rule:
/// thread-safe.
/// @code
/// if (!TimedThreads::Instance().Take(deadline)) {
///   FailUnsent();
/// }
/// @endcode
class TimedThreads {
 public:
  /// The limiter of this process.
  static TimedThreads& Instance() {
    static auto& only = *new TimedThreads;
    return only;
  }

  /// Waits for a free thread and reserves it. Returns false if the deadline comes first.
  bool Take(const Deadline& deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_changed.wait_until(lock, deadline.Moment(), [this] { return m_running < kMost; })) {
      return false;
    }
    ++m_running;
    return true;
  }

  /// Frees a reserved thread and wakes one waiting caller.
  void GiveBack() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_running;
    m_changed.notify_one();
  }

 private:
  /// The maximum number of threads. Java's pool has the same one by default.
  static constexpr int kMost = 256;

  // Guarded by m_mutex.
  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_running = 0;
};

/// One command with a deadline. Its caller and its thread share the ownership, because the thread
/// may run longer than the caller waits.
///
/// Thread rule: one thread calls Run, one other thread calls Wait, each once.
/// @code
/// const auto timed = std::make_shared<TimedExchange>(std::move(command), "Java");
/// std::thread([timed, deadline] { timed->Run(deadline, send); }).detach();
/// const Bytes reply = timed->Wait(deadline);
/// @endcode
class TimedExchange {
 public:
  /// `who` names the called runtime in errors.
  TimedExchange(Bytes command, std::string who)
      : m_command(std::move(command)), m_who(std::move(who)) {}

  /// The work of the thread. Calls `send` with the command and the runtime's name; `send` returns
  /// the reply's body. What `send` throws is passed to Wait.
  ///
  /// If `send` ends the thread (pthread_exit), the unwinding continues. The C++ runtime then binds
  /// the reference of the catch clause to null, which the undefined-behaviour sanitizer would
  /// report.
  template <class Send>
  __attribute__((no_sanitize("null"))) void Run(const Deadline& deadline, Send send) {
    const Ending ending(*this);
    if (!Begin(deadline)) {
      return;
    }
    try {
      Finish(send(m_command, m_who), nullptr);
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

  /// The work of the caller. Waits for the end of Run, at most until the deadline. Returns the body
  /// of the reply, or throws what `send` threw. Errors: DeadlineError; ProtocolError if the thread
  /// was ended.
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
  enum class State {
    Waiting,  ///< for the thread to begin
    Sent,     ///< the thread sends the command or waits for its reply
    Ended,    ///< the thread is done; the caller may read the result
    GivenUp,  ///< the caller is gone; the thread must not begin
  };

  /// Wakes the caller whenever Run ends: by a result, an exception, or the end of the thread.
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

  /// Returns false if the command must not be sent: the caller gave up, or the time is over.
  bool Begin(const Deadline& deadline) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state == State::GivenUp || deadline.IsOver()) {
      return false;
    }
    m_state = State::Sent;
    m_sent = true;
    return true;
  }

  /// Stores the result for the caller, who may be gone. One of the parameters is empty.
  void Finish(Bytes reply, std::exception_ptr error) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reply = std::move(reply);
    m_error = std::move(error);
    m_answered = true;
  }

  // Used by the thread only.
  Bytes m_command;
  const std::string m_who;

  // Guarded by m_mutex. m_ended is notified when m_state becomes Ended.
  std::mutex m_mutex;
  std::condition_variable m_ended;
  State m_state = State::Waiting;
  bool m_sent = false;      ///< stays true after Ended
  bool m_answered = false;  ///< false after Ended: the thread was ended (pthread_exit)
  Bytes m_reply;
  std::exception_ptr m_error;
};

}  // namespace Ferrolink::Host::detail

#endif
