#ifndef FERROLINK_COMPANIONS_UTILS_TELEMETRYFILE_H
#define FERROLINK_COMPANIONS_UTILS_TELEMETRYFILE_H

#include <string>

namespace Ferrolink::Companions {

/// Appends `line` to the regular file at `path`, which is created for its owner alone (mode 0600).
/// Either the whole line is appended, or nothing: where there is no such file, no regular file, or
/// no room. Any thread, any number of processes. Throws nothing; changes errno.
void AppendToTelemetryFile(const char* path, const std::string& line) noexcept;

}  // namespace Ferrolink::Companions

#endif
