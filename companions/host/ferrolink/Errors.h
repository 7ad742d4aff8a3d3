#ifndef FERROLINK_HOST_ERRORS_H
#define FERROLINK_HOST_ERRORS_H

#include <stdexcept>
#include <string>

#include "ferrolink/detail/NotExecuted.h"

namespace Ferrolink::Host {

/// What the classes below have in common.
class Error : public std::runtime_error {
 public:
  /// False where the command is known not to have been executed, and may be sent again; true in all
  /// other cases, also where nobody knows.
  [[nodiscard]] bool MayHaveExecuted() const noexcept { return m_mayHaveExecuted; }

 protected:
  Error(const std::string& text, bool mayHaveExecuted)
      : std::runtime_error(text), m_mayHaveExecuted(mayHaveExecuted) {}

 private:
  bool m_mayHaveExecuted;
};

/// The installation, or the library in it, could not be used. what() says what was looked for and
/// what to do. Nothing was executed.
class InstallationError : public Error {
 public:
  explicit InstallationError(const std::string& text) : Error(text, false) {}
};

/// The called runtime answered with an exception report. what() is its text: class, message, causes
/// and, of Java, frames.
class RemoteError : public Error {
 public:
  explicit RemoteError(const std::string& text) : Error(text, true) {}
};

/// The called runtime answered with something that is no reply; or the command is none that can be
/// sent, and was not.
class ProtocolError : public Error {
 public:
  explicit ProtocolError(const std::string& text, bool mayHaveExecuted = true)
      : Error(text, mayHaveExecuted) {}
};

/// An error of the native libraries, which what() has unchanged. May also be made of the text of a
/// command that was sent without this helper.
class LibraryError : public Error {
 public:
  /// The text tells whether the command may have been executed.
  explicit LibraryError(const std::string& text) : LibraryError(text, false) {}
  /// For what failed after the execution of the command.
  LibraryError(const std::string& text, bool executed)
      : Error(text, executed || !detail::SaysNotExecuted(text)) {}
};

/// The time of a call was over before its answer came. Where MayHaveExecuted() is true the handler
/// may go on: in this process it does, and its answer is dropped.
class DeadlineError : public Error {
 public:
  DeadlineError(const std::string& text, bool mayHaveExecuted) : Error(text, mayHaveExecuted) {}
};

}  // namespace Ferrolink::Host

#endif
