#include "native/FerrolinkNativeException.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <iomanip>
#include <locale>
#include <optional>
#include <string_view>
#include <thread>

#include "native/AppInsightLogger.h"
#include "native/ConfigHandler.h"
#include "native/Console.h"
#include "native/ErrorLogFile.h"
#include "native/ReentryGuard.h"

namespace {

using Ferrolink::Native::ReentryGuard;
using Ferrolink::Native::AppInsightLogger::AppInsightLogger;
using Ferrolink::Native::ConfigHandler::ConfigHandler;

constexpr std::string_view kSupportHint =
    "\nIf the error persists, contact support on: support@ferrolink.example";

// An exception constructed while another is being constructed on the same thread comes from the
// configuration that the outer one asks; asking again would never end.
FERROLINK_THREAD_LOCAL bool constructingException = false;

std::optional<std::string> WorkingDirectory() {
  try {
    return ConfigHandler::GetWorkingDirectory();
  } catch (const FerrolinkNativeException&) {
    return std::nullopt;
  }
}

// The pause after every log line keeps a flood of errors from filling the disk in no time.
void PauseAfterLogLine() {
  timespec rest{0, 50'000'000};
  while (nanosleep(&rest, &rest) == -1 && errno == EINTR) {
  }
}

}  // namespace

FerrolinkNativeException::FerrolinkNativeException(const std::string& message, std::string context)
    : std::runtime_error(message), m_supportHint(kSupportHint) {
  StampDates();
  const ReentryGuard guard(constructingException);
  if (guard.Outermost()) {
    EchoToConsole();
    AppendToErrorLog();
  }
  ForwardToTelemetry(context);
}

FerrolinkNativeException::FerrolinkNativeException(const FerrolinkNativeException& other)
    : std::runtime_error(other), m_supportHint(kSupportHint) {}

FerrolinkNativeException::~FerrolinkNativeException() = default;

void FerrolinkNativeException::StampDates() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  // The host's global locale must not reshape the log: file names and stamps keep one form.
  m_dateStream.imbue(std::locale::classic());
  m_dateTimeStream.imbue(std::locale::classic());
  m_dateStream << std::put_time(&local, "%Y-%m-%d");
  m_dateTimeStream << std::put_time(&local, "%Y-%m-%d %X");
  m_date = m_dateStream.str();
  m_dateTime = m_dateTimeStream.str();
}

std::string FerrolinkNativeException::LineStart() const {
  std::ostringstream threadId;
  threadId.imbue(std::locale::classic());
  threadId << std::this_thread::get_id();
  return m_dateTime + "\tThread ID: " + threadId.str() + "\t";
}

void FerrolinkNativeException::EchoToConsole() const {
  if (ConfigHandler::GetLoggingLevel() != 0) {
    Ferrolink::Native::Console::PrintError(LineStart() + what() + m_supportHint + "\n");
  }
}

void FerrolinkNativeException::AppendToErrorLog() {
  const std::optional<std::string> directory = WorkingDirectory();
  if (!directory) {
    return;
  }
  m_logFilePath = *directory + "/_FerrolinkNativeErrorLogger_" + m_date + ".txt";
  Ferrolink::Native::ErrorLogFile::Append(m_logFile, m_logFilePath, LineStart() + what() + "\n");
  if (!m_logFile.is_open()) {
    return;
  }
  PauseAfterLogLine();
  m_logFile.close();
}

void FerrolinkNativeException::ForwardToTelemetry(const std::string& context) const {
  std::string message = what();
  message.erase(std::remove(message.begin(), message.end(), '\n'), message.end());
  AppInsightLogger::LogMessage("Native exception", message, context);
}
