#ifndef FERROLINK_HOST_OBJECTS_DETAIL_HANDLE_H
#define FERROLINK_HOST_OBJECTS_DETAIL_HANDLE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "ferrolink/objects/detail/Wire.h"

namespace Ferrolink::Objects::detail {

class Session;

/// A handle of the broker that this process owns, counted by the Handles that share it.
struct Record {
  Record(Session& owner, std::uint64_t number, std::uint32_t type)
      : session(&owner), handle(number), classId(type) {}

  Session* const session;
  /// 0 once it was released by a Scope or given away.
  std::atomic<std::uint64_t> handle;
  const std::uint32_t classId;
  std::atomic<std::uint32_t> owners{1};
  /// The next of the released records; used only after the last owner is gone.
  Record* next = nullptr;
};

/// Records whose handles wait to be released. Lock-free; any thread. They are taken only all at
/// once, so no record is read that another thread may have freed.
class PendingRecords {
 public:
  /// Returns how many there are then, roughly.
  std::size_t Add(Record* first, Record* last, std::size_t count) noexcept {
    Record* head = m_head.load(std::memory_order_relaxed);
    do {
      last->next = head;
    } while (!m_head.compare_exchange_weak(head, first));
    return m_count.fetch_add(count, std::memory_order_relaxed) + count;
  }

  Record* TakeAll() noexcept {
    if (m_head.load(std::memory_order_relaxed) == nullptr) {
      return nullptr;
    }
    m_count.store(0, std::memory_order_relaxed);
    return m_head.exchange(nullptr, std::memory_order_acq_rel);
  }

  [[nodiscard]] bool IsEmpty() const noexcept { return m_head.load() == nullptr; }

 private:
  std::atomic<Record*> m_head{nullptr};
  std::atomic<std::size_t> m_count{0};
};

void ReleaseRecord(Record* record) noexcept;

/// One owner of a record; empty where there is none. Any thread, as a shared_ptr.
class Handle {
 public:
  Handle() noexcept = default;
  /// Takes the first ownership over.
  explicit Handle(Record* record) noexcept : m_record(record) {}
  Handle(const Handle& other) noexcept : m_record(other.m_record) {
    if (m_record != nullptr) {
      m_record->owners.fetch_add(1, std::memory_order_relaxed);
    }
  }
  Handle(Handle&& other) noexcept : m_record(std::exchange(other.m_record, nullptr)) {}
  Handle& operator=(Handle other) noexcept {
    std::swap(m_record, other.m_record);
    return *this;
  }
  ~Handle() {
    if (m_record != nullptr) {
      ReleaseRecord(m_record);
    }
  }

  [[nodiscard]] Record* Get() const noexcept { return m_record; }
  [[nodiscard]] std::uint64_t Number() const noexcept {
    return m_record == nullptr ? 0 : m_record->handle.load(std::memory_order_relaxed);
  }
  [[nodiscard]] bool IsOnlyOwner() const noexcept {
    return m_record != nullptr && m_record->owners.load(std::memory_order_acquire) == 1;
  }

  /// The number, which is somebody else's to release from here on.
  [[nodiscard]] std::uint64_t GiveAway() const noexcept {
    return m_record == nullptr ? 0 : m_record->handle.exchange(0);
  }

 private:
  Record* m_record = nullptr;
};

}  // namespace Ferrolink::Objects::detail

#endif
