#ifndef FERROLINK_HOST_DETAIL_THREADBUFFER_H
#define FERROLINK_HOST_DETAIL_THREADBUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Ferrolink::Host::detail {

/// A buffer for one command and then its reply. It takes the block that its thread keeps, and gives
/// a block back at its end, however the command ends. A nested command of the thread finds no block
/// and allocates one: the handler that sends it may still read the outer command.
///
/// Thread rule: lives and dies on one thread. Hidden, so that each library keeps blocks of its own.
class __attribute__((visibility("hidden"))) ThreadBuffer {
 public:
  /// The largest block that a thread keeps: a payload of 1 MiB, its header and the longest name
  /// fit.
  static constexpr std::size_t kMostKept = (std::size_t{1} << 20U) + 512;

  ThreadBuffer() : m_block(std::exchange(Kept().block, {})) {}
  ThreadBuffer(const ThreadBuffer&) = delete;
  ThreadBuffer& operator=(const ThreadBuffer&) = delete;
  ~ThreadBuffer() {
    Block& kept = Kept().block;
    if (m_block.size > kept.size && m_block.size <= kMostKept && IsFreedAtThreadEnd()) {
      std::swap(m_block, kept);
    }
    delete[] m_block.bytes;
  }

  /// At least that many bytes, not initialised. What was in the buffer is lost if it has to grow.
  /// Errors: std::bad_alloc, which leaves the buffer as it was.
  [[nodiscard]] std::uint8_t* Room(std::size_t size) {
    if (size > m_block.size) {
      // More than asked for, so that sizes that grow slowly do not allocate each time.
      const std::size_t larger = std::max(size, std::min(size + size / 4 + 256, kMostKept));
      auto* bytes = new std::uint8_t[larger];
      delete[] std::exchange(m_block, Block{bytes, larger}).bytes;
    }
    return m_block.bytes;
  }

  /// The size of the block that this thread keeps at the moment; 0 for none.
  [[nodiscard]] static std::size_t SizeKept() { return Kept().block.size; }

 private:
  struct Block {
    std::uint8_t* bytes;
    std::size_t size;
  };

  // Plain data: destructors of the thread's objects may send commands after its end was noticed.
  struct Slot {
    Block block;
    bool isWatched;
    bool isEnded;
  };

  struct EndOfThread {
    EndOfThread() = default;
    EndOfThread(const EndOfThread&) = delete;
    EndOfThread& operator=(const EndOfThread&) = delete;
    ~EndOfThread() {
      Kept().isEnded = true;
      delete[] std::exchange(Kept().block, {}).bytes;
    }
  };

  static Slot& Kept() {
    static constinit thread_local Slot slot{};
    return slot;
  }

  static bool IsFreedAtThreadEnd() {
    if (!Kept().isWatched) {
      static thread_local const EndOfThread end;
      Kept().isWatched = true;
    }
    return !Kept().isEnded;
  }

  Block m_block;
};

}  // namespace Ferrolink::Host::detail

#endif
