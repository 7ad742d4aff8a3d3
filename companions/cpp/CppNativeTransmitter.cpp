#include "companions/cpp/CppNativeTransmitter.h"

namespace Ferrolink::Runtimes::Cpp::Native::Transmitter {

CppNativeTransmitter::CppNativeTransmitter(
    Ferrolink::Native::Definitions::RuntimeOperationMode mode)
    : NativeTransmitter(mode) {}

CppNativeTransmitter::~CppNativeTransmitter() = default;

}  // namespace Ferrolink::Runtimes::Cpp::Native::Transmitter
