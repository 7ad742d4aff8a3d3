#ifndef FERROLINK_HOST_OBJECTS_ELEMENTS_H
#define FERROLINK_HOST_OBJECTS_ELEMENTS_H

#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Calls.h"

namespace Ferrolink::Objects {

/// The elements of a Java Iterator, for a range-based for loop. Object::Iterate returns it.
/// @code
/// for (const std::string& name : names.Iterate<std::string>(256)) {
///   std::puts(name.c_str());
/// }
/// @endcode
/// T is the type of an element in C++: Object, or a type that Ferrolink::Objects::Java lists. The
/// elements can be read once, from the first to the last. They arrive in chunks; each chunk is one
/// command. A chunk stays in memory until the next one is fetched.
///
/// Thread rule: one thread at a time. Errors: begin() and the increment of an iterator throw what
/// the Java iterator throws, and ConversionError if an element does not fit T.
template <class T>
class Elements {
 public:
  /// An input iterator. It must not outlive its Elements. All iterators of one Elements advance
  /// together.
  /// @code
  /// auto elements = list.Iterate<int>();
  /// for (auto at = elements.begin(); at != elements.end(); ++at) {
  ///   sum += *at;
  /// }
  /// @endcode
  class Iterator {
   public:
    /// The type of an element.
    using value_type = T;
    /// Required by the iterator concepts; there is no operator for it.
    using difference_type = std::ptrdiff_t;
    /// A single pass, forwards.
    using iterator_category = std::input_iterator_tag;

    /// Belongs to no Elements. Only assignment is defined.
    Iterator() = default;
    /// An iterator at the current position of `elements`, which must live longer.
    explicit Iterator(Elements& elements) : m_elements(&elements) {}

    /// A copy of the current element. Undefined at the end.
    T operator*() const { return m_elements->m_chunk[m_elements->m_at]; }
    /// Moves to the next element. Fetches the next chunk if the current one is used up.
    Iterator& operator++() {
      m_elements->Next();
      return *this;
    }
    /// The same without a result: the previous element is not kept.
    void operator++(int) { m_elements->Next(); }
    /// Whether all elements have been read.
    bool operator==(std::default_sentinel_t /*end*/) const { return m_elements->IsAtEnd(); }

   private:
    Elements* m_elements = nullptr;
  };

  /// Asks Java for the iterator of `iterable`. Fetches no element yet. `chunk` is the maximum
  /// number of elements in one command; 0 counts as 1. Errors: those of Object::Call.
  Elements(const Object& iterable, std::size_t chunk)
      : m_iterator(detail::IteratorOf(iterable)), m_chunkSize(chunk == 0 ? 1 : chunk) {}
  Elements(const Elements&) = delete;
  Elements& operator=(const Elements&) = delete;
  ~Elements() = default;

  /// The current position: at first, the first element. Fetches the first chunk. The language
  /// requires the names of this function and of end().
  Iterator begin() {
    if (m_at == m_chunk.size()) {
      Fetch();
    }
    return Iterator(*this);
  }
  /// The end for every position.
  [[nodiscard]] std::default_sentinel_t end() const { return {}; }

 private:
  [[nodiscard]] bool IsAtEnd() const { return m_at == m_chunk.size(); }

  void Next() {
    if (++m_at == m_chunk.size()) {
      Fetch();
    }
  }

  // A chunk may be empty without being the last one.
  void Fetch() {
    m_chunk.clear();
    m_at = 0;
    while (m_more && m_chunk.empty()) {
      m_more = detail::FetchChunk(m_iterator, detail::Convert<T>::kWant, m_chunkSize,
                                  [this](detail::Reader& element) {
                                    m_chunk.push_back(detail::Convert<T>::Read(element));
                                  });
    }
  }

  Object m_iterator;
  std::size_t m_chunkSize;
  std::vector<T> m_chunk;
  std::size_t m_at = 0;
  bool m_more = true;
};

template <class T>
Elements<T> Object::Iterate(std::size_t chunk) const {
  return Elements<T>(*this, chunk);
}

}  // namespace Ferrolink::Objects

#endif
