#ifndef FERROLINK_HOST_OBJECTS_SCOPE_H
#define FERROLINK_HOST_OBJECTS_SCOPE_H

#include <algorithm>
#include <cstddef>
#include <exception>
#include <utility>
#include <vector>

#include "ferrolink/objects/Java.h"
#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Request.h"
#include "ferrolink/objects/detail/Session.h"

namespace Ferrolink::Objects {

/// Releases all handles that its thread has got while it lived, in one command at its end.
///
///   {
///     Scope scope(java);
///     Object list = java.New("java.util.ArrayList");
///     ...
///     result = scope.Keep(list.Call("get", 0));
///   }
///
/// An Object that outlives the Scope in which it was made cannot be used (ObjectError), unless it
/// was kept. Objects of C++ functions that Java calls meanwhile are not the Scope's. Scopes nest.
/// One lives on the stack of one thread. Its end does not throw: if the command fails, the handles
/// are released with a later one.
class Scope {
 public:
  explicit Scope(const Java& java)
      : m_records{&detail::JavaAccess::SessionOf(java), detail::t_scope, {}} {
    detail::t_scope = &m_records;
  }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;
  ~Scope() {
    detail::t_scope = m_records.outer;
    Release();
  }

  /// Takes an Object that was made within out of the Scope, and returns it.
  Object Keep(const Object& object) {
    std::vector<detail::Handle>& handles = m_records.handles;
    const detail::Record* record = detail::ObjectAccess::HandleOf(object).Get();
    const auto kept = std::find_if(handles.rbegin(), handles.rend(),
                                   [&](const auto& handle) { return handle.Get() == record; });
    if (kept != handles.rend()) {
      std::swap(*kept, handles.back());
      handles.pop_back();
    }
    return object;
  }

 private:
  // The numbers are taken from the Objects that may still be there and given to records of their
  // own, which go with the next command: this one.
  void Release() noexcept {
    if (m_records.handles.empty()) {
      return;
    }
    try {
      for (const detail::Handle& handle : m_records.handles) {
        if (!handle.IsOnlyOwner()) {
          auto released = std::make_unique<detail::Record>(*m_records.session, 0, 0);
          released->handle = handle.GiveAway();
          const detail::Handle dropped(released.release());
        }
      }
      m_records.handles.clear();
      detail::Request(*m_records.session, detail::Operation::Release).Send();
    } catch (const std::exception&) {
      m_records.handles.clear();
    }
  }

  detail::ScopeRecords m_records;
};

}  // namespace Ferrolink::Objects

#endif
