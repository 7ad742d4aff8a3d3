#ifndef FERROLINK_BENCH_CALLCPP_ECHOSIBLING_H
#define FERROLINK_BENCH_CALLCPP_ECHOSIBLING_H

#include <cstdint>

#include "native/interfaces/IReceiver.h"

namespace Ferrolink::Bench {

using Ferrolink::Native::Interfaces::IReceiver;

/// The byte of a command that tells the echo sibling whether to answer itself or through Java.
inline constexpr int kRouteOffset = 11;
inline constexpr std::uint8_t kThroughLibrary = 2;
inline constexpr std::uint8_t kThroughHandWritten = 3;

/// Exported by the sibling as BenchSetHandWritten: what kThroughHandWritten goes through.
using SetHandWritten = void(IReceiver*);

}  // namespace Ferrolink::Bench

#endif
