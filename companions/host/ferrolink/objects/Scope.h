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

/// Releases the handles that its thread receives during its lifetime, all in one command at its
/// end.
/// @code
/// {
///   Scope scope(java);
///   Object list = java.New("java.util.ArrayList");
///   ...
///   result = scope.Keep(list.Call("get", 0));
/// }
/// @endcode
/// An Object made within a Scope cannot be used after the Scope's end (ObjectError), unless Keep
/// took it out. If Java calls a C++ function meanwhile, the Objects of that function do not belong
/// to the Scope. Scopes can be nested; the innermost one takes each new handle.
///
/// Thread rule: must be created and destroyed on one thread, in the order of a stack. Errors: the
/// destructor does not throw. If its command fails, a later command releases the handles.
class Scope {
 public:
  /// Begins to collect the handles of the JVM of `java`. Sends nothing.
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

  /// Takes an Object out of the Scope and returns it. A no-op for Objects that were made elsewhere.
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
  // Objects that outlive the Scope lose their handle's number to a new record. The new records are
  // pending releases, so the command that is sent here takes them along.
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
