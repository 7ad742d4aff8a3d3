#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SERVERLOG_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SERVERLOG_H

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace Ferrolink::Companions::Tcp::Server {

enum class LogFormat { Text, Json };
enum class LogLevel { Info, Warning, Error };

/// An event. Texts may hold any bytes of a peer: they are shortened and made printable.
struct LogEvent {
  std::string_view name;  ///< "accepted", "refused", "failed", "call", "drained", ...
  std::string_view peer = {};
  std::string_view subject = {};  ///< of the peer's certificate
  std::string_view handler = {};
  std::string_view reason = {};
  std::optional<std::chrono::microseconds> duration = {};
};

/// Writes lines to standard error, on a thread of its own.
///
/// Lines wait in a bounded queue. If nobody reads and the queue is full, its oldest lines are lost;
/// the number is logged as soon as there is room again. Thread-safe. Nothing here blocks, fails or
/// ends the process, whatever the state of standard error.
class ServerLog {
 public:
  struct Settings {
    LogFormat format = LogFormat::Text;
    bool access = false;             ///< a line for each call
    std::size_t queueLength = 8192;  ///< lines
    int descriptor = STDERR_FILENO;
  };

  explicit ServerLog(const Settings& settings);
  ServerLog(const ServerLog&) = delete;
  ServerLog& operator=(const ServerLog&) = delete;
  /// Writes the rest of the queue, within half a second.
  ~ServerLog();

  void Write(LogLevel level, const LogEvent& event);

  void Info(const LogEvent& event) { Write(LogLevel::Info, event); }
  void Warn(const LogEvent& event) { Write(LogLevel::Warning, event); }
  void Fail(const LogEvent& event) { Write(LogLevel::Error, event); }

  /// Whether each call is logged, as an event "call" with its duration.
  [[nodiscard]] bool LogsCalls() const { return m_logsCalls; }

  /// The number of lines that were lost.
  [[nodiscard]] std::uint64_t Lost() const;

 private:
  class Sink;
  class Writer;

  const bool m_logsCalls;
  const LogFormat m_format;
  const std::unique_ptr<Writer> m_writer;
};

/// Writes one line without the queue, for the time before and after the log: with the program's
/// name in front, to standard error or standard output. Raises no signal and blocks for a second at
/// most.
void PrintLine(int descriptor, std::string_view text);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
