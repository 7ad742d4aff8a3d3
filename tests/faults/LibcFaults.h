#ifndef FERROLINK_TESTS_FAULTS_LIBCFAULTS_H
#define FERROLINK_TESTS_FAULTS_LIBCFAULTS_H

#include <string>
#include <vector>

/// Has the k-th call of a function of the C library fail, where our libraries made it: directly, or
/// through the C++ library, the C library or the loader. Calls that fakes, the JVM or the test make
/// are neither counted nor touched, although they come from below or above ours.
///
/// The executable defines the functions itself and so sees the calls of all libraries in the
/// process; who called is found by a walk up the stack. Any thread.
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

/// From now on counts the calls of this kind, and fails the `number`-th; none where it is 0. Pauses
/// are over at once as long as calls are counted.
void FailLibcCall(LibcCall call, long number);
/// Neither counts nor fails from now on.
void StopFailing();

/// How many calls have been counted, and whether the one to fail was among them.
long LibcCalls();
bool LibcCallFailed();

/// Whether one of our threads went to sleep in the kernel (futex) since it was forgotten last.
bool SleptInLibc();
void ForgetSleepsInLibc();

}  // namespace Ferrolink::Tests

#endif
