#ifndef FERROLINK_HOST_OBJECTS_ELEMENTS_H
#define FERROLINK_HOST_OBJECTS_ELEMENTS_H

#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Calls.h"

namespace Ferrolink::Objects {

/// What Object::Iterate returns: the elements of a Java Iterator, once, for a range-based for loop.
///
///   for (Object element : list.Iterate(1024)) ...
///
/// Each chunk is one command. Used by one thread; not copied. The loop throws what the iterator
/// throws.
template <class T>
class Elements {
 public:
  class Iterator {
   public:
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::input_iterator_tag;

    Iterator() = default;
    explicit Iterator(Elements& elements) : m_elements(&elements) {}

    T operator*() const { return m_elements->m_chunk[m_elements->m_at]; }
    Iterator& operator++() {
      m_elements->Next();
      return *this;
    }
    void operator++(int) { m_elements->Next(); }
    bool operator==(std::default_sentinel_t /*end*/) const { return m_elements->IsAtEnd(); }

   private:
    Elements* m_elements = nullptr;
  };

  /// The elements of `iterable`, of which `chunk`, at least one, are fetched at a time.
  Elements(const Object& iterable, std::size_t chunk)
      : m_iterator(detail::IteratorOf(iterable)), m_chunkSize(chunk == 0 ? 1 : chunk) {}
  Elements(const Elements&) = delete;
  Elements& operator=(const Elements&) = delete;
  ~Elements() = default;

  // The names that the language asks for.
  Iterator begin() {
    if (m_at == m_chunk.size()) {
      Fetch();
    }
    return Iterator(*this);
  }
  [[nodiscard]] std::default_sentinel_t end() const { return {}; }

 private:
  [[nodiscard]] bool IsAtEnd() const { return m_at == m_chunk.size(); }

  void Next() {
    if (++m_at == m_chunk.size()) {
      Fetch();
    }
  }

  // A chunk may be empty and not the last.
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
