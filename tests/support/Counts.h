#ifndef FERROLINK_TESTS_SUPPORT_COUNTS_H
#define FERROLINK_TESTS_SUPPORT_COUNTS_H

namespace Ferrolink::Tests {

/// How often a test does something: the number in the environment variable where it is set, else
/// `otherwise`. scripts/verify sets counts that the tests are too short for. Tests and bodies.
/// Errors: std::runtime_error where the variable holds anything but a positive number.
long CountOr(const char* variable, long otherwise);

}  // namespace Ferrolink::Tests

#endif
