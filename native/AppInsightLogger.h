#ifndef FERROLINK_NATIVE_APPINSIGHTLOGGER_H
#define FERROLINK_NATIVE_APPINSIGHTLOGGER_H

#include <atomic>
#include <string>

#include "native/Export.h"

namespace Ferrolink::Native::AppInsightLogger {

/// Forwards events to the function "LogMessage" of the utilities library. Drops events silently if
/// the library or the function is missing.
///
/// Errors: none, ever. Errors are reported through this class while they are being constructed.
/// Thread rule: any thread. Concurrent first calls store the same values.
class AppInsightLogger {
 public:
  /// Opens the library and looks up the function, unless that has been done. A failure is tried
  /// again by the next call. Returns 0 if the library is open, with or without the function, and 1
  /// if it could not be opened.
  FERROLINK_EXPORT static int initialize();

  /// Passes the three texts on, unchanged and in order. The result is always 0. A nested event,
  /// raised by this thread while the utilities library handles one, is dropped: it would recurse
  /// without end.
  FERROLINK_EXPORT static int LogMessage(std::string first, std::string second, std::string third);

 private:
  using LogMessageFunction = void(const char*, const char*, const char*);

  static std::atomic<void*> utilsLibraryInstance;
  static std::atomic<LogMessageFunction*> LogMessage_Fn;
};

}  // namespace Ferrolink::Native::AppInsightLogger

#endif
