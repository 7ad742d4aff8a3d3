#ifndef FERROLINK_TESTS_SOAK_GATE_H
#define FERROLINK_TESTS_SOAK_GATE_H

#include <condition_variable>
#include <mutex>

namespace Ferrolink::Soak {

/// Lets workers do one piece of work after the other, and pauses them while a sample is taken: only
/// figures of an idle process can be compared. Thread-safe.
class Gate {
 public:
  /// Waits while the gate is closed. Returns false once the work is over; do not call Leave() then.
  bool Enter() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_closed || m_over; });
    m_inside += m_over ? 0 : 1;
    return !m_over;
  }
  void Leave() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_inside;
    if (m_closed && m_inside == 0) {
      m_changed.notify_all();
    }
  }

  /// Closes the gate and waits until no worker is inside.
  void Close() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_closed = true;
    m_changed.wait(lock, [this] { return m_inside == 0; });
  }
  void Open() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_closed = false;
    m_changed.notify_all();
  }
  void end() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_over = true;
    m_changed.notify_all();
  }

 private:
  // Guarded by m_mutex.
  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_inside = 0;
  bool m_closed = false;
  bool m_over = false;
};

}  // namespace Ferrolink::Soak

#endif
