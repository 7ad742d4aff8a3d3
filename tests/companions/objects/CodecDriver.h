#ifndef FERROLINK_TESTS_COMPANIONS_OBJECTS_CODECDRIVER_H
#define FERROLINK_TESTS_COMPANIONS_OBJECTS_CODECDRIVER_H

#include <cstdint>
#include <span>

namespace Ferrolink::Tests {

/// Passes bytes to the decoders of typed calls. The first byte selects the decoder; the rest is its
/// input. Returns if the input was read, or refused with an error that has a text. Ends the process
/// if a rule is broken.
void DriveCodec(std::span<const std::uint8_t> input);

}  // namespace Ferrolink::Tests

#endif
