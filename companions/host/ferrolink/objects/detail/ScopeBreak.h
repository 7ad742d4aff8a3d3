#ifndef FERROLINK_HOST_OBJECTS_DETAIL_SCOPEBREAK_H
#define FERROLINK_HOST_OBJECTS_DETAIL_SCOPEBREAK_H

#include <utility>

#include "ferrolink/objects/detail/Session.h"

namespace Ferrolink::Objects::detail {

/// Hides the thread's Scopes while a C++ function runs that Java has called. Those Scopes belong to
/// C++ code further down the stack, which must not release the function's Objects.
///
/// Thread rule: on the stack of one thread.
/// @code
/// const ScopeBreak noScope;
/// function->Call(arguments, count, result);
/// @endcode
class ScopeBreak {
 public:
  /// The destructor makes the Scopes visible again.
  ScopeBreak() : m_scope(std::exchange(t_scope, nullptr)) {}
  ScopeBreak(const ScopeBreak&) = delete;
  ScopeBreak& operator=(const ScopeBreak&) = delete;
  ~ScopeBreak() { t_scope = m_scope; }

 private:
  ScopeRecords* m_scope;
};

}  // namespace Ferrolink::Objects::detail

#endif
