#include "jvm/JvmNativeTransmitter.h"

namespace Ferrolink::Runtimes::Jvm::Native::Transmitter {

JvmNativeTransmitter::JvmNativeTransmitter(
    Ferrolink::Native::Definitions::RuntimeOperationMode mode)
    : NativeTransmitter(mode) {}

JvmNativeTransmitter::~JvmNativeTransmitter() = default;

}  // namespace Ferrolink::Runtimes::Jvm::Native::Transmitter
