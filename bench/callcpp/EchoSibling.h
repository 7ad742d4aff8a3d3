#ifndef FERROLINK_BENCH_CALLCPP_ECHOSIBLING_H
#define FERROLINK_BENCH_CALLCPP_ECHOSIBLING_H

#include <cstdint>

#include "native/interfaces/IReceiver.h"

namespace Ferrolink::Bench {

using Ferrolink::Native::Interfaces::IReceiver;

/// The offset of the byte that selects whether the echo sibling answers itself or through Java.
inline constexpr int kRouteOffset = 11;
inline constexpr std::uint8_t kThroughLibrary = 2;
inline constexpr std::uint8_t kThroughHandWritten = 3;

/// Exported by the sibling as BenchSetHandWritten: sets the receiver behind kThroughHandWritten.
using SetHandWritten = void(IReceiver*);

}  // namespace Ferrolink::Bench

#endif
