#ifndef FERROLINK_NATIVE_FERROLINKNATIVEEXCEPTION_H
#define FERROLINK_NATIVE_FERROLINKNATIVEEXCEPTION_H

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "native/Export.h"

/// The one exception type of the library. Constructing one reports it: an echo on standard error
/// (unless the logging level is 0), a line in the daily error log, and an event for telemetry.
///
/// what() is the message as the raise site composed it: a component prefix ("Ferrolink Native
/// Exception: Exception code ", "JVM Launcher: Exception code ", "JVM Lib: Exception code "), three
/// digits, a full stop and a text that tells what to do. A code means something only with its
/// prefix.
///
/// The error log is "<working directory>/_FerrolinkNativeErrorLogger_<date>.txt", one file per
/// local day, appended to: date-time, tab, "Thread ID: " and the thread's id, tab, message. Where
/// it cannot be written to, or is no regular file, the line is left out.
///
/// Raising is expensive by design (a file is opened, then 50 ms pass): for failures only.
/// Thread rule: any thread. Raises nothing itself but the standard library's allocation errors.
class FERROLINK_EXPORT FerrolinkNativeException : public std::runtime_error {
 public:
  /// `message` becomes what() unchanged; `context` is the third text of the telemetry event.
  FerrolinkNativeException(const std::string& message, std::string context);

  /// A copy carries the message and reports nothing; its dates and log path are empty.
  FerrolinkNativeException(const FerrolinkNativeException& other);
  FerrolinkNativeException& operator=(const FerrolinkNativeException&) = delete;
  ~FerrolinkNativeException() override;

 private:
  FERROLINK_LOCAL void StampDates();
  FERROLINK_LOCAL void EchoToConsole() const;
  FERROLINK_LOCAL void AppendToErrorLog();
  FERROLINK_LOCAL void ForwardToTelemetry(const std::string& context) const;
  [[nodiscard]] FERROLINK_LOCAL std::string LineStart() const;

  std::ofstream m_logFile;
  std::stringstream m_dateStream;
  std::string m_date;
  std::stringstream m_dateTimeStream;
  std::string m_dateTime;
  std::string m_logFilePath;
  std::string m_supportHint;
};

#endif
