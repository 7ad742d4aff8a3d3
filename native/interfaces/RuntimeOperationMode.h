#ifndef FERROLINK_NATIVE_INTERFACES_RUNTIMEOPERATIONMODE_H
#define FERROLINK_NATIVE_INTERFACES_RUNTIMEOPERATIONMODE_H

#include <cstdint>

namespace Ferrolink::Native::Definitions {

/// The role of a runtime in this process. The values are fixed: they cross library borders as plain
/// 32-bit integers. The first creator of a role fixes the mode; later modes are ignored.
/// @code
/// IReceiver* receiver = CreateReceiver(RuntimeOperationMode::CalledRuntime);
/// @endcode
enum class RuntimeOperationMode : std::int32_t {
  NotSet = -1,         ///< no role was created yet
  CallingRuntime = 0,  ///< this runtime hosts the program that calls out
  CalledRuntime = 1,   ///< another runtime's library loaded this one and drives it
};

}  // namespace Ferrolink::Native::Definitions

#endif
