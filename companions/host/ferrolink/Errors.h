#ifndef FERROLINK_HOST_ERRORS_H
#define FERROLINK_HOST_ERRORS_H

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "ferrolink/detail/NotExecuted.h"
#include "ferrolink/protocol/Bytes.h"

namespace Ferrolink::Host {

/// The base of the errors below. what() says what failed and what to do.
/// @code
/// try {
///   host.Call("book", order);
/// } catch (const Ferrolink::Host::Error& error) {
///   retry = !error.MayHaveExecuted();
/// }
/// @endcode
class Error : public std::runtime_error {
 public:
  /// False if the command was certainly not executed and may be sent again; true in all other
  /// cases.
  [[nodiscard]] bool MayHaveExecuted() const noexcept { return m_mayHaveExecuted; }

 protected:
  /// `text` becomes what().
  Error(const std::string& text, bool mayHaveExecuted)
      : std::runtime_error(text), m_mayHaveExecuted(mayHaveExecuted) {}

 private:
  bool m_mayHaveExecuted;
};

/// The installation, or a library in it, is unusable. what() says what was looked for and what to
/// do. Nothing was executed.
/// @code
/// try {
///   host.emplace();
/// } catch (const Ferrolink::Host::InstallationError& error) {
///   std::fputs(error.what(), stderr);  // Set FERROLINK_HOME to ...
/// }
/// @endcode
class InstallationError : public Error {
 public:
  /// `text` becomes what().
  explicit InstallationError(const std::string& text) : Error(text, false) {}
};

/// The called runtime answered with an exception report. what() is its text: class, message, causes
/// and, if the runtime is Java, stack frames.
/// @code
/// try {
///   host.Call("parse", "not a number");
/// } catch (const Ferrolink::Host::RemoteError& error) {
///   std::puts(error.what());  // java.lang.NumberFormatException: ...
/// }
/// @endcode
class RemoteError : public Error {
 public:
  /// `text` is the body of the report.
  explicit RemoteError(const std::string& text) : Error(text, true) {}
};

/// The called runtime answered with bytes that are no reply. Or the command is malformed and was
/// not sent.
/// @code
/// host.Call(std::string(256, 'n'), payload);  // ProtocolError: the name is too long
/// @endcode
class ProtocolError : public Error {
 public:
  /// `mayHaveExecuted` is false if the command was not sent.
  explicit ProtocolError(const std::string& text, bool mayHaveExecuted = true)
      : Error(text, mayHaveExecuted) {}
};

/// An error of the native libraries. what() is their text, unchanged. It begins with the component
/// and a code; docs/errors.md lists the codes.
/// @code
/// } catch (const Ferrolink::Host::LibraryError& error) {
///   std::fputs(error.what(), stderr);  // JVM Launcher: Exception code 1 ...
/// }
/// @endcode
/// Programs that call the libraries without Host can make this error from a text.
class LibraryError : public Error {
 public:
  /// An error of sending. The code in the text decides whether the command may have been executed.
  explicit LibraryError(const std::string& text) : LibraryError(text, false) {}
  /// `executed`: the command was executed before the failure.
  LibraryError(const std::string& text, bool executed)
      : Error(text, executed || !detail::SaysNotExecuted(text)) {}
};

/// The time of a call was over before its answer came. If MayHaveExecuted() is true, the handler
/// may still run. In this process it does run to its end, and its answer is dropped.
/// @code
/// try {
///   host.Call("search", query, std::chrono::milliseconds(50));
/// } catch (const Ferrolink::Host::DeadlineError&) {
///   results = cache.Last();
/// }
/// @endcode
class DeadlineError : public Error {
 public:
  /// `mayHaveExecuted` is false if the command was not sent.
  DeadlineError(const std::string& text, bool mayHaveExecuted) : Error(text, mayHaveExecuted) {}
};

/// The answer does not fit into the caller's buffer, in which nothing was written. The handler was
/// executed, and its answer is here:
/// @code
/// } catch (const Ferrolink::Host::AnswerTooLong& error) {
///   use(error.Answer());
/// }
/// @endcode
class AnswerTooLong : public Error {
 public:
  /// `room` is the size of the caller's buffer. Copies the answer.
  AnswerTooLong(Protocol::ByteView answer, std::size_t room)
      : Error("The answer has " + std::to_string(answer.size()) + " bytes, and the buffer has " +
                  std::to_string(room) + ". The handler was executed.",
              true),
        m_answer(std::make_shared<const Protocol::Bytes>(answer.begin(), answer.end())) {}

  /// The whole answer. Copies of this error share it.
  [[nodiscard]] const Protocol::Bytes& Answer() const noexcept { return *m_answer; }

 private:
  std::shared_ptr<const Protocol::Bytes> m_answer;
};

}  // namespace Ferrolink::Host

#endif
