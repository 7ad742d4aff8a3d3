#ifndef FERROLINK_NATIVE_RUNTIMENAMEHANDLER_H
#define FERROLINK_NATIVE_RUNTIMENAMEHANDLER_H

#include <string>

#include "native/Export.h"

namespace Ferrolink::Native::RuntimeNameHandler {

/// The table of runtime identifiers and names. Stateless. Any thread. Never raises.
class RuntimeNameHandler {
 public:
  /// The display name, for example "Nodejs" or "Cpp"; "Unknown" for an identifier outside 0 to 10.
  FERROLINK_EXPORT static std::string GetRuntimeName(int runtime);

  /// The file name of the runtime's native library; "Unknown" for an identifier outside 0 to 10,
  /// which later fails as a missing file.
  FERROLINK_EXPORT static std::string getRuntimeLibraryName(int runtime);
};

}  // namespace Ferrolink::Native::RuntimeNameHandler

#endif
