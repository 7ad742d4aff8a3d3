#ifndef FERROLINK_NATIVE_INTERFACES_RUNTIMEOPERATIONMODE_H
#define FERROLINK_NATIVE_INTERFACES_RUNTIMEOPERATIONMODE_H

#include <cstdint>

namespace Ferrolink::Native::Definitions {

/// The role of a runtime in this process. The values cross library borders as plain 32-bit
/// integers and are fixed.
enum class RuntimeOperationMode : std::int32_t {
  NotSet = -1,         ///< no role creator has run yet
  CallingRuntime = 0,  ///< this runtime hosts the program that calls out into another runtime
  CalledRuntime = 1,   ///< this runtime was loaded and is driven by another runtime's library
};

}  // namespace Ferrolink::Native::Definitions

#endif
