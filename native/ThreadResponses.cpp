#include "native/ThreadResponses.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "native/ReentryGuard.h"

namespace Ferrolink::Native {
namespace {

// What a thread keeps from one response for the next without asking, and what all threads together
// keep of larger blocks. Allocating 1 MiB anew for each response costs 1 ms where the C library
// gives it back to the kernel in between.
constexpr std::size_t kKeptAlways = 2048;
constexpr std::size_t kKeptTogether = std::size_t{16} << 20U;

std::atomic<std::size_t> keptTogether{0};

std::atomic<unsigned long> lastNumber{0};

// The entry that this thread used last, and whose it is. Plain data, so that nothing runs when the
// thread ends.
struct LastUsed {
  unsigned long owner;
  void* entry;
};
FERROLINK_THREAD_LOCAL LastUsed lastUsed{0, nullptr};

}  // namespace

ThreadResponses::ThreadResponses() : m_number(lastNumber.fetch_add(1) + 1) {}

ThreadResponses::~ThreadResponses() {
  for (const auto& [thread, entry] : m_entries) {
    keptTogether.fetch_sub(entry.charged);
  }
}

inline ThreadResponses::Entry& ThreadResponses::ownEntry() {
  if (lastUsed.owner == m_number) {
    return *static_cast<Entry*>(lastUsed.entry);
  }
  return lookUpOwnEntry();
}

ThreadResponses::Entry& ThreadResponses::lookUpOwnEntry() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  Entry& entry = m_entries[std::this_thread::get_id()];
  lastUsed = {m_number, &entry};
  return entry;
}

inline void ThreadResponses::release(Entry& entry) {
  const std::size_t size = entry.bytes.capacity();
  if (size != entry.charged && (size > kKeptAlways || entry.charged != 0)) {
    keepOrFree(entry);
  }
  entry.waiting.store(false, std::memory_order_release);
}

void ThreadResponses::store(const std::uint8_t* bytes, std::size_t length) {
  Entry& entry = ownEntry();
  static_cast<void>(entry.waiting.load(std::memory_order_acquire));
  entry.bytes.assign(bytes, bytes + length);
  entry.waiting.store(true, std::memory_order_release);
}

void ThreadResponses::store(Response response) {
  Entry& entry = ownEntry();
  static_cast<void>(entry.waiting.load(std::memory_order_acquire));
  entry.bytes.swap(response);
  entry.waiting.store(true, std::memory_order_release);
}

void ThreadResponses::keepOrFree(Entry& entry) {
  const std::size_t size = entry.bytes.capacity();
  keptTogether.fetch_sub(std::exchange(entry.charged, 0));
  if (size <= kKeptAlways) {
    return;
  }
  if (keptTogether.fetch_add(size) + size <= kKeptTogether) {
    entry.charged = size;
  } else {
    keptTogether.fetch_sub(size);
    Response().swap(entry.bytes);
  }
}

ThreadResponses::Response ThreadResponses::room() {
  Entry& entry = ownEntry();
  Response response;
  if (!entry.waiting.load(std::memory_order_acquire)) {
    response.swap(entry.bytes);
    response.clear();
  }
  return response;
}

bool ThreadResponses::read(std::uint8_t* buffer, int length) {
  Entry& entry = ownEntry();
  if (!entry.waiting.load(std::memory_order_acquire)) {
    return false;
  }
  // Widened as a signed value and compared unsigned: a negative length copies the whole response.
  const auto room = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(length));
  if (const std::size_t copied = std::min(entry.bytes.size(), room); copied > 0) {
    std::memcpy(buffer, entry.bytes.data(), copied);
  }
  release(entry);
  return true;
}

void ThreadResponses::forget() {
  Entry& entry = ownEntry();
  static_cast<void>(entry.waiting.load(std::memory_order_acquire));
  release(entry);
}

}  // namespace Ferrolink::Native
