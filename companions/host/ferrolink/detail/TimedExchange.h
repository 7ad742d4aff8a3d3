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

/// Commands that run on a thread of their own, so that their callers can give up: a native call
/// cannot be interrupted. Used by ExchangeWithin only.
namespace Ferrolink::Host::detail {

using Protocol::Bytes;

/// Throws the error for a command that was not sent because the time was over.
[[noreturn]] inline void FailUnsent() {
  throw DeadlineError("The call's time was over before it was sent. Nothing was executed.", false);
}

/// Limits the number of threads of timed commands. A command that was given up keeps its thread
/// until it ends, so callers wait for a free share. Thread-safe. Never destroyed: threads still end
/// while the process exits.
class TimedThreads {
 public:
  /// The counter of this process.
  static TimedThreads& Instance() {
    static auto& only = *new TimedThreads;
    return only;
  }

  /// Waits for a free share and takes it. Returns false if none became free before the deadline.
  bool Take(const Deadline& deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_changed.wait_until(lock, deadline.Moment(), [this] { return m_running < kMost; })) {
      return false;
    }
    ++m_running;
    return true;
  }

  /// Gives a share back and wakes one waiting caller.
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

/// One command, owned by its caller and by its thread, which may run longer than the caller waits.
class TimedExchange {
 public:
  /// `who` names the called runtime in errors.
  TimedExchange(Bytes command, std::string who)
      : m_command(std::move(command)), m_who(std::move(who)) {}

  /// The work of the thread: `send` gets the command and the runtime's name, and returns the
  /// reply's body. If the thread ends inside it (pthread_exit), the C++ runtime binds the reference
  /// of the catch clause to null, which the undefined-behaviour sanitizer would report.
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

  /// The work of the caller. Returns the body of the reply, or throws what `send` threw. Errors:
  /// DeadlineError.
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

  /// Wakes the caller, however the thread ends.
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

  /// Returns false if the caller gave up or the time is over: then nothing may be sent.
  bool Begin(const Deadline& deadline) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state == State::GivenUp || deadline.IsOver()) {
      return false;
    }
    m_state = State::Sent;
    m_sent = true;
    return true;
  }

  /// Stores the result for the caller, who may be gone. Either parameter is empty.
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
