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

/// A Java exception as the broker describes it.
struct ThrownObject {
  std::string className;
  std::string message;
  std::string report;
  std::vector<std::string> supertypes;
  Object throwable;
};

}  // namespace detail

/// What Java threw.
///
///   try {
///     java.New("java.io.FileReader", "/no/such/file");
///   } catch (const JavaException& error) {
///     if (error.Is("java.io.IOException")) std::puts(error.what());
///   }
///
/// what() is a readable report with all causes. Copies share everything; copying does not throw.
/// An exception that leaves a C++ function that Java has called is the same throwable again there.
class JavaException : public Host::RemoteError {
 public:
  explicit JavaException(std::shared_ptr<const detail::ThrownObject> thrown)
      : RemoteError(thrown->report), m_thrown(std::move(thrown)) {}

  /// As Class.getName, say "java.io.FileNotFoundException".
  const std::string& ClassName() const noexcept { return m_thrown->className; }

  /// Throwable.getMessage; empty if that is null.
  const std::string& Message() const noexcept { return m_thrown->message; }

  /// Whether it is of that class, or of one derived from it, or implements that interface.
  bool Is(std::string_view className) const noexcept {
    const std::vector<std::string>& names = m_thrown->supertypes;
    return className == m_thrown->className ||
           std::find(names.begin(), names.end(), className) != names.end();
  }

  /// Throwable.getCause. Asks Java, with the errors of a command.
  std::optional<JavaException> Cause() const;

  /// The exception as an object.
  const Object& Throwable() const noexcept { return m_thrown->throwable; }

 private:
  std::shared_ptr<const detail::ThrownObject> m_thrown;
};

namespace detail {

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
