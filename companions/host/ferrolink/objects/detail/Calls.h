#ifndef FERROLINK_HOST_OBJECTS_DETAIL_CALLS_H
#define FERROLINK_HOST_OBJECTS_DETAIL_CALLS_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "ferrolink/objects/JavaException.h"
#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Convert.h"
#include "ferrolink/objects/detail/ConvertArrays.h"
#include "ferrolink/objects/detail/Members.h"
#include "ferrolink/objects/detail/Request.h"

namespace Ferrolink::Objects::detail {

/// The form in which Java should send a result of type R.
template <class R>
constexpr Want WantOf() {
  if constexpr (std::is_void_v<R>) {
    return Want::Nothing;
  } else {
    return Convert<R>::kWant;
  }
}

/// The key that allows Java to park a large array for a copy through memory; 0 if R can be no such
/// array, or if Java runs in another process.
template <class R>
std::uint64_t KeyFor() {
  if constexpr (!std::is_void_v<R>) {
    if constexpr (Convert<R>::kTakesArrays) {
      return NativeMemory::Key();
    }
  }
  return 0;
}

/// Decodes a result. Errors: ConversionError; ProtocolError for malformed bytes.
template <class R>
R ReadResult(Reader& reply) {
  static_assert(Readable<R>,
                "This type has no Java type. Results are void, bool, std::int8_t to std::int64_t, "
                "char16_t, float, double, std::string, Object, std::optional and std::vector.");
  if constexpr (!std::is_void_v<R>) {
    return Convert<R>::Read(reply);
  }
}

/// Calls a method or constructor. `member` is its number from MemberOf. `self` is the number of the
/// object's handle, or 0 for static methods and constructors, or kReceiverIsValue. Errors: those of
/// Request::Send and ReadResult.
/// @code
/// const std::uint32_t member = MemberOf(list, MemberKind::Method, "size");
/// const int size = Invoke<int>(session, member, ObjectAccess::Number(list));
/// @endcode
template <class R, class... Arguments>
R Invoke(Session& session, std::uint32_t member, std::uint64_t self,
         const Arguments&... arguments) {
  static_assert(sizeof...(Arguments) <= kMostArguments, "A call has up to 255 arguments.");
  Request request(session, Operation::Invoke);
  Buffer& out = request.Out();
  out.AppendNumber(member);
  out.AppendNumber(WantOf<R>());
  out.AppendNumber(KeyFor<R>());
  out.AppendNumber(self);
  out.AppendNumber(static_cast<std::uint8_t>(sizeof...(Arguments)));
  Writer writer(out, Handing::Lent);
  (WriteArgument(writer, arguments), ...);
  Reader reply = request.Send();
  return ReadResult<R>(reply);
}

/// Reads a field. Parameters and errors: see Invoke.
template <class R>
R GetField(Session& session, std::uint32_t member, std::uint64_t self) {
  Request request(session, Operation::Get);
  Buffer& out = request.Out();
  out.AppendNumber(member);
  out.AppendNumber(WantOf<R>());
  out.AppendNumber(KeyFor<R>());
  out.AppendNumber(self);
  Reader reply = request.Send();
  return ReadResult<R>(reply);
}

/// Writes a field. Parameters and errors: see Invoke.
template <class T>
void SetField(Session& session, std::uint32_t member, std::uint64_t self, const T& value) {
  Request request(session, Operation::Set);
  request.Out().AppendNumber(member);
  request.Out().AppendNumber(self);
  Writer writer(request.Out(), Handing::Lent);
  WriteArgument(writer, value);
  request.Send();
}

/// Asks Java to compare `object` with `other`, which is a value or an object.
template <class T>
bool TestObject(const Object& object, TestOf what, const T& other) {
  Request request(ObjectAccess::SessionOf(object), Operation::Test);
  request.Out().AppendNumber(what);
  request.Out().AppendNumber(ObjectAccess::Number(object));
  Writer writer(request.Out(), Handing::Lent);
  WriteArgument(writer, other);
  Reader reply = request.Send();
  return Convert<bool>::Read(reply);
}

/// Fails for objects of other classes with ObjectError.
inline Object IteratorOf(const Object& object) {
  Request request(ObjectAccess::SessionOf(object), Operation::Iterate);
  request.Out().AppendNumber(ObjectAccess::Number(object));
  Reader reply = request.Send();
  return Convert<Object>::Read(reply);
}

/// Fetches at most `most` elements of a Java Iterator and calls `onElement` with a Reader for each.
/// Returns false if they were the last ones. If `onElement` throws, the handles in the remaining
/// elements are released.
/// @code
/// const Object iterator = IteratorOf(list);
/// while (FetchChunk(iterator, Want::Value, 1024, onElement)) {
/// }
/// @endcode
template <class OnElement>
bool FetchChunk(const Object& iterator, Want want, std::size_t most, OnElement onElement) {
  Request request(ObjectAccess::SessionOf(iterator), Operation::Fetch);
  request.Out().AppendNumber(ObjectAccess::Number(iterator));
  request.Out().AppendNumber(want);
  request.Out().AppendCount(most);
  Reader reply = request.Send();
  const bool more = reply.TakeNumber<std::uint8_t>() != 0;
  for (std::size_t left = reply.TakeCount(1); left != 0; --left) {
    const Reader rest = reply;
    try {
      onElement(reply);
    } catch (...) {
      Reader others = rest;
      others.Skip([](std::uint64_t) {});  // these are let go already
      DropHandles(others, left - 1);
      throw;
    }
  }
  return more;
}

/// Fetches chunk by chunk until the iterator ends.
template <class OnElement>
void FetchAll(const Object& iterator, Want want, OnElement onElement) {
  constexpr std::size_t kChunk = 1024;
  while (FetchChunk(iterator, want, kChunk, onElement)) {
  }
}

/// Java boxes the value: the call of an identity method returns the argument as an object.
inline Object BoxValue(Reader& value) {
  Reader begin = value;
  value.Skip([](std::uint64_t) {});
  const std::span<const std::uint8_t> bytes = begin.TakeBytes(value.Position() - begin.Position());
  if (value.Owner() == nullptr) {
    value.Fail("has a value where an object is wanted");
  }
  Session& session = *value.Owner();
  const std::uint32_t identity = MemberOf(session, ClassReference("java.util.Objects"),
                                          MemberKind::StaticMethod, "requireNonNull");
  Request request(session, Operation::Invoke);
  Buffer& out = request.Out();
  out.AppendNumber(identity);
  out.AppendNumber(Want::Handle);
  out.AppendNumber(std::uint64_t{0});
  out.AppendNumber(std::uint64_t{0});
  out.AppendNumber(std::uint8_t{1});
  out.AppendBytes(bytes.data(), bytes.size());
  Reader reply = request.Send();
  return Convert<Object>::Read(reply);
}

/// Asks Java for the class of an object. If that fails, the text does without it.
inline void FailConversion(Reader value, const std::string& wanted) {
  const Tag tag = value.PeekTag();
  std::string found = "A value of kind " + std::string(NameOf(tag));
  if (tag == Tag::Object && value.Owner() != nullptr) {
    const Object object = Convert<Object>::Read(value);
    try {
      found = "An object of class " + object.ClassName();
    } catch (const std::exception&) {
      found = "An object";
    }
  } else {
    DropHandles(value, 1);
  }
  throw ConversionError(found + " does not fit a C++ " + wanted + ".");
}

}  // namespace Ferrolink::Objects::detail

namespace Ferrolink::Objects {

template <class R, class... Arguments>
R Object::Call(std::string_view method, const Arguments&... arguments) const {
  const std::uint32_t member = detail::MemberOf(*this, detail::MemberKind::Method, method);
  return detail::Invoke<R>(detail::ObjectAccess::SessionOf(*this), member,
                           detail::ObjectAccess::Number(*this), arguments...);
}

template <class R>
R Object::Get(std::string_view field) const {
  const std::uint32_t member = detail::MemberOf(*this, detail::MemberKind::Field, field);
  return detail::GetField<R>(detail::ObjectAccess::SessionOf(*this), member,
                             detail::ObjectAccess::Number(*this));
}

template <class T>
void Object::Set(std::string_view field, const T& value) const {
  const std::uint32_t member = detail::MemberOf(*this, detail::MemberKind::Field, field);
  detail::SetField(detail::ObjectAccess::SessionOf(*this), member,
                   detail::ObjectAccess::Number(*this), value);
}

template <class T>
T Object::As() const {
  if constexpr (std::is_same_v<T, Object>) {
    return *this;
  } else {
    if (IsNull()) {
      constexpr auto kNull = static_cast<std::uint8_t>(detail::Tag::Null);
      detail::Reader null({&kNull, 1});
      return detail::ReadResult<T>(null);
    }
    if constexpr (detail::Convert<T>::kWant == detail::Want::Handle) {
      detail::Buffer bytes;
      detail::Writer writer(bytes, detail::Handing::Lent);
      writer.Write(detail::Tag::Object);
      bytes.AppendNumber(detail::DuplicateHandle(*this));
      bytes.AppendNumber(detail::ObjectAccess::ClassId(*this));
      detail::Reader value(bytes.View(), &detail::ObjectAccess::SessionOf(*this));
      return detail::ReadResult<T>(value);
    } else {
      detail::Request request(detail::ObjectAccess::SessionOf(*this), detail::Operation::Value);
      request.Out().AppendNumber(detail::ObjectAccess::Number(*this));
      request.Out().AppendNumber(detail::KeyFor<T>());
      detail::Reader reply = request.Send();
      return detail::ReadResult<T>(reply);
    }
  }
}

inline std::string Object::ToString() const {
  return IsNull() ? "null" : Call<std::optional<std::string>>("toString").value_or("null");
}

inline std::int32_t Object::HashCode() const {
  return IsNull() ? 0 : Call<std::int32_t>("hashCode");
}

template <class T>
bool Object::Equals(const T& other) const {
  if (IsNull()) {
    if constexpr (std::is_same_v<T, Object>) {
      return other.IsNull();
    } else {
      return std::is_same_v<T, std::nullptr_t>;
    }
  }
  return detail::TestObject(*this, detail::TestOf::Equality, other);
}

inline bool Object::InstanceOf(std::string_view className) const {
  return !IsNull() && detail::TestObject(*this, detail::TestOf::Instance, className);
}

inline std::string Object::ClassName() const {
  detail::Request request(detail::ObjectAccess::SessionOf(*this), detail::Operation::Name);
  request.Out().AppendNumber(detail::ObjectAccess::Number(*this));
  return std::string(request.Send().TakeText());
}

}  // namespace Ferrolink::Objects

#endif
