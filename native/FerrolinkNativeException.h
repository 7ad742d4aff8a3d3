#ifndef FERROLINK_NATIVE_FERROLINKNATIVEEXCEPTION_H
#define FERROLINK_NATIVE_FERROLINKNATIVEEXCEPTION_H

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "native/Export.h"

/// The one exception type of the library. The constructor reports the error: an echo on standard
/// error (unless the logging level is 0), a line in the daily error log, and a telemetry event.
///
/// what() is the message as the raise site composed it: a component prefix ("Ferrolink Native
/// Exception: Exception code ", "JVM Launcher: Exception code ", "JVM Lib: Exception code "), three
/// digits, a full stop, and a text that says what to do. A code is unique only together with its
/// prefix.
///
/// The error log is "<working directory>/_FerrolinkNativeErrorLogger_<date>.txt", one file per
/// local day: date and time, tab, "Thread ID: " and the thread's id, tab, message. The line is left
/// out if the file cannot be written or is no regular file.
///
/// Raising is slow by design (it opens a file and waits 50 ms), so use it for failures only.
/// Errors: the standard library's allocation errors, nothing else. Thread rule: any thread.
class FERROLINK_EXPORT FerrolinkNativeException : public std::runtime_error {
 public:
  /// `message` becomes what() unchanged; `context` is the third text of the telemetry event.
  FerrolinkNativeException(const std::string& message, std::string context);

  /// A copy has the message and reports nothing. Its dates and log path are empty.
  FerrolinkNativeException(const FerrolinkNativeException& other);
  FerrolinkNativeException& operator=(const FerrolinkNativeException&) = delete;
  ~FerrolinkNativeException() override;

 private:
  FERROLINK_LOCAL void StampDates();

  // The streams serve the constructor only. They are members because other libraries know the size
  // of the class.
  std::ofstream m_logFile;
  std::stringstream m_dateStream;
  std::string m_date;
  std::stringstream m_dateTimeStream;
  std::string m_dateTime;
  std::string m_logFilePath;
  std::string m_supportHint;
};

#endif
