#ifndef FERROLINK_HOST_OBJECTS_DETAIL_READER_H
#define FERROLINK_HOST_OBJECTS_DETAIL_READER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "ferrolink/Errors.h"
#include "ferrolink/objects/detail/Wire.h"

namespace Ferrolink::Objects::detail {

class Session;

/// Decodes values from the other side. Trusts nothing: it checks every length against the bytes
/// that are left, before anything is allocated.
///
/// A view: the bytes must outlive it. Copies read independently. Thread rule: one thread at a time.
/// Errors: the members that read throw ProtocolError, which names the offset.
/// @code
/// Reader reply(bytes, &session);
/// if (reply.PeekTag() == Tag::Text) {
///   reply.TakeTag();
///   const std::string_view text = reply.TakeText();
/// }
/// @endcode
class Reader {
 public:
  /// `session` receives the handles in the bytes; null if there can be none.
  explicit Reader(std::span<const std::uint8_t> bytes, Session* session = nullptr)
      : m_bytes(bytes), m_session(session) {}

  /// The session of the handles, or null.
  [[nodiscard]] Session* Owner() const noexcept { return m_session; }
  /// The offset of the next byte.
  [[nodiscard]] std::size_t Position() const noexcept { return m_at; }
  /// The number of bytes that are left.
  [[nodiscard]] std::size_t Left() const noexcept { return m_bytes.size() - m_at; }

  /// Reads `size` bytes. Returns a view of them.
  std::span<const std::uint8_t> TakeBytes(std::size_t size) {
    if (size > Left()) {
      Fail("ends too early");
    }
    const std::span<const std::uint8_t> bytes = m_bytes.subspan(m_at, size);
    m_at += size;
    return bytes;
  }

  /// Reads an integer, a floating-point number or an enumerator of sizeof(T) bytes. An enumerator
  /// is not checked.
  template <class T>
  T TakeNumber() {
    T number;
    std::memcpy(&number, TakeBytes(sizeof(T)).data(), sizeof(T));
    return number;
  }

  /// Reads a tag. It may be unknown.
  Tag TakeTag() { return static_cast<Tag>(TakeNumber<std::uint8_t>()); }
  /// The next tag, which stays unread.
  [[nodiscard]] Tag PeekTag() const {
    Reader copy = *this;
    return copy.TakeTag();
  }

  /// Reads the number of elements that follow, each of at least `smallest` bytes.
  std::size_t TakeCount(std::size_t smallest) {
    const std::size_t count = TakeNumber<std::uint32_t>();
    if (smallest != 0 && count > Left() / smallest) {
      Fail("announces more elements than it has");
    }
    return count;
  }

  /// Reads a text. Returns a view of it. Nothing checks that it is UTF-8.
  std::string_view TakeText() {
    const std::span<const std::uint8_t> bytes = TakeBytes(TakeCount(1));
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }

  /// Skips one value with everything in it. Calls `onHandle` with the number of each handle.
  /// `depth` is the number of arrays around the value.
  template <class OnHandle>
  void Skip(OnHandle onHandle, int depth = 0) {
    const Tag tag = TakeTag();
    switch (tag) {
      case Tag::Null:
      case Tag::False:
      case Tag::True:
      case Tag::Void:
        return;
      case Tag::Text:
        TakeText();
        return;
      case Tag::Object:
        onHandle(TakeNumber<std::uint64_t>());
        TakeBytes(sizeof(std::uint32_t));
        return;
      case Tag::PrimitiveArray:
        TakeElements(TakeElementTag());
        return;
      case Tag::ParkedArray:
        TakeElementTag();
        TakeBytes(sizeof(std::uint32_t));
        onHandle(TakeNumber<std::uint64_t>());
        return;
      case Tag::Array:
        SkipArray(onHandle, depth);
        return;
      default:
        SkipNumber(tag);
    }
  }

  /// Reads the element tag of a primitive array.
  Tag TakeElementTag() {
    const Tag tag = TakeTag();
    if (SizeOf(tag) == 0) {
      Fail("has an array of unknown elements");
    }
    return tag;
  }

  /// Reads the count and the elements of a primitive array. Returns a view of the elements, which
  /// may be unaligned.
  std::span<const std::uint8_t> TakeElements(Tag element) {
    const std::size_t size = SizeOf(element);
    return TakeBytes(TakeCount(size) * size);
  }

  /// Errors: ProtocolError if bytes are left.
  void RequireEnd() const {
    if (Left() != 0) {
      Fail("goes on after its end");
    }
  }

  /// Throws the ProtocolError for the current position. `what` continues a sentence about the
  /// bytes.
  [[noreturn]] void Fail(std::string_view what) const {
    throw Host::ProtocolError("A typed call or its answer " + std::string(what) + ", at byte " +
                              std::to_string(m_at) + " of " + std::to_string(m_bytes.size()) +
                              ". Do both sides have the same version of Ferrolink?");
  }

 private:
  // Steps back for the error, so that it names the offset of the tag.
  void SkipNumber(Tag tag) {
    const std::size_t size = SizeOf(tag);
    if (size == 0) {
      --m_at;
      Fail("has a value of unknown kind " + std::to_string(static_cast<int>(tag)));
    }
    TakeBytes(size);
  }

  template <class OnHandle>
  void SkipArray(OnHandle onHandle, int depth) {
    if (depth >= kDeepest) {
      Fail("has arrays in arrays deeper than 32");
    }
    TakeText();
    const std::size_t count = TakeCount(1);
    for (std::size_t index = 0; index < count; ++index) {
      Skip(onHandle, depth + 1);
    }
  }

  std::span<const std::uint8_t> m_bytes;
  Session* m_session;
  std::size_t m_at = 0;
};

}  // namespace Ferrolink::Objects::detail

#endif
