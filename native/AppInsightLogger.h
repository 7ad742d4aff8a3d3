#ifndef FERROLINK_NATIVE_APPINSIGHTLOGGER_H
#define FERROLINK_NATIVE_APPINSIGHTLOGGER_H

#include <atomic>
#include <string>

#include "native/Export.h"

namespace Ferrolink::Native::AppInsightLogger {

/// Forwards events to "LogMessage" of the utilities library. Without that library, or that entry
/// point, events are dropped in silence.
///
/// Never raises, since errors in the making are reported through it. Thread rule: any thread; first
/// calls that race store the same values.
class AppInsightLogger {
 public:
  /// Loads and resolves what is still missing. Returns 0 when the library is there, whether or not
  /// it has the entry point; 1 when it could not be loaded. What failed is tried again next time.
  FERROLINK_EXPORT static int initialize();

  /// Hands the three texts on, unchanged and in order. Always returns 0. An event that arises on
  /// this thread while one is being handed on is dropped: it would never end.
  FERROLINK_EXPORT static int LogMessage(std::string first, std::string second, std::string third);

 private:
  using LogMessageFunction = void(const char*, const char*, const char*);

  static std::atomic<void*> utilsLibraryInstance;
  static std::atomic<LogMessageFunction*> LogMessage_Fn;
};

}  // namespace Ferrolink::Native::AppInsightLogger

#endif
