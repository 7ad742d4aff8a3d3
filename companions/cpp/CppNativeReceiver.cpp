#include "companions/cpp/CppNativeReceiver.h"

#include <memory>

#include "companions/cpp/CppLauncher.h"
#include "native/FerrolinkNativeException.h"

namespace Ferrolink::Runtimes::Cpp::Native::Receiver {

using Ferrolink::Native::Definitions::RuntimeOperationMode;

CppNativeReceiver::CppNativeReceiver(RuntimeOperationMode mode) : NativeReceiver(mode) {
  if (mode == RuntimeOperationMode::NotSet) {
    throw FerrolinkNativeException(
        "Ferrolink Native Exception: Exception code 032. \nRuntime not initialized", "Unknown");
  }
  SetLauncher(std::make_unique<Launcher::CppLauncher>(mode));
}

CppNativeReceiver::~CppNativeReceiver() = default;

}  // namespace Ferrolink::Runtimes::Cpp::Native::Receiver
