#include "native/FerrolinkNativeException.h"

#include <ctime>
#include <iomanip>
#include <locale>
#include <string_view>

#include "native/ErrorReporter.h"

namespace {

constexpr std::string_view kSupportHint =
    "\nIf the error persists, contact support on: support@ferrolink.example";

}  // namespace

FerrolinkNativeException::FerrolinkNativeException(const std::string& message, std::string context)
    : std::runtime_error(message), m_supportHint(kSupportHint) {
  StampDates();
  Ferrolink::Native::ErrorReporter::Report(
      {what(), context, m_date, m_dateTime, m_supportHint, m_logFile, m_logFilePath});
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
