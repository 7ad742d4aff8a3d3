#ifndef FERROLINK_NATIVE_ERRORREPORTER_H
#define FERROLINK_NATIVE_ERRORREPORTER_H

#include <fstream>
#include <string>

#include "native/ReentryGuard.h"

namespace Ferrolink::Native {

/// Reports errors while they are constructed: echo on standard error, line in the daily error log,
/// telemetry event.
///
/// What a report needs from configuration and telemetry comes through Services, functions that
/// ErrorReporterServices.cpp puts together. So the reporter knows neither of them, and both may
/// raise errors. This class is also the one place that stops errors of reports from being reported
/// without end: see Report and EnterTelemetry.
/// Thread rule: any thread; each thread's reports are guarded on their own.
class ErrorReporter {
 public:
  /// An error that is being constructed. Refers to the members of the exception, which outlive the
  /// call.
  struct Error {
    const char* message;
    const std::string& context;      ///< third text of the telemetry event
    const std::string& date;         ///< year-month-day, for the name of the log file
    const std::string& dateTime;     ///< first field of the line
    const std::string& supportHint;  ///< follows the message on standard error
    std::ofstream& logFile;          ///< closed when Report returns
    std::string& logFilePath;        ///< set by Report; empty if the log is left out
  };

  /// What a report asks and tells. The functions may raise errors, whose own reports are then
  /// nested in this one.
  struct Services {
    int (*loggingLevel)();  ///< 0: no echo
    /// Sets the directory of the error log. False if it is unknown: the line is left out.
    bool (*findWorkingDirectory)(std::string& directory);
    int (*logEvent)(std::string first, std::string second, std::string third);
  };

  /// Reports `error`. An error that is raised by this thread during a report asks nothing: it is
  /// neither echoed nor logged, only sent to telemetry. Raises what the services raise.
  static void Report(const Error& error);

  /// Marks that this thread passes an event to telemetry. An event inside another one (the guard is
  /// not the outermost) is to be dropped.
  [[nodiscard]] static ReentryGuard EnterTelemetry();

 private:
  static const Services kServices;
};

}  // namespace Ferrolink::Native

#endif
