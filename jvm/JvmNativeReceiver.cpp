#include "jvm/JvmNativeReceiver.h"

#include <memory>

#include "jvm/JvmLauncher.h"
#include "native/FerrolinkNativeException.h"

namespace Ferrolink::Runtimes::Jvm::Native::Receiver {

using Ferrolink::Native::Definitions::RuntimeOperationMode;

JvmNativeReceiver::JvmNativeReceiver(RuntimeOperationMode mode) : NativeReceiver(mode) {
  if (mode == RuntimeOperationMode::NotSet) {
    throw FerrolinkNativeException(
        "Ferrolink Native Exception: Exception code 032. \nRuntime not initialized", "Unknown");
  }
  SetLauncher(std::make_unique<JvmLauncher>(mode));
}

JvmNativeReceiver::~JvmNativeReceiver() = default;

}  // namespace Ferrolink::Runtimes::Jvm::Native::Receiver
