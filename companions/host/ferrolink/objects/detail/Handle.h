#ifndef FERROLINK_HOST_OBJECTS_DETAIL_HANDLE_H
#define FERROLINK_HOST_OBJECTS_DETAIL_HANDLE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "ferrolink/objects/detail/Wire.h"

namespace Ferrolink::Objects::detail {

class Session;

/// A handle of a Java object that this process owns. All Handles of the object share one record. It
/// is deleted when its handle was released.
struct Record {
  /// Starts with one owner. `number` is the broker's number of the handle, `type` that of its
  /// class.
  Record(Session& owner, std::uint64_t number, std::uint32_t type)
      : session(&owner), handle(number), classId(type) {}

  /// The session that releases the handle. Lives until the process ends.
  Session* const session;
  /// The broker's number; 0 after a Scope released the handle or after it was given to Java.
  std::atomic<std::uint64_t> handle;
  /// The broker's number of the object's class, for the cache of members; 0 if unknown.
  const std::uint32_t classId;
  /// The number of Handles that share this record.
  std::atomic<std::uint32_t> owners{1};
  /// The next pending record. Used only after the last Handle is gone.
  Record* next = nullptr;
};

/// A lock-free stack of records whose handles wait to be released.
///
/// It has no function that takes a single record. A thread that took one would have to read `next`
/// of a record that another thread may have deleted. Thread rule: thread-safe.
/// @code
/// for (Record* record = pending.TakeAll(); record != nullptr; record = record->next) {
///   out.AppendNumber(record->handle.load());
/// }
/// @endcode
class PendingRecords {
 public:
  /// Adds `count` records, linked from `first` to `last`. Returns the number of pending records,
  /// which is approximate if other threads add or take at the same time.
  std::size_t Add(Record* first, Record* last, std::size_t count) noexcept {
    Record* head = m_head.load(std::memory_order_relaxed);
    do {
      last->next = head;
    } while (!m_head.compare_exchange_weak(head, first));
    return m_count.fetch_add(count, std::memory_order_relaxed) + count;
  }

  /// Removes and returns all records as a linked list; null if there are none. The caller owns
  /// them.
  Record* TakeAll() noexcept {
    if (m_head.load(std::memory_order_relaxed) == nullptr) {
      return nullptr;
    }
    m_count.store(0, std::memory_order_relaxed);
    return m_head.exchange(nullptr, std::memory_order_acq_rel);
  }

  /// Whether no record is pending at this moment.
  [[nodiscard]] bool IsEmpty() const noexcept { return m_head.load() == nullptr; }

 private:
  std::atomic<Record*> m_head{nullptr};
  std::atomic<std::size_t> m_count{0};
};

/// Removes one owner. After the last one, deletes the record or queues its handle for release.
void ReleaseRecord(Record* record) noexcept;

/// One owner of a record, or empty. Thread rule: as for std::shared_ptr.
/// @code
/// const Handle handle(new Record(session, number, classId));
/// const Handle copy = handle;  // the last of the two releases the Java object
/// @endcode
class Handle {
 public:
  /// Empty.
  Handle() noexcept = default;
  /// Takes over the ownership with which the record was made.
  explicit Handle(Record* record) noexcept : m_record(record) {}
  /// Adds an owner.
  Handle(const Handle& other) noexcept : m_record(other.m_record) {
    if (m_record != nullptr) {
      m_record->owners.fetch_add(1, std::memory_order_relaxed);
    }
  }
  /// `other` becomes empty.
  Handle(Handle&& other) noexcept : m_record(std::exchange(other.m_record, nullptr)) {}
  /// Adds an owner. Releases the previous record.
  Handle& operator=(const Handle& other) noexcept {
    Handle copy(other);
    std::swap(m_record, copy.m_record);
    return *this;
  }
  /// `other` becomes empty. Releases the previous record.
  Handle& operator=(Handle&& other) noexcept {
    Handle taken(std::move(other));
    std::swap(m_record, taken.m_record);
    return *this;
  }
  ~Handle() {
    if (m_record != nullptr) {
      ReleaseRecord(m_record);
    }
  }

  /// The record; null if empty. Valid as long as this Handle.
  [[nodiscard]] Record* Get() const noexcept { return m_record; }
  /// The broker's number of the handle; 0 if empty, released or given away.
  [[nodiscard]] std::uint64_t Number() const noexcept {
    return m_record == nullptr ? 0 : m_record->handle.load(std::memory_order_relaxed);
  }
  /// Whether no other Handle shares the record. If true, no other thread can change that.
  [[nodiscard]] bool IsOnlyOwner() const noexcept {
    return m_record != nullptr && m_record->owners.load(std::memory_order_acquire) == 1;
  }

  /// Returns the number and transfers its release to the caller or to Java. This Handle and its
  /// copies keep the number 0.
  [[nodiscard]] std::uint64_t GiveAway() const noexcept {
    return m_record == nullptr ? 0 : m_record->handle.exchange(0);
  }

 private:
  Record* m_record = nullptr;
};

}  // namespace Ferrolink::Objects::detail

#endif
