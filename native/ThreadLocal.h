#ifndef FERROLINK_NATIVE_THREADLOCAL_H
#define FERROLINK_NATIVE_THREADLOCAL_H

/// Declares thread-local data of the library. The data is plain and is in the static TLS block, so
/// access takes no loader call, and no destructor runs when a thread ends.
///
/// Example: `FERROLINK_THREAD_LOCAL bool insideReport = false;`
#define FERROLINK_THREAD_LOCAL __attribute__((tls_model("initial-exec"))) thread_local

#endif
