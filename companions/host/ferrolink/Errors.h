#ifndef FERROLINK_HOST_ERRORS_H
#define FERROLINK_HOST_ERRORS_H

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "ferrolink/detail/NotExecuted.h"
#include "ferrolink/protocol/Bytes.h"

namespace Ferrolink::Host {

/// The base of the errors below:
///
///     try {
///       host.Call("book", order);
///     } catch (const Ferrolink::Host::Error& error) {
///       retry = !error.MayHaveExecuted();
///     }
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
class InstallationError : public Error {
 public:
  /// `text` becomes what().
  explicit InstallationError(const std::string& text) : Error(text, false) {}
};

/// The called runtime answered with an exception report. what() is its text: class, message, causes
/// and, if the runtime is Java, frames.
class RemoteError : public Error {
 public:
  /// `text` is the body of the report.
  explicit RemoteError(const std::string& text) : Error(text, true) {}
};

/// The called runtime answered with bytes that are no reply; or the command is malformed and was
/// not sent.
class ProtocolError : public Error {
 public:
  /// `mayHaveExecuted` is false if the command was not sent.
  explicit ProtocolError(const std::string& text, bool mayHaveExecuted = true)
      : Error(text, mayHaveExecuted) {}
};

/// An error of the native libraries. what() is their text, unchanged. Programs that use the
/// libraries directly may construct it from a text.
class LibraryError : public Error {
 public:
  /// An error of sending. The code in the text decides whether the command may have been executed.
  explicit LibraryError(const std::string& text) : LibraryError(text, false) {}
  /// `executed`: the command was executed before the failure.
  LibraryError(const std::string& text, bool executed)
      : Error(text, executed || !detail::SaysNotExecuted(text)) {}
};

/// A call's time was over before its answer came. If MayHaveExecuted() is true, the handler may
/// still run: in this process it does, and its answer is dropped.
class DeadlineError : public Error {
 public:
  /// `mayHaveExecuted` is false if the command was not sent.
  DeadlineError(const std::string& text, bool mayHaveExecuted) : Error(text, mayHaveExecuted) {}
};

/// The answer does not fit into the caller's buffer, in which nothing was written. The handler was
/// executed, and its answer is here:
///
///     } catch (const Ferrolink::Host::AnswerTooLong& error) {
///       use(error.Answer());
///     }
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
