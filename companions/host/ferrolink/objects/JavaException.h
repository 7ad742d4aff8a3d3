#ifndef FERROLINK_HOST_OBJECTS_JAVAEXCEPTION_H
#define FERROLINK_HOST_OBJECTS_JAVAEXCEPTION_H

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ferrolink/Errors.h"
#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Request.h"

namespace Ferrolink::Objects {

namespace detail {

/// A Java exception as the broker describes it. Shared by all copies of a JavaException.
struct ThrownObject {
  /// The name of its class, as of Class.getName.
  std::string className;
  /// Its message in UTF-8; empty if it has none.
  std::string message;
  /// A readable report of the exception and all its causes; what() of the JavaException.
  std::string report;
  /// The names of all its superclasses and interfaces.
  std::vector<std::string> supertypes;
  /// The exception itself; null if Java could not make a handle.
  Object throwable;
};

}  // namespace detail

/// An exception that Java code threw during a typed call.
/// @code
/// try {
///   java.New("java.io.FileReader", "/no/such/file");
/// } catch (const JavaException& error) {
///   if (error.Is("java.io.IOException")) std::puts(error.what());
/// }
/// @endcode
/// what() is a readable report with all causes. Copies share their data; copying does not throw. If
/// it leaves a C++ function that Java has called, Java code catches the original throwable.
///
/// Thread rule: as for std::shared_ptr. Only Cause() sends a command.
class JavaException : public Host::RemoteError {
 public:
  /// Made by these headers only. `thrown` must not be null.
  explicit JavaException(std::shared_ptr<const detail::ThrownObject> thrown)
      : RemoteError(thrown->report), m_thrown(std::move(thrown)) {}

  /// The class name as Class.getName returns it, for example "java.io.FileNotFoundException".
  const std::string& ClassName() const noexcept { return m_thrown->className; }

  /// The result of Throwable.getMessage; empty if that is null.
  const std::string& Message() const noexcept { return m_thrown->message; }

  /// Whether the exception is an instance of that class or interface, given by the name of
  /// Class.getName. Sends no command.
  bool Is(std::string_view className) const noexcept {
    const std::vector<std::string>& names = m_thrown->supertypes;
    return className == m_thrown->className ||
           std::find(names.begin(), names.end(), className) != names.end();
  }

  /// The result of Throwable.getCause; nothing if there is no cause. Sends a command. Errors: those
  /// of a command.
  std::optional<JavaException> Cause() const;

  /// The exception as an object, for calls of its own methods.
  const Object& Throwable() const noexcept { return m_thrown->throwable; }

 private:
  std::shared_ptr<const detail::ThrownObject> m_thrown;
};

namespace detail {

/// Reads a failure reply with status Thrown. Takes over the handle in it. The handle belongs to no
/// Scope, because exceptions usually leave Scopes.
inline JavaException ReadException(Session& session, Reader& reply) {
  auto thrown = std::make_shared<ThrownObject>();
  const auto handle = reply.TakeNumber<std::uint64_t>();
  const auto classId = reply.TakeNumber<std::uint32_t>();
  if (handle != 0) {
    thrown->throwable = ObjectAccess::Make(session.AdoptOutside(handle, classId));
  }
  thrown->className = reply.TakeText();
  thrown->message = reply.TakeText();
  reply.TakeNumber<std::uint8_t>();  // whether there is a message
  thrown->report = reply.TakeText();
  for (std::size_t left = reply.TakeCount(sizeof(std::uint32_t)); left != 0; --left) {
    thrown->supertypes.emplace_back(reply.TakeText());
  }
  return JavaException(std::move(thrown));
}

/// Defined here because it needs JavaException; see Request.h.
[[noreturn]] inline void ThrowFailure(Session& session, Status status, Reader& reply) {
  if (status == Status::Thrown) {
    throw ReadException(session, reply);
  }
  if (status != Status::Refused) {
    reply.Fail("begins with the unknown status " + std::to_string(static_cast<int>(status)));
  }
  constexpr std::uint8_t kConversion = 5;
  const std::string text(reply.TakeText());
  const auto reason = reply.TakeNumber<std::uint8_t>();
  if (reason == kConversion) {
    throw ConversionError(text, false);
  }
  throw ObjectError(text, static_cast<ObjectError::Reason>(reason));
}

}  // namespace detail

inline std::optional<JavaException> JavaException::Cause() const {
  if (m_thrown->throwable.IsNull()) {
    return std::nullopt;
  }
  detail::Request request(detail::ObjectAccess::SessionOf(m_thrown->throwable),
                          detail::Operation::Cause);
  request.Out().AppendNumber(detail::ObjectAccess::Number(m_thrown->throwable));
  try {
    request.Send();
    return std::nullopt;
  } catch (const JavaException& cause) {
    return cause;
  }
}

}  // namespace Ferrolink::Objects

#endif
