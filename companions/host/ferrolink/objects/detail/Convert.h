#ifndef FERROLINK_HOST_OBJECTS_DETAIL_CONVERT_H
#define FERROLINK_HOST_OBJECTS_DETAIL_CONVERT_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "ferrolink/objects/Errors.h"
#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Reader.h"
#include "ferrolink/objects/detail/Wire.h"
#include "ferrolink/objects/detail/Writer.h"

namespace Ferrolink::Objects::detail {

/// How a C++ type is encoded. A specialisation has some of these members:
/// - static void Write(Writer&, const T&), for arguments;
/// - static T Read(Reader&), for results; errors: ConversionError and ProtocolError;
/// - kWant, the form in which a result is requested;
/// - kTakesArrays, whether a result may be a large array of primitives;
/// - static std::string Name(), the C++ name for errors;
/// - static std::string Component(), the descriptor of the type as a component of an array.
///
/// The primary template is for types that cannot be encoded.
/// @code
/// Convert<int>::Write(writer, 42);
/// const auto name = Convert<std::string>::Read(reader);
/// @endcode
template <class T>
struct Convert {
  /// Only the primary template has this member.
  static constexpr bool kIsUnknown = true;
};

/// A type with a specialisation of Convert.
template <class T>
concept Known = !requires {
  Convert<T>::kIsUnknown;
};

/// A type that can be an argument of Java or a result of a C++ function.
template <class T>
concept Writable = Known<T> && requires(Writer& writer, const T& value) {
  Convert<T>::Write(writer, value);
};
/// A type that can be a result of Java or an argument of a C++ function.
template <class T>
concept Readable = std::is_void_v<T> ||
    (Known<T>&& requires(Reader& reader) { Convert<T>::Read(reader); });

/// The type as which an argument is written: texts in any form are views.
template <class T>
using Argument = std::conditional_t<std::is_array_v<T> || std::is_same_v<std::decay_t<T>, char*>,
                                    const char*, std::remove_cvref_t<T>>;

/// Encodes an argument. Types that have no encoding do not compile. Errors: those of Buffer.
template <class T>
void WriteArgument(Writer& writer, const T& value) {
  static_assert(Writable<Argument<T>>,
                "This type has no Java type. Arguments are bool, std::int8_t to std::int64_t, "
                "char16_t, float, double, std::string, std::string_view, literals, nullptr, "
                "Object, std::optional of these, std::vector and std::span.");
  Convert<Argument<T>>::Write(writer, value);
}

/// Throws the ConversionError for the next value of `value`, which does not fit the C++ type
/// `wanted`. Releases the handles in that value first.
[[noreturn]] void FailConversion(Reader value, const std::string& wanted);

/// Releases the handles in the next `values` values of `reply`. A no-op for a reader without a
/// session.
inline void DropHandles(Reader reply, std::size_t values) {
  const auto drop = [&](std::uint64_t handle) {
    if (reply.Owner() != nullptr) {
      reply.Owner()->Adopt(handle, 0);
    }
  };
  for (; values != 0; --values) {
    reply.Skip(drop);
  }
}

/// The Java name of a primitive type, for errors.
template <class T>
constexpr std::string_view PrimitiveName() {
  return NameOf(TagOf<T>());
}

/// Converts an integer to T. `value` is the reader before the value, for the text of the error.
/// Errors: ConversionError if T cannot represent the number.
/// @code
/// FitInteger<std::int8_t>(value, 300);  // throws: 300 does not fit a C++ byte
/// @endcode
template <class T, class Number>
T FitInteger(const Reader& value, Number number) {
  if (!std::in_range<T>(number)) {
    throw ConversionError("The " + std::string(NameOf(value.PeekTag())) + " " +
                          std::to_string(number) + " does not fit a C++ " +
                          std::string(PrimitiveName<T>()) + ".");
  }
  return static_cast<T>(number);
}

/// Reads an integer of any size, or a char, as T.
template <class T>
T ReadInteger(Reader& reader) {
  const Reader value = reader;
  const Tag tag = reader.TakeTag();
  if (tag == TagOf<T>()) {
    return reader.TakeNumber<T>();
  }
  switch (tag) {
    case Tag::Byte:
      return FitInteger<T>(value, reader.TakeNumber<std::int8_t>());
    case Tag::Short:
      return FitInteger<T>(value, reader.TakeNumber<std::int16_t>());
    case Tag::Char:
      return FitInteger<T>(value, reader.TakeNumber<std::uint16_t>());
    case Tag::Int:
      return FitInteger<T>(value, reader.TakeNumber<std::int32_t>());
    case Tag::Long:
      return FitInteger<T>(value, reader.TakeNumber<std::int64_t>());
    default:
      FailConversion(value, std::string(PrimitiveName<T>()));
  }
}

/// Reads a number as T. Integers are converted as Java does, which may round. A double becomes a
/// float only if that loses nothing.
template <class T>
T ReadFloating(Reader& reader) {
  const Reader value = reader;
  switch (reader.TakeTag()) {
    case Tag::Byte:
      return static_cast<T>(reader.TakeNumber<std::int8_t>());
    case Tag::Short:
      return static_cast<T>(reader.TakeNumber<std::int16_t>());
    case Tag::Char:
      return static_cast<T>(reader.TakeNumber<std::uint16_t>());
    case Tag::Int:
      return static_cast<T>(reader.TakeNumber<std::int32_t>());
    case Tag::Long:
      return static_cast<T>(reader.TakeNumber<std::int64_t>());
    case Tag::Float:
      return static_cast<T>(reader.TakeNumber<float>());
    case Tag::Double: {
      const auto number = reader.TakeNumber<double>();
      if (std::is_same_v<T, float> && std::isfinite(number) &&
          (std::abs(number) > static_cast<double>(std::numeric_limits<float>::max()) ||
           static_cast<double>(static_cast<float>(number)) != number)) {
        throw ConversionError("The double " + std::to_string(number) +
                              " does not fit a C++ float without loss.");
      }
      return static_cast<T>(number);
    }
    default:
      FailConversion(value, std::string(PrimitiveName<T>()));
  }
}

/// Primitive types.
template <Primitive T>
struct Convert<T> {
  /// By value. Java unboxes objects of the box types.
  static constexpr Want kWant = Want::Value;
  /// A primitive is no array.
  static constexpr bool kTakesArrays = false;

  /// Booleans have no data: the tag is the value.
  static void Write(Writer& writer, T value) {
    if constexpr (std::is_same_v<T, bool>) {
      writer.Write(value ? Tag::True : Tag::False);
    } else {
      writer.Write(TagOf<T>());
      writer.Out().AppendNumber(value);
    }
  }

  /// Errors: ConversionError if the value is no such number, or does not fit.
  static T Read(Reader& reader) {
    if constexpr (std::is_same_v<T, bool>) {
      return ReadBoolean(reader);
    } else if constexpr (std::is_same_v<T, char16_t>) {
      const Reader value = reader;
      if (reader.TakeTag() != Tag::Char) {
        FailConversion(value, Name());
      }
      return reader.TakeNumber<char16_t>();
    } else if constexpr (std::is_floating_point_v<T>) {
      return ReadFloating<T>(reader);
    } else {
      return ReadInteger<T>(reader);
    }
  }

  /// The Java name, as in "int".
  static std::string Name() { return std::string(PrimitiveName<T>()); }
  /// One letter, as in "I".
  static std::string Component() { return {DescriptorOf<T>()}; }

 private:
  // Numbers are no booleans, as in Java.
  static bool ReadBoolean(Reader& reader) {
    const Reader value = reader;
    const Tag tag = reader.TakeTag();
    if (tag != Tag::True && tag != Tag::False) {
      FailConversion(value, Name());
    }
    return tag == Tag::True;
  }
};

/// Null, as an argument only.
template <>
struct Convert<std::nullptr_t> {
  /// Writes the tag of null.
  static void Write(Writer& writer, std::nullptr_t) { writer.Write(Tag::Null); }
};

/// A literal, as an argument only. A null pointer becomes null.
template <>
struct Convert<const char*> {
  /// `text` ends at its first zero byte.
  static void Write(Writer& writer, const char* text) {
    if (text == nullptr) {
      writer.Write(Tag::Null);
    } else {
      writer.WriteText(text);
    }
  }
};

/// UTF-8 text, as an argument only: a result has to own its bytes.
template <>
struct Convert<std::string_view> {
  /// Copies the text, which should be UTF-8.
  static void Write(Writer& writer, std::string_view text) { writer.WriteText(text); }
  /// The descriptor of String.
  static std::string Component() { return "Ljava/lang/String;"; }
};

/// UTF-8 text.
template <>
struct Convert<std::string> : Convert<std::string_view> {
  /// By value.
  static constexpr Want kWant = Want::Value;
  /// A text is no array.
  static constexpr bool kTakesArrays = false;

  /// Errors: ConversionError for everything but a String, also for null.
  static std::string Read(Reader& reader) {
    const Reader value = reader;
    if (reader.TakeTag() != Tag::Text) {
      FailConversion(value, Name());
    }
    return std::string(reader.TakeText());
  }
  /// The name in errors.
  static std::string Name() { return "std::string"; }
};

/// A value that may be null. Encoded as the value itself, or as null.
template <class T>
struct Convert<std::optional<T>> {
  /// As for T.
  static constexpr Want kWant = Convert<T>::kWant;
  /// As for T.
  static constexpr bool kTakesArrays = Convert<T>::kTakesArrays;

  /// An empty optional is null.
  static void Write(Writer& writer, const std::optional<T>& value) {
    if (value) {
      Convert<T>::Write(writer, *value);
    } else {
      writer.Write(Tag::Null);
    }
  }

  /// Null becomes an empty optional. Errors: those of T.
  static std::optional<T> Read(Reader& reader) {
    if (reader.PeekTag() == Tag::Null) {
      reader.TakeTag();
      return std::nullopt;
    }
    return Convert<T>::Read(reader);
  }

  /// The name in errors.
  static std::string Name() { return "std::optional<" + Convert<T>::Name() + ">"; }
  /// As for T, which must not be a primitive type: Java's arrays of primitives have no null.
  static std::string Component() {
    static_assert(!Primitive<T>, "An array of primitives has no null: leave std::optional out.");
    return Convert<T>::Component();
  }
};

/// Converts the next value to an object, by a command to Java. For values that Java sent by value
/// although an object was requested.
Object BoxValue(Reader& value);

/// Objects. Reading takes over the handle for the reader's session.
template <>
struct Convert<Object> {
  /// By handle, also if Java could send the value itself.
  static constexpr Want kWant = Want::Handle;
  /// An Object refers to an array and does not copy it.
  static constexpr bool kTakesArrays = false;

  /// See Writer::WriteObject.
  static void Write(Writer& writer, const Object& value) { writer.WriteObject(value); }

  /// Null and void become a null Object; other values are boxed.
  static Object Read(Reader& reader) {
    switch (reader.PeekTag()) {
      case Tag::Null:
      case Tag::Void:
        reader.TakeTag();
        return {};
      case Tag::Object: {
        reader.TakeTag();
        const auto handle = reader.TakeNumber<std::uint64_t>();
        const auto classId = reader.TakeNumber<std::uint32_t>();
        if (reader.Owner() == nullptr) {
          reader.Fail("has an object where none can be");
        }
        return ObjectAccess::Make(reader.Owner()->Adopt(handle, classId));
      }
      default:
        return BoxValue(reader);
    }
  }

  /// The name in errors.
  static std::string Name() { return "Object"; }
  /// The descriptor of java.lang.Object.
  static std::string Component() { return "Ljava/lang/Object;"; }
};

}  // namespace Ferrolink::Objects::detail

#endif
