#ifndef FERROLINK_HOST_OBJECTS_DETAIL_WIRE_H
#define FERROLINK_HOST_OBJECTS_DETAIL_WIRE_H

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The numbers of the encoding of typed calls, which docs/objects.md describes.
namespace Ferrolink::Objects::detail {

static_assert(std::endian::native == std::endian::little, "values travel in this byte order");

enum class Tag : std::uint8_t {
  Null = 0,
  False = 1,
  True = 2,
  Byte = 3,
  Short = 4,
  Char = 5,
  Int = 6,
  Long = 7,
  Float = 8,
  Double = 9,
  Text = 10,
  Object = 11,
  PrimitiveArray = 12,
  Array = 13,
  Memory = 14,
  Void = 15,
  ParkedArray = 16,
};
/// The element tag of boolean[].
inline constexpr Tag kBooleanElements = Tag::True;

enum class Operation : std::uint8_t {
  Resolve = 1,
  Invoke = 2,
  Get = 3,
  Set = 4,
  Fetch = 5,
  Iterate = 6,
  Value = 7,
  Class = 8,
  Implement = 9,
  Test = 10,
  Release = 11,
  Statistics = 12,
  Describe = 13,
  Copy = 15,
  Name = 16,
  Duplicate = 18,
  Cause = 19,
};

enum class MemberKind : std::uint8_t {
  Method = 0,
  StaticMethod = 1,
  Constructor = 2,
  Field = 3,
  StaticField = 4,
};
/// Added to the kind: the owner is the class that is given as an object, not that object's class.
inline constexpr std::uint8_t kOfClassObject = 0x80;

/// In what form a result is wanted.
enum class Want : std::uint8_t { Nothing = 0, Handle = 1, Value = 2 };

enum class Status : std::uint8_t { Done = 0, Thrown = 1, Refused = 2 };

enum class TestOf : std::uint8_t { Equality = 1, Instance = 2 };

/// Calls of functions by Java.
inline constexpr std::uint8_t kFunctionCall = 1;
inline constexpr std::uint8_t kFunctionsDropped = 2;

/// What calls and answers of typed C++ functions begin with.
inline constexpr std::uint8_t kTypedCall = 0xF1;
/// What the answer begins with if the arguments do not fit; a text follows.
inline constexpr std::uint8_t kTypedMismatch = 0xF2;

/// As receiver of a call: the first of the values is it.
inline constexpr std::uint64_t kReceiverIsValue = ~std::uint64_t{0};

inline constexpr std::string_view kBroker = "objects";
inline constexpr int kDeepest = 32;
inline constexpr std::size_t kMostReleases = 0xFFFF;
inline constexpr std::size_t kMostArguments = 0xFF;

/// Primitive arrays of at least so many bytes are handed over by address where that is possible.
inline constexpr std::size_t kLargeArray = std::size_t{16} * 1024;

/// C++ types that are Java's primitive types.
template <class T>
concept Primitive = std::same_as<T, bool> || std::same_as<T, char16_t> || std::same_as<T, float> ||
    std::same_as<T, double> ||(std::signed_integral<T> && !std::same_as<T, char> &&
                               !std::same_as<T, wchar_t> && sizeof(T) <= sizeof(std::int64_t));

/// The tag of a primitive's values, and of the elements of its arrays.
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

/// The size of a primitive's value, or of an array's element; 0 for tags of other values.
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

/// A value's kind as Java names it, for errors.
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

/// A primitive type in the JVM's form.
template <Primitive T>
constexpr char DescriptorOf() {
  return "?ZZBSCIJFD"[static_cast<std::size_t>(TagOf<T>())];
}

}  // namespace Ferrolink::Objects::detail

#endif
