#ifndef FERROLINK_HOST_OBJECTS_METHOD_H
#define FERROLINK_HOST_OBJECTS_METHOD_H

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "ferrolink/objects/Java.h"
#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Calls.h"

namespace Ferrolink::Objects {

/// Only function types are specialised: Method<R(Parameters...)>.
template <class Signature>
class Method;

/// A method of a class. It is looked up once, so a call saves the search by name.
/// @code
/// Method<int(std::string_view)> indexOf(java, "java.lang.String", "indexOf");
/// int i = indexOf(text, "x");  // text is an Object or a C++ value, say a std::string
/// @endcode
/// One Method stands for all overloads of the name. Each call chooses among them by the types of
/// its arguments. Copyable. Thread rule: thread-safe. Errors: those of Object::Call, also of the
/// constructor.
template <class R, class... Parameters>
class Method<R(Parameters...)> {
 public:
  /// Looks the method up. `type` is the class that declares or inherits it.
  Method(const Java& java, const ClassReference& type, std::string_view name)
      : m_session(&detail::JavaAccess::SessionOf(java)),
        m_member(detail::MemberOf(*m_session, type, detail::MemberKind::Method, name)) {}

  /// Calls the method on `self`, which is an Object or a C++ value that Java converts.
  template <class Receiver>
  R operator()(const Receiver& self, const std::remove_cvref_t<Parameters>&... arguments) const {
    if constexpr (std::is_same_v<Receiver, Object>) {
      return detail::Invoke<R>(*m_session, m_member, detail::ObjectAccess::Number(self),
                               arguments...);
    } else {
      return detail::Invoke<R>(*m_session, m_member, detail::kReceiverIsValue, self, arguments...);
    }
  }

 private:
  detail::Session* m_session;
  std::uint32_t m_member;
};

/// Only function types are specialised: StaticMethod<R(Parameters...)>.
template <class Signature>
class StaticMethod;

/// A static method of a class, looked up once.
/// @code
/// StaticMethod<double(double, double)> max(java, "java.lang.Math", "max");
/// double m = max(1.0, 2.0);
/// @endcode
/// Copies, thread rule and errors: see Method.
template <class R, class... Parameters>
class StaticMethod<R(Parameters...)> {
 public:
  /// Looks the method up.
  StaticMethod(const Java& java, const ClassReference& type, std::string_view name)
      : m_session(&detail::JavaAccess::SessionOf(java)),
        m_member(detail::MemberOf(*m_session, type, detail::MemberKind::StaticMethod, name)) {}

  /// Calls the method.
  R operator()(const std::remove_cvref_t<Parameters>&... arguments) const {
    return detail::Invoke<R>(*m_session, m_member, 0, arguments...);
  }

 private:
  detail::Session* m_session;
  std::uint32_t m_member;
};

}  // namespace Ferrolink::Objects

#endif
