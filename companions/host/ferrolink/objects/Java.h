#ifndef FERROLINK_HOST_OBJECTS_JAVA_H
#define FERROLINK_HOST_OBJECTS_JAVA_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "ferrolink/objects/Function.h"
#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Access.h"
#include "ferrolink/objects/detail/Calls.h"
#include "ferrolink/objects/detail/Implement.h"
#include "ferrolink/objects/detail/Members.h"

namespace Ferrolink::Objects {

namespace detail {
struct JavaAccess;
}

/// What the broker holds for all callers of its JVM.
///
///   const Statistics s = java.LiveObjects();
///   for (const auto& [name, count] : s.handlesByClass) ...
struct Statistics {
  std::size_t handles = 0;    ///< objects that other runtimes hold
  std::size_t functions = 0;  ///< live proxies of functions
  std::size_t members = 0;    ///< members that were looked up, which stay
  std::map<std::string, std::size_t> handlesByClass;
};

/// The classes of a JVM: makes objects, calls static methods, implements interfaces.
///
///   Ferrolink::Host::Host host;
///   Ferrolink::Objects::Java java(host);
///   Object list = java.New("java.util.ArrayList");
///   double m = java.CallStatic<double>("java.lang.Math", "max", 1.0, 2.0);
///
/// Types of arguments and results: bool, std::int8_t to std::int64_t, char16_t, float, double;
/// UTF-8 text as std::string, std::string_view or literal; nullptr; Object; std::optional of these,
/// empty for null; std::vector and, as arguments, std::span of them for arrays, also in one
/// another.
///
/// A class is named as in Java or as by Class.getName ("java.util.Map.Entry",
/// "java.util.Map$Entry"), or is its java.lang.Class object.
///
/// Copies are equal. Neither the Host or Caller nor this must outlive the Objects. Any thread.
/// Errors: those of Object.
class Java {
 public:
  /// Of a Ferrolink::Host::Host, whose JVM it starts, or of a Ferrolink::Cpp::Caller. Where Java is
  /// the program, Java must have called Ferrolink.onCommands().
  template <class Peer>
  requires(detail::IsPeer<Peer>) explicit Java(Peer& peer)
      : m_session(&detail::SessionOfPeer(peer)) {}

  /// Calls the constructor that fits.
  template <class... Arguments>
  Object New(const ClassReference& type, const Arguments&... arguments) const {
    return Static<Object>(type, detail::MemberKind::Constructor, "<init>", arguments...);
  }

  template <class R = Object, class... Arguments>
  R CallStatic(const ClassReference& type, std::string_view method,
               const Arguments&... arguments) const {
    return Static<R>(type, detail::MemberKind::StaticMethod, method, arguments...);
  }

  template <class R = Object>
  R GetStatic(const ClassReference& type, std::string_view field) const {
    return detail::GetField<R>(*m_session, StaticField(type, field), 0);
  }

  template <class T>
  void SetStatic(const ClassReference& type, std::string_view field, const T& value) const {
    detail::SetField(*m_session, StaticField(type, field), 0, value);
  }

  /// The java.lang.Class, also of a primitive type ("int") or an array ("int[]").
  Object FindClass(std::string_view name) const {
    detail::Request request(*m_session, detail::Operation::Class);
    detail::Writer(request.Out(), detail::Handing::Lent).WriteText(name);
    detail::Reader reply = request.Send();
    return detail::Convert<Object>::Read(reply);
  }

  /// An object of Java that implements a functional interface with a function, lambda or Function.
  ///
  ///   Object r = java.Implement("java.lang.Runnable", [&] { ... });
  ///
  /// Its parameters and its result have the types of arguments; Java's are converted to them. It
  /// runs on the thread of Java that calls it. What it throws is an exception in Java. It is
  /// destroyed once Java has no use for the object any more.
  template <class F>
  requires(detail::IsCallable<F>) Object Implement(std::string_view interface, F&& function)
  const { return Implement(interface, Function(std::forward<F>(function))); }
  Object Implement(std::string_view interface, const Function& function) const {
    return detail::ImplementInterface(*m_session, interface, function.m_body);
  }

  /// The same with a function for each method; other methods that have no default throw an
  /// UnsupportedOperationException.
  ///
  ///   Object c = java.Implement("java.util.Comparator", {{"compare", [](Object a, Object b) {
  ///     return 0; }}});
  Object Implement(std::string_view interface, const Functions& functions) const {
    return detail::ImplementInterface(*m_session, interface, functions.m_body);
  }

  /// How many objects are held, by class: what grows, leaks.
  Statistics LiveObjects() const {
    detail::Request request(*m_session, detail::Operation::Statistics);
    detail::Reader reply = request.Send();
    Statistics statistics;
    statistics.handles = reply.TakeNumber<std::uint64_t>();
    statistics.functions = reply.TakeNumber<std::uint64_t>();
    statistics.members = reply.TakeNumber<std::uint64_t>();
    for (std::size_t left = reply.TakeCount(sizeof(std::uint32_t)); left != 0; --left) {
      std::string name(reply.TakeText());
      statistics.handlesByClass[std::move(name)] += reply.TakeNumber<std::uint64_t>();
    }
    return statistics;
  }

  /// The members of a class as Java source declares them, one a line.
  std::string Describe(const ClassReference& type) const {
    detail::Request request(*m_session, detail::Operation::Describe);
    detail::Writer writer(request.Out(), detail::Handing::Lent);
    if (type.Type() != nullptr) {
      writer.WriteObject(*type.Type());
    } else {
      writer.WriteText(type.Name());
    }
    return std::string(request.Send().TakeText());
  }

 private:
  friend struct detail::JavaAccess;

  template <class R, class... Arguments>
  R Static(const ClassReference& type, detail::MemberKind kind, std::string_view name,
           const Arguments&... arguments) const {
    const std::uint32_t member = detail::MemberOf(*m_session, type, kind, name);
    return detail::Invoke<R>(*m_session, member, 0, arguments...);
  }

  [[nodiscard]] std::uint32_t StaticField(const ClassReference& type,
                                          std::string_view field) const {
    return detail::MemberOf(*m_session, type, detail::MemberKind::StaticField, field);
  }

  detail::Session* m_session;
};

namespace detail {

struct JavaAccess {
  static Session& SessionOf(const Java& java) noexcept { return *java.m_session; }
};

}  // namespace detail

}  // namespace Ferrolink::Objects

#endif
