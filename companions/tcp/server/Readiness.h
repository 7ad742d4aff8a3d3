#ifndef FERROLINK_COMPANIONS_TCP_SERVER_READINESS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_READINESS_H

#include <atomic>

namespace Ferrolink::Companions::Tcp::Server {

/// Whether a load balancer should send clients here. Thread-safe.
class Readiness {
 public:
  enum class State { Starting, Ready, Draining };

  void BecomeReady() {
    State starting = State::Starting;
    m_state.compare_exchange_strong(starting, State::Ready);
  }
  /// The first step of the end. It cannot be reverted.
  void BeginDraining() { m_state = State::Draining; }

  [[nodiscard]] State CurrentState() const { return m_state; }
  [[nodiscard]] bool IsReady() const { return m_state == State::Ready; }

 private:
  std::atomic<State> m_state{State::Starting};
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
