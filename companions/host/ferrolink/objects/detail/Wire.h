#ifndef FERROLINK_HOST_OBJECTS_DETAIL_WIRE_H
#define FERROLINK_HOST_OBJECTS_DETAIL_WIRE_H

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The numbers of the encoding of typed calls. docs/objects.md describes the encoding.
///
/// The broker is the built-in handler `objects` of the Java archive. C++ sends it requests. In the
/// other direction, Java calls the handler that FunctionHandler registers. Java has the same
/// numbers in com.ferrolink.core.objects. All numbers are little-endian and unaligned.
namespace Ferrolink::Objects::detail {

static_assert(std::endian::native == std::endian::little, "values travel in this byte order");

/// The first byte of an encoded value. It determines which data follow. Primitive values follow in
/// the size of their type.
enum class Tag : std::uint8_t {
  /// A null reference. No data.
  Null = 0,
  /// A boolean. No data.
  False = 1,
  /// A boolean. No data. Also the element tag of boolean[].
  True = 2,
  /// std::int8_t.
  Byte = 3,
  /// std::int16_t.
  Short = 4,
  /// char16_t.
  Char = 5,
  /// std::int32_t.
  Int = 6,
  /// std::int64_t.
  Long = 7,
  /// IEEE 754 single precision.
  Float = 8,
  /// IEEE 754 double precision.
  Double = 9,
  /// A u32 length in bytes, and UTF-8.
  Text = 10,
  /// A u64 handle and a u32 class number, which is 0 in arguments.
  Object = 11,
  /// An element tag, a u32 count, and the elements. A boolean takes one byte.
  PrimitiveArray = 12,
  /// The descriptor of the component as a text, a u32 count, and as many values.
  Array = 13,
  /// An argument that Java copies from memory: an element tag, a u32 count, a u64 address, a u64
  /// key.
  Memory = 14,
  /// The result of a void method. No data.
  Void = 15,
  /// A result that Java keeps until it is copied: an element tag, a u32 count, a u64 handle.
  ParkedArray = 16,
};
/// The element tag of boolean[].
inline constexpr Tag kBooleanElements = Tag::True;

/// The requests to the broker. The data follow the operation in the request; the result is the data
/// of a successful reply. `object` and `member` are u64 and u32 numbers.
enum class Operation : std::uint8_t {
  /// A MemberKind, the owner as a value, and the name. Result: the number of the member.
  Resolve = 1,
  /// A member, a Want, a u64 key, an object, a u8 count, and the arguments. Result: a value.
  Invoke = 2,
  /// A member, a Want, a u64 key, and an object. Result: a value.
  Get = 3,
  /// A member, an object, and a value. Result: void.
  Set = 4,
  /// An iterator, a Want, and a u32 limit. Result: whether there are more, a u32 count, and the
  /// values.
  Fetch = 5,
  /// An object with elements. Result: its iterator.
  Iterate = 6,
  /// An object and a u64 key. Result: its value.
  Value = 7,
  /// The name of a class as a value. Result: the java.lang.Class.
  Class = 8,
  /// Interfaces, the number of a function, a handler's name, and methods. Result: the proxy.
  Implement = 9,
  /// A TestOf, an object, and a value. Result: a boolean.
  Test = 10,
  /// No data: every request releases handles. Result: void.
  Release = 11,
  /// No data. Result: three u64 counts, and u64 counts by class.
  Statistics = 12,
  /// A class name or an object as a value. Result: a text with one member a line.
  Describe = 13,
  /// A parked array, a u32 first element, a u32 count, a u64 address, a u64 key. Result: void.
  Copy = 15,
  /// An object. Result: the name of its class.
  Name = 16,
  /// An object. Result: a second handle of it.
  Duplicate = 18,
  /// A throwable. Result: void if it has no cause; else the reply is the failure that the cause
  /// describes.
  Cause = 19,
};

/// What a request looks up. A Method may be static; the other kinds are exact.
enum class MemberKind : std::uint8_t {
  Method = 0,
  StaticMethod = 1,
  Constructor = 2,
  Field = 3,
  StaticField = 4,
};
/// Added to the kind: the owner is the class that is given as an object, not that object's class.
inline constexpr std::uint8_t kOfClassObject = 0x80;

/// The form in which a value is requested. Nothing: discard it. Handle: everything but null as an
/// object. Value: by value if possible, else as an object.
enum class Want : std::uint8_t { Nothing = 0, Handle = 1, Value = 2 };

/// The first byte of a reply. Done: the result follows. Thrown: a description of a Java exception
/// follows. Refused: a text and an ObjectError::Reason follow, and nothing was executed.
enum class Status : std::uint8_t { Done = 0, Thrown = 1, Refused = 2 };

/// Equality: Objects.equals. Instance: instanceof, with the name of the class as the value.
enum class TestOf : std::uint8_t { Equality = 1, Instance = 2 };

/// A message of Java: the number of a function, the method, a u8 count, and the arguments.
inline constexpr std::uint8_t kFunctionCall = 1;
/// A message of Java: numbers of functions whose proxies were collected, each with a u32 count of
/// sendings.
inline constexpr std::uint8_t kFunctionsDropped = 2;

/// The first byte of calls of typed C++ functions, and of their answers.
inline constexpr std::uint8_t kTypedCall = 0xF1;
/// The first byte of an answer if the arguments do not fit. A text follows.
inline constexpr std::uint8_t kTypedMismatch = 0xF2;

/// In place of the object of Invoke: the first argument is the object.
inline constexpr std::uint64_t kReceiverIsValue = ~std::uint64_t{0};

/// The name of the broker's handler.
inline constexpr std::string_view kBroker = "objects";
/// The maximum nesting of arrays in values that C++ reads.
inline constexpr int kDeepest = 32;
/// The maximum number of releases in one request.
inline constexpr std::size_t kMostReleases = 0xFFFF;
/// The maximum number of arguments in one call.
inline constexpr std::size_t kMostArguments = 0xFF;

/// Arrays of primitives of at least this size in bytes are passed by address if Java runs in this
/// process.
inline constexpr std::size_t kLargeArray = std::size_t{16} * 1024;

/// C++ types with a primitive Java type. char and wchar_t are none: their size or sign varies.
template <class T>
concept Primitive = std::same_as<T, bool> || std::same_as<T, char16_t> || std::same_as<T, float> ||
    std::same_as<T, double> ||(std::signed_integral<T> && !std::same_as<T, char> &&
                               !std::same_as<T, wchar_t> && sizeof(T) <= sizeof(std::int64_t));

/// The tag of a primitive type's values and of its arrays' elements. The values of bool have two
/// tags; this is that of elements.
template <Primitive T>
constexpr Tag TagOf() {
  if constexpr (std::same_as<T, bool>) {
    return kBooleanElements;
  } else if constexpr (std::same_as<T, char16_t>) {
    return Tag::Char;
  } else if constexpr (std::same_as<T, float>) {
    return Tag::Float;
  } else if constexpr (std::same_as<T, double>) {
    return Tag::Double;
  } else if constexpr (sizeof(T) == 1) {
    return Tag::Byte;
  } else if constexpr (sizeof(T) == 2) {
    return Tag::Short;
  } else {
    return sizeof(T) == 4 ? Tag::Int : Tag::Long;
  }
}

/// The size in bytes of a primitive value or element; 0 for tags of other values.
constexpr std::size_t SizeOf(Tag primitive) {
  switch (primitive) {
    case kBooleanElements:
    case Tag::Byte:
      return 1;
    case Tag::Short:
    case Tag::Char:
      return 2;
    case Tag::Int:
    case Tag::Float:
      return 4;
    case Tag::Long:
    case Tag::Double:
      return 8;
    default:
      return 0;
  }
}

/// The kind of a value in the terms of Java, for errors.
constexpr std::string_view NameOf(Tag tag) {
  constexpr std::string_view kNames[] = {"null",
                                         "boolean",
                                         "boolean",
                                         "byte",
                                         "short",
                                         "char",
                                         "int",
                                         "long",
                                         "float",
                                         "double",
                                         "String",
                                         "object",
                                         "array of primitives",
                                         "array",
                                         "array in memory",
                                         "void",
                                         "array of primitives"};
  const auto index = static_cast<std::size_t>(tag);
  return index < std::size(kNames) ? kNames[index] : std::string_view("unknown value");
}

/// The JVM's descriptor of a primitive type.
template <Primitive T>
constexpr char DescriptorOf() {
  return "?ZZBSCIJFD"[static_cast<std::size_t>(TagOf<T>())];
}

}  // namespace Ferrolink::Objects::detail

#endif
