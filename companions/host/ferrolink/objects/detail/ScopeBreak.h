#ifndef FERROLINK_HOST_OBJECTS_DETAIL_SCOPEBREAK_H
#define FERROLINK_HOST_OBJECTS_DETAIL_SCOPEBREAK_H

#include <utility>

#include "ferrolink/objects/detail/Session.h"

namespace Ferrolink::Objects::detail {

/// While a C++ function runs that Java has called, the Scopes of the C++ code below Java are none
/// of its own.
class ScopeBreak {
 public:
  ScopeBreak() : m_scope(std::exchange(t_scope, nullptr)) {}
  ScopeBreak(const ScopeBreak&) = delete;
  ScopeBreak& operator=(const ScopeBreak&) = delete;
  ~ScopeBreak() { t_scope = m_scope; }

 private:
  ScopeRecords* m_scope;
};

}  // namespace Ferrolink::Objects::detail

#endif
