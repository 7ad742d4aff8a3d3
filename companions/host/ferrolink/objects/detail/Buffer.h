#ifndef FERROLINK_HOST_OBJECTS_DETAIL_BUFFER_H
#define FERROLINK_HOST_OBJECTS_DETAIL_BUFFER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "ferrolink/Errors.h"
#include "ferrolink/objects/detail/Wire.h"

namespace Ferrolink::Objects::detail {

/// Bytes that grow at the end and are never zeroed. Movable; used by one thread at a time.
class Buffer {
 public:
  [[nodiscard]] std::uint8_t* Data() noexcept { return m_bytes.get(); }
  [[nodiscard]] const std::uint8_t* Data() const noexcept { return m_bytes.get(); }
  [[nodiscard]] std::size_t Size() const noexcept { return m_size; }
  [[nodiscard]] std::size_t Capacity() const noexcept { return m_capacity; }
  [[nodiscard]] std::span<const std::uint8_t> View() const noexcept { return {Data(), m_size}; }

  void Clear() noexcept { m_size = 0; }

  /// Room for `size` bytes at the end. The content of the room is unspecified.
  std::uint8_t* Grow(std::size_t size) {
    if (size > m_capacity - m_size) {
      Reallocate(size);
    }
    std::uint8_t* room = m_bytes.get() + m_size;
    m_size += size;
    return room;
  }

  void AppendBytes(const void* bytes, std::size_t size) {
    if (size != 0) {
      std::memcpy(Grow(size), bytes, size);
    }
  }

  /// An integer, a floating-point number or an enumerator, in as many bytes as its type has.
  template <class T>
  void AppendNumber(T number) {
    std::memcpy(Grow(sizeof(T)), &number, sizeof(T));
  }

  /// Overwrites a number that was written before.
  template <class T>
  void OverwriteNumber(std::size_t at, T number) noexcept {
    std::memcpy(m_bytes.get() + at, &number, sizeof(T));
  }

  /// A length or a count. Errors: ProtocolError if it has no room in the encoding.
  void AppendCount(std::size_t count) {
    if (count > 0x7FFFFFFF) {
      throw Host::ProtocolError("A text or an array has more than 2,147,483,647 elements.", false);
    }
    AppendNumber(static_cast<std::uint32_t>(count));
  }

  /// Length and bytes.
  void AppendText(std::string_view text) {
    AppendCount(text.size());
    AppendBytes(text.data(), text.size());
  }

 private:
  static constexpr std::size_t kSmallest = 512;

  void Reallocate(std::size_t more) {
    const std::size_t needed = m_size + more;
    std::size_t capacity = m_capacity < kSmallest ? kSmallest : m_capacity * 2;
    capacity = capacity < needed ? needed : capacity;
    auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(capacity);
    if (m_size != 0) {
      std::memcpy(bytes.get(), m_bytes.get(), m_size);
    }
    m_bytes = std::move(bytes);
    m_capacity = capacity;
  }

  std::unique_ptr<std::uint8_t[]> m_bytes;
  std::size_t m_size = 0;
  std::size_t m_capacity = 0;
};

/// What ThreadBuffers keeps for one thread.
class KeptBuffers {
 public:
  static constexpr std::size_t kMost = 4;

  KeptBuffers(const KeptBuffers&) = delete;
  KeptBuffers& operator=(const KeptBuffers&) = delete;

  /// The thread's; null before the first use and while the thread's objects are destroyed, because
  /// such objects may make calls. The pointer is plain data, so reading it costs no initialisation.
  static KeptBuffers* OfThread() noexcept { return t_own; }

  /// The same, made if it is the first use.
  static KeptBuffers* MadeForThread() {
    if (t_own == nullptr && !t_ended) {
      static thread_local KeptBuffers kept;
      t_own = &kept;
    }
    return t_own;
  }

  std::array<Buffer, kMost> buffers;
  std::size_t count = 0;

 private:
  KeptBuffers() = default;
  ~KeptBuffers() {
    t_own = nullptr;
    t_ended = true;
  }

  static inline constinit thread_local KeptBuffers* t_own = nullptr;
  static inline constinit thread_local bool t_ended = false;
};

/// Buffers that a thread has used and uses again. A lease has one to itself, so calls nest: no
/// buffer is shared between a command that runs and the commands that run inside it.
class ThreadBuffers {
 public:
  static Buffer Take() noexcept {
    KeptBuffers* kept = KeptBuffers::OfThread();
    if (kept == nullptr || kept->count == 0) {
      return {};
    }
    return std::move(kept->buffers[--kept->count]);
  }

  static void Give(Buffer&& buffer) noexcept {
    KeptBuffers* kept = KeptBuffers::MadeForThread();
    if (kept != nullptr && kept->count < KeptBuffers::kMost && buffer.Capacity() <= kLargestKept) {
      buffer.Clear();
      kept->buffers[kept->count++] = std::move(buffer);
    }
  }

 private:
  static constexpr std::size_t kLargestKept = std::size_t{1024} * 1024 + 4096;
};

/// A buffer for one command and its reply.
class BufferLease {
 public:
  BufferLease() : m_buffer(ThreadBuffers::Take()) {}
  BufferLease(const BufferLease&) = delete;
  BufferLease& operator=(const BufferLease&) = delete;
  ~BufferLease() { ThreadBuffers::Give(std::move(m_buffer)); }

  Buffer& operator*() noexcept { return m_buffer; }
  Buffer* operator->() noexcept { return &m_buffer; }

 private:
  Buffer m_buffer;
};

}  // namespace Ferrolink::Objects::detail

#endif
