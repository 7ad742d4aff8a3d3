#ifndef FERROLINK_COMPANIONS_TCP_SERVER_FRAMEBUFFER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_FRAMEBUFFER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>

#include "companions/tcp/server/MemoryBudget.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The budget has no room for a frame.
class MemoryUsedUp : public std::runtime_error {
 public:
  MemoryUsedUp()
      : std::runtime_error(
            "the memory for commands and responses is used up (--max-memory-bytes)") {}
};

/// The bytes of one frame at a time, charged to a budget as they arrive. Not thread-safe.
class FrameBuffer {
 public:
  explicit FrameBuffer(MemoryBudget& budget) : m_budget(budget) {}
  FrameBuffer(const FrameBuffer&) = delete;
  FrameBuffer& operator=(const FrameBuffer&) = delete;
  ~FrameBuffer() { Free(); }

  /// Discards the contents and reserves room for `length` bytes. A large reservation takes address
  /// space only; Extend takes the memory. Errors: MemoryUsedUp.
  void begin(std::size_t length);
  /// The next `count` bytes of the reserved room, with unspecified values. Errors: MemoryUsedUp.
  std::span<std::uint8_t> Extend(std::size_t count);
  /// Discards the contents. Frees the memory, unless it is small enough to keep for the next frame.
  void Clear();

  [[nodiscard]] std::span<std::uint8_t> Bytes() const { return {m_place.get(), m_size}; }

  static constexpr std::size_t kKept = 64U << 10U;

 private:
  [[nodiscard]] MemoryBudget::Size Kind() const {
    return m_capacity > kKept ? MemoryBudget::Size::Large : MemoryBudget::Size::Small;
  }
  void Free();

  MemoryBudget& m_budget;
  std::unique_ptr<std::uint8_t[]> m_place;
  std::size_t m_capacity = 0;
  std::size_t m_size = 0;
  std::size_t m_charged = 0;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
