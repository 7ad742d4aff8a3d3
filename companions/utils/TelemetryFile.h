#ifndef FERROLINK_COMPANIONS_UTILS_TELEMETRYFILE_H
#define FERROLINK_COMPANIONS_UTILS_TELEMETRYFILE_H

#include <string>

namespace Ferrolink::Companions {

/// Appends `line` to the regular file at `path`. Creates the file with mode 0600. Appends either
/// the whole line or nothing: nothing if the file cannot be opened, is not a regular file, or has
/// no room. Thread-safe, also among processes. Throws nothing; changes errno.
void AppendToTelemetryFile(const char* path, const std::string& line) noexcept;

}  // namespace Ferrolink::Companions

#endif
