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

/// What happened. Texts may hold any bytes of a peer: they are bounded and made printable.
struct LogEvent {
  std::string_view name;  ///< "accepted", "refused", "failed", "call", "drained", ...
  std::string_view peer = {};
  std::string_view subject = {};  ///< of the peer's certificate
  std::string_view handler = {};
  std::string_view reason = {};
  std::optional<std::chrono::microseconds> duration = {};
};

/// Lines on standard error, written by a thread of the log's own.
///
/// A line waits in a queue of bounded length. Where the queue is full, because nobody reads, its
/// oldest lines are lost; how many is logged as soon as there is room again. Nothing here blocks,
/// ends the process or fails, whatever becomes of standard error. Any thread.
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
  /// Writes what waits in the queue, but takes no longer than half a second for it.
  ~ServerLog();

  void Write(LogLevel level, const LogEvent& event);

  void Info(const LogEvent& event) { Write(LogLevel::Info, event); }
  void Warn(const LogEvent& event) { Write(LogLevel::Warning, event); }
  void Fail(const LogEvent& event) { Write(LogLevel::Error, event); }

  /// Whether each call is to be logged, as an event "call" with its duration.
  [[nodiscard]] bool LogsCalls() const { return m_logsCalls; }

  /// Lines that were not written and never will be.
  [[nodiscard]] std::uint64_t Lost() const;

 private:
  class Sink;
  class Writer;

  const bool m_logsCalls;
  const LogFormat m_format;
  const std::unique_ptr<Writer> m_writer;
};

/// One line for people at once and without a queue, for before the log and after it: prefixed with
/// the program's name, on standard error or standard output. Neither blocks for longer than a
/// second nor raises a signal.
void PrintLine(int descriptor, std::string_view text);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
