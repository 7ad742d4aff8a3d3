#ifndef FERROLINK_JVM_NATIVEERROR_H
#define FERROLINK_JVM_NATIVEERROR_H

#include <string>

/// The error texts of the JNI methods, which Java fetches with getNativeError.
///
/// A thread that failed reads the text of its own last failure, once. Every other read gives the
/// text of the last failure of the process, on whichever thread it happened: "Undefined error" at
/// first, overwritten by each failure, never cleared. A text is never torn. The thread's own text
/// ends with the thread. Thread rule: any thread.
namespace Ferrolink::Runtimes::Jvm::Native::NativeError {

/// Stores the text of a failure. Raises nothing, since no exception may leave a native method. If
/// there is no memory for the text, "std::bad_alloc" is stored.
void Store(const char* text) noexcept;

/// The calling thread's own text if there is an unread one, else the process's. Errors:
/// std::bad_alloc; the own text then stays unread.
std::string Text();

/// Marks the thread's own text as read: later reads give the process's.
void ForgetOwn() noexcept;

}  // namespace Ferrolink::Runtimes::Jvm::Native::NativeError

#endif
