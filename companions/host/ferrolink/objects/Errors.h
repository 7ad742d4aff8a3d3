#ifndef FERROLINK_HOST_OBJECTS_ERRORS_H
#define FERROLINK_HOST_OBJECTS_ERRORS_H

#include <cstdint>
#include <string>

#include "ferrolink/Errors.h"

namespace Ferrolink::Objects {

/// Java refused a typed call and executed nothing. Reasons: the class or member does not exist; no
/// overload fits the arguments, or several do; the handle is not valid any more; the Object is
/// null. what() names the reason and lists the candidates of an overloaded member.
/// @code
/// try {
///   list.Call("ad", 42);
/// } catch (const Ferrolink::Objects::ObjectError& error) {
///   std::puts(error.what());  // java.util.ArrayList has no method ad
/// }
/// @endcode
class ObjectError : public Host::Error {
 public:
  /// The reasons. Their numbers are part of the encoding. Number 5 is a ConversionError.
  enum class Reason : std::uint8_t {
    Malformed = 1,    ///< the other side does not understand the request
    StaleHandle = 2,  ///< the object was released, or belongs to another process
    NotFound = 3,     ///< no such class or member
    NoOverload = 4,   ///< no overload fits the arguments, or several fit equally well
    Refused = 6,      ///< the other side does not allow it
    Null = 7,         ///< a member of a null Object was asked for
  };

  /// `text` becomes what().
  ObjectError(const std::string& text, Reason reason) : Error(text, false), m_reason(reason) {}

  /// The reason as a value, for programs that react to it.
  [[nodiscard]] Reason Why() const noexcept { return m_reason; }

 private:
  Reason m_reason;
};

/// A value does not fit the type that C++ or Java asks for. what() names both.
/// @code
/// java.CallStatic<int>("java.lang.System", "lineSeparator");  // ConversionError
/// @endcode
/// If a result does not fit, the call was executed. MayHaveExecuted() says whether that is
/// possible.
class ConversionError : public Host::Error {
 public:
  /// `text` becomes what(). `mayHaveExecuted` is false if the value is an argument.
  explicit ConversionError(const std::string& text, bool mayHaveExecuted = true)
      : Error(text, mayHaveExecuted) {}
};

}  // namespace Ferrolink::Objects

#endif
