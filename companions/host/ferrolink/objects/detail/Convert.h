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

/// How a C++ type travels. A specialisation has some of
///   static void Write(Writer&, const T&)   for arguments
///   static T Read(Reader&)                 for results; errors: ConversionError
///   kWant                                  the form in which a result is asked for
///   kTakesArrays                           whether a result may be a large array of primitives
///   static std::string Name()              for errors
///   static std::string Component()         the JVM's descriptor, of what may be in an array
template <class T>
struct Convert {
  static constexpr bool kIsUnknown = true;
};

template <class T>
concept Known = !requires {
  Convert<T>::kIsUnknown;
};

template <class T>
concept Writable = Known<T> && requires(Writer& writer, const T& value) {
  Convert<T>::Write(writer, value);
};
template <class T>
concept Readable = std::is_void_v<T> ||
    (Known<T>&& requires(Reader& reader) { Convert<T>::Read(reader); });

/// The type as which an argument is written: texts in any form are views.
template <class T>
using Argument = std::conditional_t<std::is_array_v<T> || std::is_same_v<std::decay_t<T>, char*>,
                                    const char*, std::remove_cvref_t<T>>;

template <class T>
void WriteArgument(Writer& writer, const T& value) {
  static_assert(Writable<Argument<T>>,
                "This type has no Java type. Arguments are bool, std::int8_t to std::int64_t, "
                "char16_t, float, double, std::string, std::string_view, literals, nullptr, "
                "Object, std::optional of these, std::vector and std::span.");
  Convert<Argument<T>>::Write(writer, value);
}

/// Lets go of the handles in the value at `value`, and tells what does not fit.
[[noreturn]] void FailConversion(Reader value, const std::string& wanted);

/// Lets go of the handles in what is left of `reply`.
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

template <class T>
constexpr std::string_view PrimitiveName() {
  return NameOf(TagOf<T>());
}

/// An integer that has room in T; else ConversionError.
template <class T, class Number>
T FitInteger(const Reader& value, Number number) {
  if (!std::in_range<T>(number)) {
    throw ConversionError("The " + std::string(NameOf(value.PeekTag())) + " " +
                          std::to_string(number) + " does not fit a C++ " +
                          std::string(PrimitiveName<T>()) + ".");
  }
  return static_cast<T>(number);
}

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

/// As Java widens, and from double to float if no digit is lost.
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

template <Primitive T>
struct Convert<T> {
  static constexpr Want kWant = Want::Value;
  static constexpr bool kTakesArrays = false;

  static void Write(Writer& writer, T value) {
    if constexpr (std::is_same_v<T, bool>) {
      writer.Write(value ? Tag::True : Tag::False);
    } else {
      writer.Write(TagOf<T>());
      writer.Out().AppendNumber(value);
    }
  }

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

  static std::string Name() { return std::string(PrimitiveName<T>()); }
  static std::string Component() { return {DescriptorOf<T>()}; }

 private:
  static bool ReadBoolean(Reader& reader) {
    const Reader value = reader;
    const Tag tag = reader.TakeTag();
    if (tag != Tag::True && tag != Tag::False) {
      FailConversion(value, Name());
    }
    return tag == Tag::True;
  }
};

template <>
struct Convert<std::nullptr_t> {
  static void Write(Writer& writer, std::nullptr_t) { writer.Write(Tag::Null); }
};

template <>
struct Convert<const char*> {
  static void Write(Writer& writer, const char* text) {
    if (text == nullptr) {
      writer.Write(Tag::Null);
    } else {
      writer.WriteText(text);
    }
  }
};

template <>
struct Convert<std::string_view> {
  static void Write(Writer& writer, std::string_view text) { writer.WriteText(text); }
  static std::string Component() { return "Ljava/lang/String;"; }
};

template <>
struct Convert<std::string> : Convert<std::string_view> {
  static constexpr Want kWant = Want::Value;
  static constexpr bool kTakesArrays = false;

  static std::string Read(Reader& reader) {
    const Reader value = reader;
    if (reader.TakeTag() != Tag::Text) {
      FailConversion(value, Name());
    }
    return std::string(reader.TakeText());
  }
  static std::string Name() { return "std::string"; }
};

template <class T>
struct Convert<std::optional<T>> {
  static constexpr Want kWant = Convert<T>::kWant;
  static constexpr bool kTakesArrays = Convert<T>::kTakesArrays;

  static void Write(Writer& writer, const std::optional<T>& value) {
    if (value) {
      Convert<T>::Write(writer, *value);
    } else {
      writer.Write(Tag::Null);
    }
  }

  static std::optional<T> Read(Reader& reader) {
    if (reader.PeekTag() == Tag::Null) {
      reader.TakeTag();
      return std::nullopt;
    }
    return Convert<T>::Read(reader);
  }

  static std::string Name() { return "std::optional<" + Convert<T>::Name() + ">"; }
  static std::string Component() {
    static_assert(!Primitive<T>, "An array of primitives has no null: leave std::optional out.");
    return Convert<T>::Component();
  }
};

/// An object for a value that did not come as one.
Object BoxValue(Reader& value);

template <>
struct Convert<Object> {
  static constexpr Want kWant = Want::Handle;
  static constexpr bool kTakesArrays = false;

  static void Write(Writer& writer, const Object& value) { writer.WriteObject(value); }

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

  static std::string Name() { return "Object"; }
  static std::string Component() { return "Ljava/lang/Object;"; }
};

}  // namespace Ferrolink::Objects::detail

#endif
