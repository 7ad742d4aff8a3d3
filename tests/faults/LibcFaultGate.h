#ifndef FERROLINK_TESTS_FAULTS_LIBCFAULTGATE_H
#define FERROLINK_TESTS_FAULTS_LIBCFAULTGATE_H

#include "tests/faults/LibcFaults.h"

/// Marks what stands between a caller and the C library: frames of the stack that are no caller.
#define FERROLINK_INTERPOSER __attribute__((noinline, section("fault_interposers")))

namespace Ferrolink::Tests {

/// Counts one call; true where it is the one to fail. Allocates nothing.
bool IsToFail(LibcCall call);

void NoteSleep();

/// Whether calls are counted now.
bool IsCounting();

}  // namespace Ferrolink::Tests

#endif
