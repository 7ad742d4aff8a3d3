#ifndef FERROLINK_BENCH_HARNESS_WAKECALLS_H
#define FERROLINK_BENCH_HARNESS_WAKECALLS_H

namespace Ferrolink::Bench {

/// How often the library has asked the kernel to wake a thread (FUTEX_WAKE). Counted in passing,
/// without a tracer: what strace(1) adds to each call changes how often threads meet at a lock.
///
/// A program with this function has a function `syscall` of its own, which it must export (CMake's
/// ENABLE_EXPORTS): the library, opened later, calls that one. Not counted is what does not come
/// by there: locks of the C library, so this program's own, and the JVM, which the library opens
/// with deep binding.
long WakeCalls();

}  // namespace Ferrolink::Bench

#endif
