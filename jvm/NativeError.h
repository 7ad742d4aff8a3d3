#ifndef FERROLINK_JVM_NATIVEERROR_H
#define FERROLINK_JVM_NATIVEERROR_H

#include <string>

/// The text of the last failure of any JNI method, which Java fetches with getNativeError.
///
/// One for the whole process, "Undefined error" at first, overwritten by each failure and never
/// cleared: when Java threads fail at the same time, a thread may read another one's text, but
/// always a whole one. Thread rule: any thread.
namespace NativeError {

/// Raises nothing, since no exception may leave a native method; where there is no memory for the
/// text, it becomes "std::bad_alloc".
void store(const char* text) noexcept;
std::string text();

}  // namespace NativeError

#endif
