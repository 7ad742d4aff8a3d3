#ifndef FERROLINK_BENCH_HARNESS_WAKECALLS_H
#define FERROLINK_BENCH_HARNESS_WAKECALLS_H

namespace Ferrolink::Bench {

/// The number of times that the library asked the kernel to wake a thread (FUTEX_WAKE). It is
/// counted without a tracer: the time that strace(1) adds to each call changes how often threads
/// contend.
///
/// A program with this function has a function `syscall` of its own and must export it (CMake's
/// ENABLE_EXPORTS), so that the library calls it. Calls that do not use it are not counted: locks
/// of the C library, so this program's own, and the JVM, which the library opens with deep binding.
long WakeCalls();

}  // namespace Ferrolink::Bench

#endif
