#ifndef FERROLINK_COMPANIONS_TCP_SERVER_MEMORYBUDGET_H
#define FERROLINK_COMPANIONS_TCP_SERVER_MEMORYBUDGET_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Ferrolink::Companions::Tcp::Server {

/// How much memory the frames of all connections may take together. Small frames have an eighth of
/// it to themselves, so that they are served while large ones use up the rest. Any thread.
class MemoryBudget {
 public:
  explicit MemoryBudget(std::uint64_t limit) : m_limit(limit) {}
  MemoryBudget(const MemoryBudget&) = delete;
  MemoryBudget& operator=(const MemoryBudget&) = delete;
  ~MemoryBudget() = default;

  enum class Size { Small, Large };

  /// Whether the bytes may be used; they count until they are given back.
  bool Take(std::uint64_t bytes, Size size);
  void Give(std::uint64_t bytes, Size size);

  [[nodiscard]] std::uint64_t Used() const { return m_used.load(std::memory_order_relaxed); }
  /// No frame can ever be larger.
  [[nodiscard]] std::uint64_t Largest() const { return m_limit - m_limit / 8; }

  /// Whether memory of large frames has been given back since the last call: the C library may keep
  /// it from the system.
  bool HasGivenBack() { return m_givenBack.exchange(false); }

 private:
  const std::uint64_t m_limit;
  std::atomic<std::uint64_t> m_used{0};
  std::atomic<bool> m_givenBack{false};
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
