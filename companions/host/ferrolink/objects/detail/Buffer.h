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

/// An array of bytes that grows at its end. Its memory is never zeroed: commands overwrite all of
/// it.
///
/// Movable; a moved-from Buffer can only be assigned or destroyed. Thread rule: one thread at a
/// time. Errors: the functions that grow it throw std::bad_alloc.
/// @code
/// Buffer out;
/// const std::size_t countAt = out.Size();
/// out.AppendNumber(std::uint16_t{0});
/// out.AppendText("java.util.List");
/// out.OverwriteNumber(countAt, std::uint16_t{1});
/// @endcode
class Buffer {
 public:
  /// The bytes. Growing the buffer invalidates this pointer and all views.
  [[nodiscard]] std::uint8_t* Data() noexcept { return m_bytes.get(); }
  /// The same for reading.
  [[nodiscard]] const std::uint8_t* Data() const noexcept { return m_bytes.get(); }
  /// The number of bytes in use.
  [[nodiscard]] std::size_t Size() const noexcept { return m_size; }
  /// The number of bytes that fit without an allocation.
  [[nodiscard]] std::size_t Capacity() const noexcept { return m_capacity; }
  /// The bytes in use, owned by the buffer.
  [[nodiscard]] std::span<const std::uint8_t> View() const noexcept { return {Data(), m_size}; }

  /// Empties the buffer and keeps its memory.
  void Clear() noexcept { m_size = 0; }

  /// Adds `size` bytes with unspecified values at the end. Returns the first of them.
  std::uint8_t* Grow(std::size_t size) {
    if (size > m_capacity - m_size) {
      Reallocate(size);
    }
    std::uint8_t* room = m_bytes.get() + m_size;
    m_size += size;
    return room;
  }

  /// Copies `size` bytes to the end. `bytes` must not be in this buffer; it may be null if `size`
  /// is 0.
  void AppendBytes(const void* bytes, std::size_t size) {
    if (size != 0) {
      std::memcpy(Grow(size), bytes, size);
    }
  }

  /// Appends an integer, a floating-point number or an enumerator in little-endian order. It takes
  /// sizeof(T) bytes, so callers choose T as the encoding demands.
  template <class T>
  void AppendNumber(T number) {
    std::memcpy(Grow(sizeof(T)), &number, sizeof(T));
  }

  /// Overwrites sizeof(T) bytes at the offset `at`, which must be in use. For counts that are known
  /// later.
  template <class T>
  void OverwriteNumber(std::size_t at, T number) noexcept {
    std::memcpy(m_bytes.get() + at, &number, sizeof(T));
  }

  /// Appends a length or a count as a u32. Errors: ProtocolError above 2^31 - 1, the limit of
  /// Java's arrays.
  void AppendCount(std::size_t count) {
    if (count > 0x7FFFFFFF) {
      throw Host::ProtocolError("A text or an array has more than 2,147,483,647 elements.", false);
    }
    AppendNumber(static_cast<std::uint32_t>(count));
  }

  /// Appends the length and the bytes of a text, which should be UTF-8.
  void AppendText(std::string_view text) {
    AppendCount(text.size());
    AppendBytes(text.data(), text.size());
  }

 private:
  // The first allocation has room for most commands.
  static constexpr std::size_t kSmallest = 512;

  // Doubles the capacity, so that many small additions take linear time.
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

/// The buffers that ThreadBuffers keeps for one thread.
class KeptBuffers {
 public:
  /// The maximum number of buffers: commands nest, and each level in progress uses one.
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

  /// The first `count` of these are free for use.
  std::array<Buffer, kMost> buffers;
  /// The number of free buffers.
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

/// A cache of free buffers for each thread, so that most commands allocate nothing. Taking a buffer
/// removes it from the cache. A command and the commands nested in it therefore never share a
/// buffer.
///
/// Thread rule: thread-safe; each thread has its own cache, which ends with the thread.
class ThreadBuffers {
 public:
  /// Returns an empty buffer. It has no memory yet if the cache is empty.
  static Buffer Take() noexcept {
    KeptBuffers* kept = KeptBuffers::OfThread();
    if (kept == nullptr || kept->count == 0) {
      return {};
    }
    return std::move(kept->buffers[--kept->count]);
  }

  /// Puts a buffer back. Frees it instead if the cache is full or the buffer is larger than
  /// kLargestKept.
  static void Give(Buffer&& buffer) noexcept {
    KeptBuffers* kept = KeptBuffers::MadeForThread();
    if (kept != nullptr && kept->count < KeptBuffers::kMost && buffer.Capacity() <= kLargestKept) {
      buffer.Clear();
      kept->buffers[kept->count++] = std::move(buffer);
    }
  }

 private:
  // A payload of 1 MiB and its header fit. Larger buffers would hold too much memory in each
  // thread.
  static constexpr std::size_t kLargestKept = std::size_t{1024} * 1024 + 4096;
};

/// Owns a buffer of the thread's cache for one command and its reply. Returns it on destruction.
///
/// Thread rule: created and destroyed on one thread.
/// @code
/// BufferLease out;
/// out->AppendNumber(Status::Done);
/// return reply->append(reply, out->Data(), out->Size());
/// @endcode
class BufferLease {
 public:
  BufferLease() : m_buffer(ThreadBuffers::Take()) {}
  BufferLease(const BufferLease&) = delete;
  BufferLease& operator=(const BufferLease&) = delete;
  ~BufferLease() { ThreadBuffers::Give(std::move(m_buffer)); }

  /// The buffer, valid as long as the lease.
  Buffer& operator*() noexcept { return m_buffer; }
  /// The same for access to members.
  Buffer* operator->() noexcept { return &m_buffer; }

 private:
  Buffer m_buffer;
};

}  // namespace Ferrolink::Objects::detail

#endif
