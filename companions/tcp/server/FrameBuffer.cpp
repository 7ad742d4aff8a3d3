#include "companions/tcp/server/FrameBuffer.h"

#include <algorithm>
#include <bit>
#include <new>

namespace Ferrolink::Companions::Tcp::Server {
namespace {

constexpr std::size_t kLeast = 1024;
constexpr std::size_t kPage = 4096;

std::size_t RoomFor(std::size_t length) {
  return length > FrameBuffer::kKept ? length : std::bit_ceil(std::max(length, kLeast));
}

}  // namespace

void FrameBuffer::begin(std::size_t length) {
  m_size = 0;
  if (length <= m_capacity) {
    return;
  }
  Free();
  try {
    m_place = std::make_unique_for_overwrite<std::uint8_t[]>(RoomFor(length));
  } catch (const std::bad_alloc&) {
    throw MemoryUsedUp();
  }
  m_capacity = RoomFor(length);
}

std::span<std::uint8_t> FrameBuffer::Extend(std::size_t count) {
  const std::size_t needed = std::min(m_capacity, (m_size + count + kPage - 1) / kPage * kPage);
  if (needed > m_charged) {
    if (!m_budget.Take(needed - m_charged, Kind())) {
      throw MemoryUsedUp();
    }
    m_charged = needed;
  }
  m_size += count;
  return Bytes().last(count);
}

void FrameBuffer::Clear() {
  m_size = 0;
  if (m_capacity > kKept) {
    Free();
  }
}

void FrameBuffer::Free() {
  m_place.reset();
  if (m_charged > 0) {
    m_budget.Give(m_charged, Kind());
  }
  m_capacity = 0;
  m_size = 0;
  m_charged = 0;
}

}  // namespace Ferrolink::Companions::Tcp::Server
