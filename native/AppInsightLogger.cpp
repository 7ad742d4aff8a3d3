#include "native/AppInsightLogger.h"

#include <cxxabi.h>

#include <exception>

#include "native/LibrariesFinder.h"
#include "native/Loader.h"
#include "native/ReentryGuard.h"

namespace Ferrolink::Native::AppInsightLogger {
namespace {

FERROLINK_THREAD_LOCAL bool forwarding = false;

void* OpenUtilsLibrary() {
  try {
    return LibrariesFinder::LibrariesFinder::loadUtilsLibrary(false);
  } catch (const std::exception&) {
    return nullptr;  // the library directory itself is unknown
  }
}

}  // namespace

std::atomic<void*> AppInsightLogger::utilsLibraryInstance{nullptr};
std::atomic<AppInsightLogger::LogMessageFunction*> AppInsightLogger::LogMessage_Fn{nullptr};

int AppInsightLogger::initialize() {
  if (utilsLibraryInstance.load(std::memory_order_acquire) == nullptr) {
    void* handle = OpenUtilsLibrary();
    if (handle == nullptr) {
      return 1;
    }
    utilsLibraryInstance.store(handle, std::memory_order_release);
  }
  if (LogMessage_Fn.load(std::memory_order_acquire) == nullptr) {
    LogMessage_Fn.store(Loader::FindFunction<LogMessageFunction>(
                            utilsLibraryInstance.load(std::memory_order_acquire), "LogMessage"),
                        std::memory_order_release);
  }
  return 0;
}

// The C++ runtime binds the reference that catches an ending thread to nothing, which the
// undefined- behaviour sanitizer would report.
__attribute__((no_sanitize("null"))) int AppInsightLogger::LogMessage(std::string first,
                                                                      std::string second,
                                                                      std::string third) {
  const ReentryGuard guard(forwarding);
  if (!guard.Outermost()) {
    return 0;
  }
  try {
    initialize();
    if (LogMessageFunction* function = LogMessage_Fn.load(std::memory_order_acquire)) {
      function(first.c_str(), second.c_str(), third.c_str());
    }
  } catch (const abi::__forced_unwind&) {
    throw;  // the thread is ending, which nobody may stop
  } catch (...) {
    // The error that is being reported matters more than its report.
  }
  return 0;
}

}  // namespace Ferrolink::Native::AppInsightLogger
