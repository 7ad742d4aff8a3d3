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

/// See Elements.h.
template <class T>
class Elements;

namespace detail {
struct ObjectAccess;
}

/// A Java object, or null.
/// @code
/// Object list = java.New("java.util.ArrayList");
/// list.Call("add", 42);
/// int size = list.Call<int>("size");
/// @endcode
/// Ownership: copies share one handle, which keeps the Java object alive. After the last copy is
/// destroyed, the handle is released with the next command of any thread, or within a fifth of a
/// second. The destructor itself sends nothing and cannot fail.
///
/// R, in the members below, is the type of the result in C++: void, Object, or a type that
/// Ferrolink::Objects::Java lists. Arguments have these types, too.
///
/// Thread rule: as for std::shared_ptr. Different copies can be used and destroyed on any thread;
/// one Object must not be assigned while another thread uses it. Errors: JavaException for what
/// Java threw, ObjectError, ConversionError; those of a command (ferrolink/Errors.h);
/// std::bad_alloc.
class Object {
 public:
  /// Null.
  Object() noexcept = default;
  /// Null, for arguments and results that are written as nullptr.
  Object(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)

  /// Whether this is null. The other members throw ObjectError for null unless they say otherwise.
  bool IsNull() const noexcept { return m_handle.Get() == nullptr; }

  /// Calls the method of that name whose parameters fit, chosen as Java chooses overloads.
  /// @code
  /// bool known = names.Call<bool>("contains", "Ada");
  /// @endcode
  template <class R = Object, class... Arguments>
  R Call(std::string_view method, const Arguments&... arguments) const;

  /// Reads a field of the object, or a static field of its class.
  /// @code
  /// int x = point.Get<int>("x");
  /// @endcode
  template <class R = Object>
  R Get(std::string_view field) const;
  /// Writes such a field. Errors: also ObjectError for a final field.
  template <class T>
  void Set(std::string_view field, const T& value) const;

  /// Converts the object to a C++ value: boxed values, String, and arrays; an Iterable also to a
  /// std::vector. Numbers are converted if the value fits. Null fits Object and std::optional.
  /// @code
  /// auto names = list.As<std::vector<std::string>>();
  /// @endcode
  /// Errors: ConversionError if the object is of another kind.
  template <class T>
  T As() const;

  /// The elements of an Iterable, a Map (its entries), a Stream or an array, or the remaining
  /// elements of an Iterator. They are fetched `chunk` at a time.
  /// @code
  /// for (Object element : list.Iterate()) ...
  /// for (const std::string& name : names.Iterate<std::string>()) ...
  /// @endcode
  template <class T = Object>
  Elements<T> Iterate(std::size_t chunk = 1024) const;

  /// The result of String.valueOf: toString of the object, "null" for null.
  std::string ToString() const;
  /// The result of Objects.hashCode: 0 for null.
  std::int32_t HashCode() const;
  /// The result of Objects.equals: equals of the object. `other` is an Object or a C++ value, which
  /// Java boxes. Two nulls are equal.
  template <class T>
  bool Equals(const T& other) const;

  /// Whether the object is an instance of that class or interface. False for null.
  bool InstanceOf(std::string_view className) const;

  /// The class name as Class.getName returns it, for example "java.util.ArrayList".
  std::string ClassName() const;

 private:
  friend struct detail::ObjectAccess;
  explicit Object(detail::Handle handle) noexcept : m_handle(std::move(handle)) {}

  detail::Handle m_handle;
};

namespace detail {

/// Gives the other headers access to the handle of an Object.
/// @code
/// request.Out().AppendNumber(ObjectAccess::Number(object));
/// @endcode
struct ObjectAccess {
  /// An Object that shares the ownership of `handle`. An empty handle makes null.
  static Object Make(Handle handle) noexcept { return Object(std::move(handle)); }
  /// The handle; empty for null.
  static const Handle& HandleOf(const Object& object) noexcept { return object.m_handle; }

  /// The handle's number for a command. Errors: ObjectError if the Object is null, or if a Scope
  /// released its handle.
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

  /// The session that the object came from. Errors: those of Number.
  static Session& SessionOf(const Object& object) { return *Required(object).session; }
  /// The broker's number for the object's class; 0 if it is not known. Errors: those of Number.
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
