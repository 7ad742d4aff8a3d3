#ifndef FERROLINK_HOST_DETAIL_THREADBUFFER_H
#define FERROLINK_HOST_DETAIL_THREADBUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Ferrolink::Host::detail {

/// A buffer for one command and then its reply. It borrows the block that its thread keeps, and
/// returns a block on destruction, also after an error. Most commands therefore allocate nothing.
///
/// A nested command of the thread finds no block and allocates one. It cannot reuse the outer
/// block: the handler that sends the nested command may still read the outer command.
///
/// Each thread keeps at most one block of at most kMostKept bytes, which is freed when the thread
/// ends. The class is hidden, so each library keeps its own blocks. Thread rule: created and
/// destroyed on one thread.
/// @code
/// ThreadBuffer buffer;
/// std::uint8_t* command = buffer.Room(commandSize);
/// ...
/// std::uint8_t* reply = buffer.Room(replySize);  // `command` is invalid now
/// @endcode
class __attribute__((visibility("hidden"))) ThreadBuffer {
 public:
  /// The size of the largest block that a thread keeps. A payload of 1 MiB, its header and the
  /// longest name fit.
  static constexpr std::size_t kMostKept = (std::size_t{1} << 20U) + 512;

  /// Takes the thread's block; empty if there is none. The destructor keeps the larger of the two
  /// blocks.
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

  /// Returns memory for at least `size` bytes, not initialised. If the buffer has to grow, its
  /// contents are discarded. The memory is valid until the next call. Errors: std::bad_alloc, which
  /// leaves the buffer unchanged.
  [[nodiscard]] std::uint8_t* Room(std::size_t size) {
    if (size > m_block.size) {
      // More than asked for, so that sizes that grow slowly do not allocate each time.
      const std::size_t larger = std::max(size, std::min(size + size / 4 + 256, kMostKept));
      auto* bytes = new std::uint8_t[larger];
      delete[] std::exchange(m_block, Block{bytes, larger}).bytes;
    }
    return m_block.bytes;
  }

  /// The size of the block that the calling thread keeps now; 0 for none.
  [[nodiscard]] static std::size_t SizeKept() { return Kept().block.size; }

 private:
  // Memory and its size in bytes, owned by whoever holds the struct.
  struct Block {
    std::uint8_t* bytes;
    std::size_t size;
  };

  // What a thread keeps. Plain data without a destructor: destructors of other thread-local objects
  // may send commands after EndOfThread ran. `isWatched` means that EndOfThread will run, `isEnded`
  // that it has run.
  struct Slot {
    Block block;
    bool isWatched;
    bool isEnded;
  };

  // Frees the block when the thread ends.
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

  // A thread keeps a block only if EndOfThread will free it.
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
