#ifndef FERROLINK_COMPANIONS_UTILS_UTILS_H
#define FERROLINK_COMPANIONS_UTILS_UTILS_H

#include "native/Export.h"

extern "C" {

/// Appends one event to the telemetry file: one line of JSON with the members "time" (UTC, ISO
/// 8601, milliseconds), "category" (`first`), "message" (`second`), "context" (`third`), "thread"
/// and "process" (identifiers as the kernel numbers them).
///
/// The file is the one that the environment variable FERROLINK_TELEMETRY_FILE names at the time of
/// the call; where it is unset or empty the event is dropped, and so it is where the file cannot be
/// opened, is not a regular file, or has no room for the whole line.
///
/// The texts are NUL-terminated UTF-8 of any length, null standing for an empty text; they stay the
/// caller's. What is not UTF-8 is written as U+FFFD.
///
/// Errors: none. Nothing is thrown or printed, errno is as it was, and no other process can hold
/// the caller up for longer than a fraction of a second. Thread rule: any thread and any number of
/// processes; lines are always whole.
FERROLINK_EXPORT void LogMessage(const char* first, const char* second, const char* third);
}

#endif
