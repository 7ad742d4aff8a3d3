#ifndef FERROLINK_HOST_OBJECTS_DETAIL_CONVERTARRAYS_H
#define FERROLINK_HOST_OBJECTS_DETAIL_CONVERTARRAYS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ferrolink/objects/detail/Convert.h"

namespace Ferrolink::Objects::detail {

/// Calls `onElement` with a Reader for each remaining element of a Java Iterator. Fetches them in
/// chunks. Errors: those of Request::Send, and what `onElement` throws.
template <class OnElement>
void FetchAll(const Object& iterator, Want want, OnElement onElement);

/// The Iterator of an Iterable, array, Map or Stream; an Iterator itself. Errors: those of
/// Request::Send.
Object IteratorOf(const Object& object);

/// Reads an array that Java has parked, which means that the reply has a handle in place of the
/// elements. A second command makes Java copy the elements into the vector's memory. Errors: those
/// of Request::Send.
template <Primitive T>
std::vector<T> CopyParked(Reader& reader) {
  reader.TakeTag();
  const Tag element = reader.TakeElementTag();
  const std::size_t count = reader.TakeNumber<std::uint32_t>();
  const auto number = reader.TakeNumber<std::uint64_t>();
  if (reader.Owner() == nullptr || element != TagOf<T>() || NativeMemory::Key() == 0) {
    reader.Fail("has an array that was not asked for");
  }
  const Object parked = ObjectAccess::Make(reader.Owner()->Adopt(number, 0));
  std::vector<T> elements(count);
  Request request(*reader.Owner(), Operation::Copy);
  request.Out().AppendNumber(number);
  request.Out().AppendNumber(std::uint32_t{0});
  request.Out().AppendCount(count);
  request.Out().AppendNumber(reinterpret_cast<std::uint64_t>(elements.data()));
  request.Out().AppendNumber(NativeMemory::Key());
  request.Send();
  return elements;
}

/// Converts the encoded elements of a primitive array.
template <Primitive T>
std::vector<T> CopyElements(std::span<const std::uint8_t> bytes) {
  std::vector<T> elements(bytes.size() / SizeOf(TagOf<T>()));
  if constexpr (std::is_same_v<T, bool>) {
    for (std::size_t index = 0; index < bytes.size(); ++index) {
      elements[index] = bytes[index] != 0;
    }
  } else if (!bytes.empty()) {
    std::memcpy(elements.data(), bytes.data(), bytes.size());
  }
  return elements;
}

/// Whether the next value is a primitive array with elements of that type. `container`
/// distinguishes arrays by value from parked ones. Does not advance the reader.
inline bool IsArrayOf(const Reader& reader, Tag container, Tag element) {
  Reader copy = reader;
  return copy.TakeTag() == container && copy.Left() != 0 && copy.TakeTag() == element;
}

/// Reads a handle of an Iterable or an array, and fetches its elements. `name` is the wanted C++
/// type, for errors. Errors: ConversionError if the object has no elements.
template <class T>
std::vector<T> ReadIterable(Reader& reader, const std::string& name) {
  const Object iterable = Convert<Object>::Read(reader);
  std::vector<T> elements;
  try {
    FetchAll(IteratorOf(iterable), Convert<T>::kWant,
             [&](Reader& element) { elements.push_back(Convert<T>::Read(element)); });
  } catch (const ObjectError& error) {
    throw ConversionError("Not a " + name + ": " + error.what());
  }
  return elements;
}

/// Arrays. Reading also accepts an Iterable.
template <class T>
requires(Known<T>) struct Convert<std::vector<T>> {
  /// A vector of bool has no contiguous elements, so they are written one by one.
  static void Write(Writer& writer, const std::vector<T>& elements) {
    if constexpr (std::is_same_v<T, bool>) {
      writer.Write(Tag::PrimitiveArray);
      writer.Write(kBooleanElements);
      writer.Out().AppendCount(elements.size());
      for (const bool element : elements) {
        writer.Out().AppendNumber(std::uint8_t{element});
      }
    } else {
      Convert<std::span<const T>>::Write(writer, elements);
    }
  }

  /// Errors: ConversionError, also for null; those of T.
  static std::vector<T> Read(Reader& reader) {
    const Reader value = reader;
    const Tag tag = reader.PeekTag();
    if constexpr (Primitive<T>) {
      if (IsArrayOf(reader, Tag::PrimitiveArray, TagOf<T>())) {
        reader.TakeTag();
        return CopyElements<T>(reader.TakeElements(reader.TakeElementTag()));
      }
      if constexpr (!std::is_same_v<T, bool>) {
        if (IsArrayOf(reader, Tag::ParkedArray, TagOf<T>())) {
          return CopyParked<T>(reader);
        }
      }
    } else if (tag == Tag::Array) {
      return ReadArray(reader);
    }
    if (tag != Tag::Object) {
      FailConversion(value, Name());
    }
    return ReadIterable<T>(reader, Name());
  }

  /// The name in errors.
  static std::string Name() { return "std::vector<" + Convert<T>::Name() + ">"; }
  /// The descriptor of the array.
  static std::string Component() { return "[" + Convert<T>::Component(); }

 private:
  static constexpr bool TakesArrays() {
    if constexpr (Primitive<T>) {
      return !std::is_same_v<T, bool>;  // a vector of bool has no elements to copy to
    } else {
      return requires {
        requires Convert<T>::kTakesArrays;
      };
    }
  }
  static constexpr Want WantOf() {
    if constexpr (requires { Convert<T>::kWant; }) {
      return Convert<T>::kWant;
    } else {
      return Want::Value;
    }
  }

 public:
  /// Whether elements may be copied through memory. See TakesArrays.
  static constexpr bool kTakesArrays = TakesArrays();
  /// As for the elements, so that an array of Objects arrives as handles.
  static constexpr Want kWant = WantOf();

 private:
  // If an element does not fit, releases the handles in the remaining ones. Reading has released
  // those of the failing element.
  static std::vector<T> ReadArray(Reader& reader) {
    reader.TakeTag();
    reader.TakeText();
    const std::size_t count = reader.TakeCount(1);
    std::vector<T> elements;
    elements.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
      const Reader rest = reader;
      try {
        elements.push_back(Convert<T>::Read(reader));
      } catch (...) {
        Reader others = rest;
        others.Skip([](std::uint64_t) {});  // these are let go already
        DropHandles(others, count - index - 1);
        throw;
      }
    }
    return elements;
  }
};

/// Arrays without a copy in C++, as arguments only.
template <class T>
requires(Known<std::remove_const_t<T>>) struct Convert<std::span<T>> {
  /// The type of an element.
  using Element = std::remove_const_t<T>;

  /// Primitive elements are written in one piece, others one by one.
  static void Write(Writer& writer, std::span<const Element> elements) {
    if constexpr (Primitive<Element>) {
      writer.WriteElements(elements);
    } else {
      writer.Write(Tag::Array);
      writer.Out().AppendText(Convert<Element>::Component());
      writer.Out().AppendCount(elements.size());
      for (const Element& element : elements) {
        Convert<Element>::Write(writer, element);
      }
    }
  }
};

}  // namespace Ferrolink::Objects::detail

#endif
