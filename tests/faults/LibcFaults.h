#ifndef FERROLINK_TESTS_FAULTS_LIBCFAULTS_H
#define FERROLINK_TESTS_FAULTS_LIBCFAULTS_H

#include <string>
#include <vector>

/// Makes the k-th call of a C library function by our libraries fail: a direct call, or one through
/// the C++ library, the C library or the loader. Calls by fakes, the JVM or the test are neither
/// counted nor changed. The executable defines the functions and so sees the calls of all
/// libraries; a walk up the stack finds the caller. Any thread.
namespace Ferrolink::Tests {

enum class LibcCall {
  Allocation,  ///< malloc, calloc, realloc, operator new; under sanitizers operator new alone
  DlOpen,
  DlSym,
  Open,   ///< open, openat, opendir, fopen
  Write,  ///< write, writev, fwrite, fflush
  ThreadCreate,
  Syscall,  ///< membarrier, and futex that waits; one that wakes never fails by itself
};

const char* NameOf(LibcCall call);

/// Which libraries are ours, by file name; they must be open.
void SetOwnLibraries(const std::vector<std::string>& names);

/// Counts calls of this kind and fails the `number`-th; none for 0. Pauses end at once while calls
/// are counted.
void FailLibcCall(LibcCall call, long number);
/// Stops counting and failing.
void StopFailing();

/// How many calls were counted, and whether the one to fail was among them.
long LibcCalls();
bool LibcCallFailed();

/// Whether one of our threads slept in the kernel (futex) since the last reset.
bool SleptInLibc();
void ForgetSleepsInLibc();

}  // namespace Ferrolink::Tests

#endif
