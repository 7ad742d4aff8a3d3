#include "companions/utils/Utils.h"

#include <cerrno>
#include <cstdlib>
#include <exception>

#include "companions/utils/TelemetryFile.h"
#include "companions/utils/TelemetryLine.h"

namespace {

using Ferrolink::Companions::AppendToTelemetryFile;
using Ferrolink::Companions::TelemetryLine;

const char* TextOrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

}  // namespace

void LogMessage(const char* first, const char* second, const char* third) {
  const int callersErrno = errno;
  // A program with more rights than its user must not write to a path of that user's choice.
  const char* path = secure_getenv("FERROLINK_TELEMETRY_FILE");
  if (path != nullptr && *path != '\0') {
    try {
      AppendToTelemetryFile(
          path, TelemetryLine(TextOrEmpty(first), TextOrEmpty(second), TextOrEmpty(third)));
    } catch (const std::exception&) {
      // Only memory can run out here. The reported event matters more than its report.
    }
  }
  errno = callersErrno;
}
