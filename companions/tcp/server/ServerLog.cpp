#include "companions/tcp/server/ServerLog.h"

#include <spdlog/async.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/sink.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <string>
#include <utility>

#include "companions/tcp/server/LogLine.h"
#include "companions/tcp/server/StreamWriter.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

constexpr std::chrono::milliseconds kLastLines{500};
constexpr std::chrono::milliseconds kPrinting{1000};
// The part of a line for time, level and punctuation.
constexpr std::size_t kBeside = 96;

spdlog::level::level_enum LevelOf(LogLevel level) {
  switch (level) {
    case LogLevel::Info:
      return spdlog::level::info;
    case LogLevel::Warning:
      return spdlog::level::warn;
    default:
      return spdlog::level::err;
  }
}

std::unique_ptr<spdlog::formatter> FormatterOf(LogFormat format) {
  return std::make_unique<spdlog::pattern_formatter>(
      format == LogFormat::Json ? R"({"time":"%Y-%m-%dT%H:%M:%S.%eZ","level":"%l",%v})"
                                : "%Y-%m-%dT%H:%M:%S.%eZ %l %v",
      spdlog::pattern_time_type::utc, "\n");
}

// Other threads handle signals.
void BlockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace

// The sink for the queue's lines, on the thread of the queue.
class ServerLog::Sink : public spdlog::sinks::sink {
 public:
  Sink(int descriptor, LogFormat format)
      : m_stream(descriptor), m_format(format), m_formatter(FormatterOf(format)) {}

  // Call it before the first line.
  void AskForOverruns(std::function<std::uint64_t()> overruns) { m_overruns = std::move(overruns); }

  void log(const spdlog::details::log_msg& message) override {
    ReportLost();
    if (!Write(message)) {
      ++m_failed;
    }
  }

  void flush() override {}
  // The format is fixed.
  void set_pattern(const std::string& /*pattern*/) override {}
  void set_formatter(std::unique_ptr<spdlog::formatter> /*formatter*/) override {}

  [[nodiscard]] std::uint64_t Failed() const { return m_failed; }
  void EndWithin(std::chrono::milliseconds time) { m_stream.EndWithin(time); }

  // Runs before a line, so the report takes the place of the lost lines.
  void ReportLost() {
    const std::uint64_t lost = m_failed + m_overruns();
    if (lost == m_reported) {
      return;
    }
    const std::string reason = std::to_string(lost - m_reported) + " lines lost";
    const std::string line =
        LogLineOf({.name = "lost", .reason = reason}, m_format, StreamWriter::kLongestLine);
    if (Write({spdlog::string_view_t(), spdlog::level::warn, line})) {
      m_reported = lost;
    }
  }

 private:
  bool Write(const spdlog::details::log_msg& message) {
    spdlog::memory_buf_t line;
    m_formatter->format(message, line);
    return m_stream.Write({line.data(), line.size()});
  }

  // Used by the queue's thread only.
  StreamWriter m_stream;
  const LogFormat m_format;
  const std::unique_ptr<spdlog::formatter> m_formatter;
  std::function<std::uint64_t()> m_overruns;
  std::uint64_t m_reported = 0;

  // Any thread reads it.
  std::atomic<std::uint64_t> m_failed{0};
};

class ServerLog::Writer {
 public:
  explicit Writer(const Settings& settings)
      : m_sink(std::make_shared<Sink>(settings.descriptor, settings.format)),
        m_pool(
            std::make_shared<spdlog::details::thread_pool>(settings.queueLength, 1, BlockSignals)),
        m_logger(std::make_shared<spdlog::async_logger>(
            "", m_sink, m_pool, spdlog::async_overflow_policy::overrun_oldest)) {
    m_sink->AskForOverruns([pool = m_pool.get()] { return pool->overrun_counter(); });
    // By default spdlog would write to standard error itself.
    m_logger->set_error_handler([](const std::string& /*text*/) {});
  }

  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // The pool's thread ends after it has emptied the queue.
  ~Writer() {
    m_sink->EndWithin(kLastLines);
    m_logger.reset();
    const std::uint64_t overruns = m_pool->overrun_counter();
    m_pool.reset();
    m_sink->AskForOverruns([overruns] { return overruns; });
    m_sink->ReportLost();
  }

  void Write(LogLevel level, const std::string& line) { m_logger->log(LevelOf(level), line); }

  [[nodiscard]] std::uint64_t Lost() const { return m_sink->Failed() + m_pool->overrun_counter(); }

 private:
  const std::shared_ptr<Sink> m_sink;
  std::shared_ptr<spdlog::details::thread_pool> m_pool;
  std::shared_ptr<spdlog::async_logger> m_logger;
};

ServerLog::ServerLog(const Settings& settings)
    : m_logsCalls(settings.access),
      m_format(settings.format),
      m_writer(std::make_unique<Writer>(settings)) {}

ServerLog::~ServerLog() = default;

void ServerLog::Write(LogLevel level, const LogEvent& event) {
  m_writer->Write(level, LogLineOf(event, m_format, StreamWriter::kLongestLine - kBeside));
}

std::uint64_t ServerLog::Lost() const {
  return m_writer->Lost();
}

void PrintLine(int descriptor, std::string_view text) {
  StreamWriter stream(descriptor);
  stream.EndWithin(kPrinting);
  stream.Write("ferrolink-server: " + std::string(text) + "\n");
}

}  // namespace Ferrolink::Companions::Tcp::Server
