#ifndef FERROLINK_NATIVE_RUNTIMENAMEHANDLER_H
#define FERROLINK_NATIVE_RUNTIMENAMEHANDLER_H

#include <string>

#include "native/Export.h"

namespace Ferrolink::Native::RuntimeNameHandler {

/// The fixed table from runtime identifier to names. Stateless; any thread; never raises.
class RuntimeNameHandler {
 public:
  /// The display name, exact in case ("Nodejs", "Cpp"); "Unknown" for an identifier outside 0
  /// to 10.
  FERROLINK_EXPORT static std::string GetRuntimeName(int runtime);

  /// The file name of the runtime's native library; "Unknown" for an identifier outside 0 to 10,
  /// which then fails as a file that is not there.
  FERROLINK_EXPORT static std::string getRuntimeLibraryName(int runtime);
};

}  // namespace Ferrolink::Native::RuntimeNameHandler

#endif
