#include "companions/tcp/server/MemoryBudget.h"

namespace Ferrolink::Companions::Tcp::Server {

bool MemoryBudget::Take(std::uint64_t bytes, Size size) {
  const std::uint64_t limit = size == Size::Large ? Largest() : m_limit;
  std::uint64_t used = m_used.load(std::memory_order_relaxed);
  do {
    if (bytes > limit || used > limit - bytes) {
      return false;
    }
  } while (!m_used.compare_exchange_weak(used, used + bytes, std::memory_order_relaxed));
  return true;
}

void MemoryBudget::Give(std::uint64_t bytes, Size size) {
  m_used.fetch_sub(bytes, std::memory_order_relaxed);
  if (size == Size::Large) {
    m_givenBack.store(true);
  }
}

}  // namespace Ferrolink::Companions::Tcp::Server
