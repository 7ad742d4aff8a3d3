#include "companions/tcp/server/FrameBuffer.h"

#include <algorithm>
#include <bit>
#include <new>

namespace Ferrolink::Companions::Tcp::Server {
namespace {

constexpr std::size_t kLeast = 1024;
constexpr std::size_t kPage = 4096;

std::size_t roomFor(std::size_t length) {
  return length > FrameBuffer::kKept ? length : std::bit_ceil(std::max(length, kLeast));
}

}  // namespace

void FrameBuffer::begin(std::size_t length) {
  m_size = 0;
  if (length <= m_capacity) {
    return;
  }
  free();
  try {
    m_place = std::make_unique_for_overwrite<std::uint8_t[]>(roomFor(length));
  } catch (const std::bad_alloc&) {
    throw MemoryUsedUp();
  }
  m_capacity = roomFor(length);
}

std::span<std::uint8_t> FrameBuffer::extend(std::size_t count) {
  const std::size_t needed = std::min(m_capacity, (m_size + count + kPage - 1) / kPage * kPage);
  if (needed > m_charged) {
    if (!m_budget.take(needed - m_charged, kind())) {
      throw MemoryUsedUp();
    }
    m_charged = needed;
  }
  m_size += count;
  return bytes().last(count);
}

void FrameBuffer::clear() {
  m_size = 0;
  if (m_capacity > kKept) {
    free();
  }
}

void FrameBuffer::free() {
  m_place.reset();
  if (m_charged > 0) {
    m_budget.give(m_charged, kind());
  }
  m_capacity = 0;
  m_size = 0;
  m_charged = 0;
}

}  // namespace Ferrolink::Companions::Tcp::Server
