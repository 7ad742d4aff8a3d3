// Typed calls: what the broker answers, and what it asks C++ functions for.
#include <cstdlib>

#include "tests/companions/objects/CodecDriver.h"
#include "tests/fuzz/Fuzzing.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  setenv("FERROLINK_LOGGING_LEVEL", "off", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Ferrolink::Tests::DriveCodec({data, size});
  return 0;
}
