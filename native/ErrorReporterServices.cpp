// Puts the error reporter together with the configuration and the telemetry that it uses. Nothing
// else knows all three: configuration and telemetry raise errors, errors report themselves through
// the reporter, and the reporter reaches configuration and telemetry only through these functions.
#include <string>

#include "native/AppInsightLogger.h"
#include "native/ConfigHandler.h"
#include "native/ErrorReporter.h"
#include "native/FerrolinkNativeException.h"

namespace Ferrolink::Native {
namespace {

// An error of the configuration costs the line. Errors of other kinds (std::bad_alloc) pass.
bool FindWorkingDirectory(std::string& directory) {
  try {
    directory = ConfigHandler::ConfigHandler::GetWorkingDirectory();
    return true;
  } catch (const FerrolinkNativeException&) {
    return false;
  }
}

}  // namespace

// Constant-initialised: errors of static initialisers are reported as well.
constinit const ErrorReporter::Services ErrorReporter::kServices = {
    &ConfigHandler::ConfigHandler::GetLoggingLevel,
    &FindWorkingDirectory,
    &AppInsightLogger::AppInsightLogger::LogMessage,
};

}  // namespace Ferrolink::Native
