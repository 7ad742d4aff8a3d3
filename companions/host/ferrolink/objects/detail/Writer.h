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

/// Whom the handles among the values belong to.
enum class Handing : std::uint8_t {
  Lent,   ///< arguments: they stay C++'s
  Given,  ///< results of C++ functions: Java releases them
};

/// Another handle of the same Java object, for somebody else to release.
inline std::uint64_t DuplicateHandle(const Object& object) {
  Request request(ObjectAccess::SessionOf(object), Operation::Duplicate);
  request.Out().AppendNumber(ObjectAccess::Number(object));
  Reader reply = request.Send();
  if (reply.TakeTag() != Tag::Object) {
    reply.Fail("has no handle where one was asked for");
  }
  return reply.TakeNumber<std::uint64_t>();
}

/// Writes values into a buffer.
class Writer {
 public:
  Writer(Buffer& out, Handing handing) : m_out(out), m_handing(handing) {}

  Buffer& Out() noexcept { return m_out; }

  void Write(Tag tag) { m_out.AppendNumber(tag); }

  void WriteText(std::string_view text) {
    Write(Tag::Text);
    m_out.AppendText(text);
  }

  /// An Object that may be given away is an rvalue of the caller.
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

  /// An array of primitives; by its address if it is large and Java runs in this process.
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
