#ifndef FERROLINK_HOST_OBJECTS_DETAIL_WRITER_H
#define FERROLINK_HOST_OBJECTS_DETAIL_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Buffer.h"
#include "ferrolink/objects/detail/NativeMemory.h"
#include "ferrolink/objects/detail/Request.h"
#include "ferrolink/objects/detail/Wire.h"

namespace Ferrolink::Objects::detail {

/// Who releases the handles among the values.
enum class Handing : std::uint8_t {
  Lent,   ///< arguments: they stay C++'s
  Given,  ///< results of C++ functions: Java releases them
};

/// Asks Java for a second handle of the same object, which the caller gives to somebody else to
/// release. Errors: those of Request::Send.
inline std::uint64_t DuplicateHandle(const Object& object) {
  Request request(ObjectAccess::SessionOf(object), Operation::Duplicate);
  request.Out().AppendNumber(ObjectAccess::Number(object));
  Reader reply = request.Send();
  if (reply.TakeTag() != Tag::Object) {
    reply.Fail("has no handle where one was asked for");
  }
  return reply.TakeNumber<std::uint64_t>();
}

/// Encodes values into a buffer. Thread rule: one thread at a time. Errors: those of Buffer.
/// @code
/// Writer writer(request.Out(), Handing::Lent);
/// writer.WriteObject(list);
/// writer.WriteElements(std::span<const double>(values));
/// @endcode
class Writer {
 public:
  /// Appends to `out`, which must outlive the writer.
  Writer(Buffer& out, Handing handing) : m_out(out), m_handing(handing) {}

  /// The buffer, for data without a tag.
  Buffer& Out() noexcept { return m_out; }

  /// Writes a tag, which is a whole value for null, booleans and void.
  void Write(Tag tag) { m_out.AppendNumber(tag); }

  /// Writes a text value.
  void WriteText(std::string_view text) {
    Write(Tag::Text);
    m_out.AppendText(text);
  }

  /// Writes an object or null. If handles are given away, an Object with a single owner loses its
  /// handle; another one stays usable, and Java gets a duplicate. Callers therefore pass only
  /// Objects that they no longer need. Errors: ObjectError for a released handle; those of
  /// DuplicateHandle.
  void WriteObject(const Object& object) {
    if (object.IsNull()) {
      Write(Tag::Null);
      return;
    }
    std::uint64_t number = ObjectAccess::Number(object);
    if (m_handing == Handing::Given) {
      const Handle& handle = ObjectAccess::HandleOf(object);
      number = handle.IsOnlyOwner() ? handle.GiveAway() : DuplicateHandle(object);
    }
    Write(Tag::Object);
    m_out.AppendNumber(number);
    m_out.AppendNumber(std::uint32_t{0});
  }

  /// Writes an array of primitives. A large argument is written as its address if Java runs in this
  /// process; the elements must then live until the command ends.
  template <Primitive T>
  void WriteElements(std::span<const T> elements) {
    if (m_handing == Handing::Lent && elements.size_bytes() >= kLargeArray) {
      if (const std::uint64_t key = NativeMemory::Key(); key != 0) {
        Write(Tag::Memory);
        Write(TagOf<T>());
        m_out.AppendCount(elements.size());
        m_out.AppendNumber(reinterpret_cast<std::uint64_t>(elements.data()));
        m_out.AppendNumber(key);
        return;
      }
    }
    Write(Tag::PrimitiveArray);
    Write(TagOf<T>());
    m_out.AppendCount(elements.size());
    m_out.AppendBytes(elements.data(), elements.size_bytes());
  }

 private:
  Buffer& m_out;
  Handing m_handing;
};

}  // namespace Ferrolink::Objects::detail

#endif
