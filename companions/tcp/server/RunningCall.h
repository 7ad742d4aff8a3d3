#ifndef FERROLINK_COMPANIONS_TCP_SERVER_RUNNINGCALL_H
#define FERROLINK_COMPANIONS_TCP_SERVER_RUNNINGCALL_H

#include <chrono>
#include <string>
#include <string_view>

#include "companions/tcp/server/Events.h"
#include "companions/tcp/server/Guest.h"
#include "companions/tcp/server/Metrics.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Counts a running command and its result, which is a failure unless it is set.
class RunningCall {
 public:
  /// Copies the name of the handler, because the member may overwrite it. The other objects must
  /// outlive it.
  RunningCall(const Events& events, const Guest& guest, std::string_view handler)
      : m_events(events), m_guest(guest), m_handler(handler) {
    m_events.GetMetrics().CallBegan();
  }
  RunningCall(const RunningCall&) = delete;
  RunningCall& operator=(const RunningCall&) = delete;
  ~RunningCall() { m_events.Called(m_guest, m_handler, m_result, Clock::now() - m_begin); }

  void Answered() { m_result = CallResult::Answered; }

 private:
  using Clock = std::chrono::steady_clock;

  const Events& m_events;
  const Guest& m_guest;
  const std::string m_handler;
  const Clock::time_point m_begin = Clock::now();
  CallResult m_result = CallResult::Failed;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
