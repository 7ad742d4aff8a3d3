#ifndef FERROLINK_JVM_NATIVEERROR_H
#define FERROLINK_JVM_NATIVEERROR_H

#include <string>

/// The texts of failures of the JNI methods, which Java fetches with getNativeError.
///
/// A thread that has failed reads the text of its own last failure, once. Every other read gives
/// the text of the process's last failure, on whichever thread it happened: "Undefined error" at
/// first, overwritten by each failure and never cleared. A text is always whole. A thread that ends
/// leaves nothing behind but the process's text. Thread rule: any thread.
namespace NativeError {

/// Raises nothing, since no exception may leave a native method; where there is no memory for the
/// text, it becomes "std::bad_alloc".
void Store(const char* text) noexcept;

/// The calling thread's own text where one waits, else the process's. Errors: std::bad_alloc, and
/// an own text goes on waiting.
std::string Text();

/// The thread has got its own text: later reads give the process's.
void ForgetOwn() noexcept;

}  // namespace NativeError

#endif
