#ifndef FERROLINK_TESTS_SUPPORT_COUNTS_H
#define FERROLINK_TESTS_SUPPORT_COUNTS_H

namespace Ferrolink::Tests {

/// How often a test does something: the number in the environment variable, or `otherwise` if it is
/// not set. scripts/verify sets counts that are too long for a plain test run. For tests and
/// bodies. Errors: std::runtime_error if the variable is no positive number.
long CountOr(const char* variable, long otherwise);

}  // namespace Ferrolink::Tests

#endif
