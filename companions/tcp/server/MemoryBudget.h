#ifndef FERROLINK_COMPANIONS_TCP_SERVER_MEMORYBUDGET_H
#define FERROLINK_COMPANIONS_TCP_SERVER_MEMORYBUDGET_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Ferrolink::Companions::Tcp::Server {

/// The memory for the frames of all connections. One eighth is reserved for small frames, so they
/// are served while large ones use up the rest. Thread-safe.
class MemoryBudget {
 public:
  explicit MemoryBudget(std::uint64_t limit) : m_limit(limit) {}
  MemoryBudget(const MemoryBudget&) = delete;
  MemoryBudget& operator=(const MemoryBudget&) = delete;
  ~MemoryBudget() = default;

  enum class Size { Small, Large };

  /// Reserves bytes until they are given back. Returns false if they are not available.
  bool Take(std::uint64_t bytes, Size size);
  void Give(std::uint64_t bytes, Size size);

  [[nodiscard]] std::uint64_t Used() const { return m_used.load(std::memory_order_relaxed); }
  /// The upper limit for one frame.
  [[nodiscard]] std::uint64_t Largest() const { return m_limit - m_limit / 8; }

  /// Whether memory of large frames has been given back since the last call. The C library may
  /// still hold it.
  bool HasGivenBack() { return m_givenBack.exchange(false); }

 private:
  const std::uint64_t m_limit;
  std::atomic<std::uint64_t> m_used{0};
  std::atomic<bool> m_givenBack{false};
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
