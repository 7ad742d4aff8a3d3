#ifndef FERROLINK_JVM_NATIVEERROR_H
#define FERROLINK_JVM_NATIVEERROR_H

#include <string>

/// The error texts of the JNI methods, which Java fetches with getNativeError.
///
/// A thread that failed reads the text of its own last failure, once. All other reads return the
/// text of the last failure of any thread. That text is "Undefined error" at first; each failure
/// overwrites it, and nothing clears it. Texts are never torn. A thread's own text ends with the
/// thread. Thread rule: thread-safe.
namespace Ferrolink::Runtimes::Jvm::Native::NativeError {

/// Stores the text of a failure. Raises nothing, since no exception may leave a native method. If
/// there is no memory for the text, "std::bad_alloc" is stored.
void Store(const char* text) noexcept;

/// The calling thread's own text if it has an unread one, else the text of the process. Errors:
/// std::bad_alloc; the own text then stays unread.
std::string Text();

/// Marks the thread's own text as read. Later reads return the text of the process.
void ForgetOwn() noexcept;

}  // namespace Ferrolink::Runtimes::Jvm::Native::NativeError

#endif
