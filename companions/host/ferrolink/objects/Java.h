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

/// A count of what Java holds for all other runtimes, as returned by Java::LiveObjects.
/// @code
/// const Statistics s = java.LiveObjects();
/// for (const auto& [name, count] : s.handlesByClass) {
///   std::printf("%zu %s\n", count, name.c_str());
/// }
/// @endcode
struct Statistics {
  std::size_t handles = 0;                            ///< objects that other runtimes hold
  std::size_t functions = 0;                          ///< live proxies of functions
  std::size_t members = 0;                            ///< members that were looked up, which stay
  std::map<std::string, std::size_t> handlesByClass;  ///< handles by the name of their class
};

/// The classes of a JVM. Makes objects, calls static methods, and implements interfaces.
/// @code
/// Ferrolink::Host::Host host;
/// Ferrolink::Objects::Java java(host);
/// Object list = java.New("java.util.ArrayList");
/// double m = java.CallStatic<double>("java.lang.Math", "max", 1.0, 2.0);
/// @endcode
/// Types of arguments and results:
/// - bool, std::int8_t to std::int64_t, char16_t, float, double;
/// - UTF-8 text: std::string; as arguments also std::string_view and literals;
/// - Object; nullptr as an argument;
/// - std::optional of these, which is empty for null;
/// - std::vector of these for arrays, nested to any depth; as arguments also std::span.
///
/// Names of classes: the form of Java source ("java.util.Map.Entry") or of Class.getName
/// ("java.util.Map$Entry"). An Object of java.lang.Class can replace the name.
///
/// Cheap to copy; copies are equal. Objects stay usable after this object and its Host or Caller
/// are destroyed: the session with the JVM lives until the process ends. Thread rule: thread-safe.
/// Errors: those of Object.
class Java {
 public:
  /// Uses a Ferrolink::Host::Host, whose JVM it starts, or a Ferrolink::Cpp::Caller. If Java is the
  /// main program, Java must have called Ferrolink.onCommands() before the first typed call.
  /// Errors: those of Host::Start.
  template <class Peer>
  requires(detail::IsPeer<Peer>) explicit Java(Peer& peer)
      : m_session(&detail::SessionOfPeer(peer)) {}

  /// Creates an object with the constructor that fits the arguments, chosen as Java chooses
  /// overloads.
  /// @code
  /// Object big = java.New("java.math.BigInteger", "123456789012345678901234567890");
  /// @endcode
  template <class... Arguments>
  Object New(const ClassReference& type, const Arguments&... arguments) const {
    return Static<Object>(type, detail::MemberKind::Constructor, "<init>", arguments...);
  }

  /// Calls a static method. R is the type of the result in C++; void discards the result.
  /// @code
  /// int parsed = java.CallStatic<int>("java.lang.Integer", "parseInt", "ff", 16);
  /// @endcode
  template <class R = Object, class... Arguments>
  R CallStatic(const ClassReference& type, std::string_view method,
               const Arguments&... arguments) const {
    return Static<R>(type, detail::MemberKind::StaticMethod, method, arguments...);
  }

  /// Reads a static field.
  /// @code
  /// Object out = java.GetStatic("java.lang.System", "out");
  /// @endcode
  template <class R = Object>
  R GetStatic(const ClassReference& type, std::string_view field) const {
    return detail::GetField<R>(*m_session, StaticField(type, field), 0);
  }

  /// Writes a static field. Errors: also ObjectError for a final field.
  template <class T>
  void SetStatic(const ClassReference& type, std::string_view field, const T& value) const {
    detail::SetField(*m_session, StaticField(type, field), 0, value);
  }

  /// The java.lang.Class of that name. "int" finds a primitive type, "int[]" an array type.
  /// @code
  /// Object ints = java.FindClass("int[]");
  /// @endcode
  Object FindClass(std::string_view name) const {
    detail::Request request(*m_session, detail::Operation::Class);
    detail::Writer(request.Out(), detail::Handing::Lent).WriteText(name);
    detail::Reader reply = request.Send();
    return detail::Convert<Object>::Read(reply);
  }

  /// Returns a Java object that implements a functional interface with a function, lambda or
  /// Function.
  /// @code
  /// Object r = java.Implement("java.lang.Runnable", [&] { ... });
  /// @endcode
  /// Java's arguments are converted to the types of the parameters. The function runs on the Java
  /// thread that calls it. If it throws, Java gets an exception. It is destroyed after Java has
  /// collected the object and C++ has destroyed its last Function. Errors: also InstallationError
  /// if the C++ member cannot be opened.
  template <class F>
  requires(detail::IsCallable<F>) Object Implement(std::string_view interface, F&& function)
  const { return Implement(interface, Function(std::forward<F>(function))); }
  /// The same with a Function. The result is the same Java object each time, as long as Java keeps
  /// it.
  Object Implement(std::string_view interface, const Function& function) const {
    return detail::ImplementInterface(*m_session, interface, function.m_body);
  }

  /// The same with a function for each named method. An abstract method without a function throws
  /// an UnsupportedOperationException.
  /// @code
  /// Object c = java.Implement("java.util.Comparator", {{"compare", [](Object a, Object b) {
  ///   return 0; }}});
  /// @endcode
  Object Implement(std::string_view interface, const Functions& functions) const {
    return detail::ImplementInterface(*m_session, interface, functions.m_body);
  }

  /// Counts what Java holds for other runtimes. If a count grows without end, handles leak.
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

  /// The public members of a class as Java source declares them, one a line. For diagnostics.
  /// @code
  /// std::puts(java.Describe("java.util.List").c_str());
  /// @endcode
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

/// Gives the headers of this library the session of a Java object.
struct JavaAccess {
  /// The session lives until the process ends.
  static Session& SessionOf(const Java& java) noexcept { return *java.m_session; }
};

}  // namespace detail

}  // namespace Ferrolink::Objects

#endif
