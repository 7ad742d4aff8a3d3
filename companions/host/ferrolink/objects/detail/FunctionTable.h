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

/// The functions that Java may call, by their identifiers.
///
/// A function stays while fewer of its sendings were given back than there were: Java counts the
/// sendings that a proxy stands for, and gives them back when the proxy is collected. So a function
/// that is on its way once more is never freed. Never destroyed: Java calls functions while the
/// process exits. Any thread; no function is called or destroyed under the lock.
class FunctionTable {
 public:
  struct Found {
    std::shared_ptr<FunctionBody> body;  ///< null if there is none
    Session* session = nullptr;
  };

  static FunctionTable& Instance() {
    static auto& only = *new FunctionTable;
    return only;
  }

  /// One sending of a function; taken back unless it succeeded.
  class Sending {
   public:
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
    void Succeeded() const noexcept { m_succeeded = true; }

   private:
    std::uint64_t m_id;
    mutable bool m_succeeded = false;
  };

  Found Find(std::uint64_t id) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto entry = m_functions.find(id);
    return entry == m_functions.end() ? Found{nullptr, m_lastSession}
                                      : Found{entry->second.body, entry->second.session};
  }

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
