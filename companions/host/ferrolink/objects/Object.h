#ifndef FERROLINK_HOST_OBJECTS_OBJECT_H
#define FERROLINK_HOST_OBJECTS_OBJECT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "ferrolink/objects/Errors.h"
#include "ferrolink/objects/detail/Handle.h"

namespace Ferrolink::Objects {

template <class T>
class Elements;

namespace detail {
struct ObjectAccess;
}

/// A Java object, or null.
///
///   Object list = java.New("java.util.ArrayList");
///   list.Call("add", 42);
///   int size = list.Call<int>("size");
///
/// Copies share one handle and keep the Java object alive. When the last copy is gone, the handle
/// is released with the next command of any thread, or within a fifth of a second: destroying an
/// Object sends nothing and cannot fail.
///
/// R, in the members below, is the type of the result in C++: void, Object, or a type that
/// Ferrolink::Objects::Java lists. The arguments have such types, too.
///
/// Thread rule: as a std::shared_ptr. One Object is not changed by two threads at once; copies of
/// it may be used and destroyed on any thread. Errors: JavaException for what Java threw,
/// ObjectError, ConversionError; those of a command (ferrolink/Errors.h); std::bad_alloc.
class Object {
 public:
  /// Null.
  Object() noexcept = default;
  Object(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)

  bool IsNull() const noexcept { return m_handle.Get() == nullptr; }

  /// Calls the method of that name whose parameters fit, chosen as Java chooses overloads.
  template <class R = Object, class... Arguments>
  R Call(std::string_view method, const Arguments&... arguments) const;

  /// Reads or writes a field of the object, or a static one of its class.
  template <class R = Object>
  R Get(std::string_view field) const;
  template <class T>
  void Set(std::string_view field, const T& value) const;

  /// The object as a C++ value: boxed values, String, arrays; of an Iterable also std::vector.
  /// Numbers are converted if the value fits. Errors: ConversionError.
  template <class T>
  T As() const;

  /// The elements of an Iterable, a Map (its entries), a Stream or an array, and those that an
  /// Iterator still has. They arrive `chunk` at a time.
  ///
  ///   for (Object element : list.Iterate()) ...
  ///   for (const std::string& name : names.Iterate<std::string>()) ...
  template <class T = Object>
  Elements<T> Iterate(std::size_t chunk = 1024) const;

  /// String.valueOf, Objects.hashCode, Objects.equals of the object.
  std::string ToString() const;
  std::int32_t HashCode() const;
  template <class T>
  bool Equals(const T& other) const;

  /// Whether it is of that class, or implements that interface. False for null.
  bool InstanceOf(std::string_view className) const;

  /// As Class.getName, say "java.util.ArrayList".
  std::string ClassName() const;

 private:
  friend struct detail::ObjectAccess;
  explicit Object(detail::Handle handle) noexcept : m_handle(std::move(handle)) {}

  detail::Handle m_handle;
};

namespace detail {

/// What Objects are made of, for the rest of these headers.
struct ObjectAccess {
  static Object Make(Handle handle) noexcept { return Object(std::move(handle)); }
  static const Handle& HandleOf(const Object& object) noexcept { return object.m_handle; }

  /// The number for a command. Errors: ObjectError if it is null, or was released by a Scope.
  static std::uint64_t Number(const Object& object) {
    if (object.IsNull()) {
      throw ObjectError("The Object is null: it has no members.", ObjectError::Reason::Null);
    }
    const std::uint64_t number = object.m_handle.Number();
    if (number == 0) {
      throw ObjectError(
          "The Object's handle was released by the Scope in which it was made. Take it out of the "
          "Scope with Keep.",
          ObjectError::Reason::StaleHandle);
    }
    return number;
  }

  /// Of an Object that is not null.
  static Session& SessionOf(const Object& object) { return *Required(object).session; }
  static std::uint32_t ClassId(const Object& object) { return Required(object).classId; }

 private:
  static const Record& Required(const Object& object) {
    Number(object);
    return *object.m_handle.Get();
  }
};

}  // namespace detail

}  // namespace Ferrolink::Objects

#endif
