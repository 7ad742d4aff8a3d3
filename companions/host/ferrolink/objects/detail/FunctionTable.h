#ifndef FERROLINK_HOST_OBJECTS_DETAIL_FUNCTIONTABLE_H
#define FERROLINK_HOST_OBJECTS_DETAIL_FUNCTIONTABLE_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "ferrolink/objects/detail/Callable.h"
#include "ferrolink/objects/detail/Session.h"

namespace Ferrolink::Objects::detail {

/// The functions that Java may call, by identifier.
///
/// Lifetime of an entry: Java counts how often it was sent a proxy's function, and returns that
/// count after it has collected the proxy. The table removes the entry when all sendings have been
/// returned. A function that is being sent once more has one more sending, so its entry stays.
///
/// The table is never destroyed: Java calls functions while the process exits. Thread rule:
/// thread-safe. No function is called or destroyed under the lock.
/// @code
/// const FunctionTable::Found found = FunctionTable::Instance().Find(id);
/// if (found.body != nullptr) {
///   Call(*found.body, Reader(payload, found.session));
/// }
/// @endcode
class FunctionTable {
 public:
  /// The result of a search.
  struct Found {
    /// Null if there is none. Keeps the functions alive during the call.
    std::shared_ptr<FunctionBody> body;
    /// The session that last sent a body to Java; null before. It releases the handles in the
    /// arguments.
    Session* session = nullptr;
  };

  /// The table of this module.
  static FunctionTable& Instance() {
    static auto& only = *new FunctionTable;
    return only;
  }

  /// Counts one sending of a function to Java. Its destructor cancels the sending unless Succeeded
  /// was called.
  ///
  /// Thread rule: on the stack of one thread.
  /// @code
  /// const FunctionTable::Sending sending(session, body);
  /// Reader reply = request.Send();  // may throw
  /// sending.Succeeded();
  /// @endcode
  class Sending {
   public:
    /// Adds the body to the table if it is not there yet. Errors: std::bad_alloc.
    Sending(Session& session, const std::shared_ptr<FunctionBody>& body) : m_id(body->Id()) {
      Instance().Add(session, body);
    }
    Sending(const Sending&) = delete;
    Sending& operator=(const Sending&) = delete;
    ~Sending() {
      if (!m_succeeded) {
        Instance().GiveBack(m_id, 1);
      }
    }
    /// Java has received the function.
    void Succeeded() const noexcept { m_succeeded = true; }

   private:
    std::uint64_t m_id;
    mutable bool m_succeeded = false;
  };

  /// The body with that identifier.
  Found Find(std::uint64_t id) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto entry = m_functions.find(id);
    return entry == m_functions.end() ? Found{nullptr, m_lastSession}
                                      : Found{entry->second.body, entry->second.session};
  }

  /// Subtracts sendings that Java has returned. Frees the body after the last one. A no-op for
  /// unknown identifiers.
  /// The body is destroyed after the lock is released.
  void GiveBack(std::uint64_t id, std::uint32_t sendings) {
    std::shared_ptr<FunctionBody> freed;
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto entry = m_functions.find(id);
    if (entry == m_functions.end()) {
      return;
    }
    if (entry->second.sendings > sendings) {
      entry->second.sendings -= sendings;
      return;
    }
    freed = std::move(entry->second.body);
    m_functions.erase(entry);
  }

 private:
  // `sendings` counts the proxies that Java has received and not yet returned.
  struct Entry {
    std::shared_ptr<FunctionBody> body;
    Session* session;
    std::uint64_t sendings;
  };

  FunctionTable() = default;

  void Add(Session& session, const std::shared_ptr<FunctionBody>& body) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lastSession = &session;
    ++m_functions.try_emplace(body->Id(), Entry{body, &session, 0}).first->second.sendings;
  }

  // Guarded by m_mutex.
  std::mutex m_mutex;
  std::unordered_map<std::uint64_t, Entry> m_functions;
  Session* m_lastSession = nullptr;
};

}  // namespace Ferrolink::Objects::detail

#endif
