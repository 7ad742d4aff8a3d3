#include "native/ThreadResponses.h"

#include <pthread.h>

#include <algorithm>
#include <cstring>
#include <shared_mutex>
#include <utility>

#include "native/ThreadLocal.h"

namespace Ferrolink::Native {
namespace {

// Sizes in bytes: the block that each thread always keeps for its next response, and the total of
// larger blocks that all threads keep. Allocating 1 MiB for each response costs 1 ms if the C
// library returns it to the kernel in between.
constexpr std::size_t kKeptAlways = 2048;
constexpr std::size_t kKeptTogether = std::size_t{16} << 20U;

std::atomic<std::size_t> keptTogether{0};

std::atomic<unsigned long> lastNumber{0};

// The entry that this thread used last, and its owner. Plain data: nothing runs when the thread
// ends.
struct LastUsed {
  unsigned long owner;
  void* entry;
};
FERROLINK_THREAD_LOCAL LastUsed lastUsed{0, nullptr};

// All objects of the process. The lock has no destructor, because threads end while the process
// exits. Ending threads share it; constructors and destructors take it alone. An object's own lock
// is taken inside it.
std::shared_mutex objectsMutex;
ThreadResponses* objects = nullptr;

// Whether EndThisThread will run. Without it a thread keeps no large block.
FERROLINK_THREAD_LOCAL bool endIsNoticed = false;

struct ThreadEndKey {
  pthread_key_t key;
  bool made;
};

}  // namespace

ThreadResponses::ThreadResponses() : m_number(lastNumber.fetch_add(1) + 1) {
  const std::unique_lock<std::shared_mutex> lock(objectsMutex);
  m_next = std::exchange(objects, this);
  if (m_next != nullptr) {
    m_next->m_previous = this;
  }
}

ThreadResponses::~ThreadResponses() {
  {
    const std::unique_lock<std::shared_mutex> lock(objectsMutex);
    (m_previous != nullptr ? m_previous->m_next : objects) = m_next;
    if (m_next != nullptr) {
      m_next->m_previous = m_previous;
    }
  }
  for (const auto& [thread, entry] : m_entries) {
    keptTogether.fetch_sub(entry.charged);
  }
}

// A key of the threads library, made once and never deleted. Its destructor is code of a library
// that stays mapped, and does not run when the process exits.
bool ThreadResponses::NoticeEndOfThisThread() {
  static const ThreadEndKey end = [] {
    ThreadEndKey made{};
    made.made = pthread_key_create(&made.key, &ThreadResponses::EndThisThread) == 0;
    return made;
  }();
  return end.made && pthread_setspecific(end.key, &endIsNoticed) == 0;
}

// Later destructors of this thread may send commands. The thread then gets a new entry, and this
// runs again.
void ThreadResponses::EndThisThread(void* /*mark*/) {
  endIsNoticed = false;
  lastUsed = {0, nullptr};
  const std::shared_lock<std::shared_mutex> lock(objectsMutex);
  for (ThreadResponses* each = objects; each != nullptr; each = each->m_next) {
    each->DropOwnEntry();
  }
}

// An unread response stays for a later thread with this id, but is no longer charged.
void ThreadResponses::DropOwnEntry() {
  Entries::node_type dropped;  // freed after the lock
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = m_entries.find(std::this_thread::get_id());
  if (found == m_entries.end()) {
    return;
  }
  Entry& entry = found->second;
  keptTogether.fetch_sub(std::exchange(entry.charged, 0));
  if (!entry.waiting.load(std::memory_order_acquire)) {
    dropped = m_entries.extract(found);
  }
}

inline ThreadResponses::Entry& ThreadResponses::OwnEntry() {
  if (lastUsed.owner == m_number) {
    return *static_cast<Entry*>(lastUsed.entry);
  }
  return LookUpOwnEntry();
}

ThreadResponses::Entry& ThreadResponses::LookUpOwnEntry() {
  if (!endIsNoticed) {
    endIsNoticed = NoticeEndOfThisThread();
  }
  const std::lock_guard<std::mutex> lock(m_mutex);
  Entry& entry = m_entries[std::this_thread::get_id()];
  lastUsed = {m_number, &entry};
  return entry;
}

inline void ThreadResponses::Release(Entry& entry) {
  const std::size_t size = entry.bytes.capacity();
  if (size != entry.charged && (size > kKeptAlways || entry.charged != 0)) {
    KeepOrFree(entry);
  }
  entry.waiting.store(false, std::memory_order_release);
}

void ThreadResponses::Store(const std::uint8_t* bytes, std::size_t length) {
  Entry& entry = OwnEntry();
  static_cast<void>(entry.waiting.load(std::memory_order_acquire));
  entry.bytes.assign(bytes, bytes + length);
  entry.waiting.store(true, std::memory_order_release);
}

void ThreadResponses::Store(Response response) {
  Entry& entry = OwnEntry();
  static_cast<void>(entry.waiting.load(std::memory_order_acquire));
  entry.bytes.swap(response);
  entry.waiting.store(true, std::memory_order_release);
}

void ThreadResponses::KeepOrFree(Entry& entry) {
  const std::size_t size = entry.bytes.capacity();
  keptTogether.fetch_sub(std::exchange(entry.charged, 0));
  if (size <= kKeptAlways) {
    return;
  }
  const std::size_t together = keptTogether.fetch_add(size) + size;
  if (endIsNoticed && together <= kKeptTogether) {
    entry.charged = size;
    return;
  }
  keptTogether.fetch_sub(size);
  Response().swap(entry.bytes);
}

ThreadResponses::Response ThreadResponses::Room() {
  Response response = UsedRoom();
  response.clear();
  return response;
}

ThreadResponses::Response ThreadResponses::UsedRoom() {
  Entry& entry = OwnEntry();
  Response response;
  if (!entry.waiting.load(std::memory_order_acquire)) {
    response.swap(entry.bytes);
  }
  return response;
}

bool ThreadResponses::Read(std::uint8_t* buffer, int length) {
  Entry& entry = OwnEntry();
  if (!entry.waiting.load(std::memory_order_acquire)) {
    return false;
  }
  // Sign-extended and compared unsigned: a negative length copies the whole response.
  const auto room = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(length));
  if (const std::size_t copied = std::min(entry.bytes.size(), room); copied > 0) {
    std::memcpy(buffer, entry.bytes.data(), copied);
  }
  Release(entry);
  return true;
}

void ThreadResponses::Forget() {
  Entry& entry = OwnEntry();
  static_cast<void>(entry.waiting.load(std::memory_order_acquire));
  Release(entry);
}

}  // namespace Ferrolink::Native
