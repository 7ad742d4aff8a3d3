#ifndef FERROLINK_TESTS_COMPANIONS_OBJECTS_CODECDRIVER_H
#define FERROLINK_TESTS_COMPANIONS_OBJECTS_CODECDRIVER_H

#include <cstdint>
#include <span>

namespace Ferrolink::Tests {

/// Gives bytes to the decoders of typed calls: the first byte says to which, the rest is what the
/// other side sent. Returns if they were read, or refused with an error that has a text; ends the
/// process if a rule does not hold.
void DriveCodec(std::span<const std::uint8_t> input);

}  // namespace Ferrolink::Tests

#endif
