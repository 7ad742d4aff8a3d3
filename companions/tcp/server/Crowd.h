#ifndef FERROLINK_COMPANIONS_TCP_SERVER_CROWD_H
#define FERROLINK_COMPANIONS_TCP_SERVER_CROWD_H

#include <atomic>
#include <cstddef>

namespace Ferrolink::Companions::Tcp::Server {

/// Counts the used slots for clients with commands. Thread-safe.
class Crowd {
 public:
  explicit Crowd(std::size_t slots) : m_slots(slots) {}

  void Enter() { m_taken.fetch_add(1, std::memory_order_relaxed); }
  void Leave() { m_taken.fetch_sub(1, std::memory_order_relaxed); }

  /// Whether more than half of the slots are used, so that idle clients should release theirs soon.
  [[nodiscard]] bool IsDense() const {
    return 2 * m_taken.load(std::memory_order_relaxed) > m_slots;
  }

 private:
  const std::size_t m_slots;
  std::atomic<std::size_t> m_taken{0};
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
