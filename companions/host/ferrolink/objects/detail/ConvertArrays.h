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

/// Calls `onElement` with a reader of each element that is left of an Iterator, in chunks.
template <class OnElement>
void FetchAll(const Object& iterator, Want want, OnElement onElement);

/// The Iterator of an Iterable, array, Map or Stream.
Object IteratorOf(const Object& object);

/// Fetches an array that the broker keeps until it is copied.
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

/// The type of the array that comes next: what elements it has, whether by value or parked.
inline bool IsArrayOf(const Reader& reader, Tag container, Tag element) {
  Reader copy = reader;
  return copy.TakeTag() == container && copy.Left() != 0 && copy.TakeTag() == element;
}

/// The elements of an Iterable or an array of which there is a handle.
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

template <class T>
requires(Known<T>) struct Convert<std::vector<T>> {
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

  static std::string Name() { return "std::vector<" + Convert<T>::Name() + ">"; }
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
  static constexpr bool kTakesArrays = TakesArrays();
  static constexpr Want kWant = WantOf();

 private:
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

template <class T>
requires(Known<std::remove_const_t<T>>) struct Convert<std::span<T>> {
  using Element = std::remove_const_t<T>;

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
