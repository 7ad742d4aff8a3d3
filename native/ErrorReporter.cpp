#include "native/ErrorReporter.h"

#include <cerrno>
#include <ctime>
#include <locale>
#include <sstream>
#include <string>
#include <thread>

#include "native/Console.h"
#include "native/ErrorLogFile.h"
#include "native/ThreadLocal.h"

namespace Ferrolink::Native {
namespace {

// Whether this thread is reporting an error. An error meanwhile comes from the configuration or the
// telemetry that the report uses; reporting it in full would recurse without end.
FERROLINK_THREAD_LOCAL bool reporting = false;

// Whether this thread is passing an event to telemetry, from a report or from the receiver.
FERROLINK_THREAD_LOCAL bool insideTelemetry = false;

std::string LineStart(const ErrorReporter::Error& error) {
  std::ostringstream threadId;
  threadId.imbue(std::locale::classic());
  threadId << std::this_thread::get_id();
  return error.dateTime + "\tThread ID: " + threadId.str() + "\t";
}

// The pause after every log line keeps a flood of errors from filling the disk in no time.
void PauseAfterLogLine() {
  timespec rest{0, 50'000'000};
  while (nanosleep(&rest, &rest) == -1 && errno == EINTR) {
  }
}

void AppendToLog(const ErrorReporter::Error& error, const std::string& directory) {
  error.logFilePath = directory + "/_FerrolinkNativeErrorLogger_" + error.date + ".txt";
  ErrorLogFile::Append(error.logFile, error.logFilePath, LineStart(error) + error.message + "\n");
  if (!error.logFile.is_open()) {
    return;
  }
  PauseAfterLogLine();
  error.logFile.close();
}

std::string WithoutLineBreaks(std::string text) {
  std::erase(text, '\n');
  return text;
}

}  // namespace

void ErrorReporter::Report(const Error& error) {
  const ReentryGuard guard(reporting);
  if (guard.Outermost()) {
    if (kServices.loggingLevel() != 0) {
      Console::PrintError(LineStart(error) + error.message + error.supportHint + "\n");
    }
    std::string directory;
    if (kServices.findWorkingDirectory(directory)) {
      AppendToLog(error, directory);
    }
  }
  kServices.logEvent("Native exception", WithoutLineBreaks(error.message), error.context);
}

ReentryGuard ErrorReporter::EnterTelemetry() {
  return ReentryGuard(insideTelemetry);
}

}  // namespace Ferrolink::Native
