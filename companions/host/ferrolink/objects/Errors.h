#ifndef FERROLINK_HOST_OBJECTS_ERRORS_H
#define FERROLINK_HOST_OBJECTS_ERRORS_H

#include <cstdint>
#include <string>

#include "ferrolink/Errors.h"

namespace Ferrolink::Objects {

/// Java refused a typed call before it did anything: no such class or member, no overload that fits
/// the arguments or more than one, a handle that is not valid any more, an Object that is null.
/// what() says which, and lists the candidates of an overloaded member.
///
///   try {
///     list.Call("ad", 42);
///   } catch (const Ferrolink::Objects::ObjectError& error) {
///     std::puts(error.what());  // java.util.ArrayList has no method ad
///   }
class ObjectError : public Host::Error {
 public:
  enum class Reason : std::uint8_t {
    Malformed = 1,    ///< the other side does not understand the request
    StaleHandle = 2,  ///< the object was released, or belongs to another process
    NotFound = 3,     ///< no such class or member
    NoOverload = 4,   ///< no overload fits the arguments, or several fit equally well
    Refused = 6,      ///< the other side does not allow it
    Null = 7,         ///< a member of a null Object was asked for
  };

  ObjectError(const std::string& text, Reason reason) : Error(text, false), m_reason(reason) {}

  [[nodiscard]] Reason Why() const noexcept { return m_reason; }

 private:
  Reason m_reason;
};

/// A value does not fit the type that it is asked for or handed over as. what() names both. If a
/// result does not fit, the call was executed.
///
///   java.CallStatic<int>("java.lang.System", "lineSeparator");  // ConversionError
class ConversionError : public Host::Error {
 public:
  explicit ConversionError(const std::string& text, bool mayHaveExecuted = true)
      : Error(text, mayHaveExecuted) {}
};

}  // namespace Ferrolink::Objects

#endif
