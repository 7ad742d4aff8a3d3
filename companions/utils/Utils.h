#ifndef FERROLINK_COMPANIONS_UTILS_UTILS_H
#define FERROLINK_COMPANIONS_UTILS_UTILS_H

#include "native/Export.h"

extern "C" {

/// Appends one event to the telemetry file: one line of JSON with the members "time" (UTC, ISO
/// 8601, milliseconds), "category" (`first`), "message" (`second`), "context" (`third`), "thread"
/// and "process" (kernel identifiers).
///
/// The environment variable FERROLINK_TELEMETRY_FILE names the file at the time of the call. The
/// event is dropped if the variable is unset or empty, or if the file cannot be opened, is not a
/// regular file, or has no room for the whole line.
///
/// The texts are NUL-terminated UTF-8 of any length; null means an empty text. The caller keeps
/// ownership. Bytes that are not UTF-8 become U+FFFD.
///
/// Errors: none. The function throws and prints nothing and keeps errno. Another process can block
/// it for a fraction of a second at most. Thread rule: thread-safe, also among processes; lines are
/// written atomically.
FERROLINK_EXPORT void LogMessage(const char* first, const char* second, const char* third);
}

#endif
