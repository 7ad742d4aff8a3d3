#ifndef FERROLINK_TESTS_FAULTS_LIBCFAULTGATE_H
#define FERROLINK_TESTS_FAULTS_LIBCFAULTGATE_H

#include "tests/faults/LibcFaults.h"

/// Marks the interposers, whose stack frames are no callers.
#define FERROLINK_INTERPOSER __attribute__((noinline, section("fault_interposers")))

namespace Ferrolink::Tests {

/// Counts one call; true if it is the one to fail. Allocates nothing.
bool IsToFail(LibcCall call);

void NoteSleep();

/// Whether calls are counted now.
bool IsCounting();

}  // namespace Ferrolink::Tests

#endif
