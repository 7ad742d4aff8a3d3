#ifndef FERROLINK_COMPANIONS_CPP_CPPNATIVETRANSMITTER_H
#define FERROLINK_COMPANIONS_CPP_CPPNATIVETRANSMITTER_H

#include "native/Export.h"
#include "native/NativeTransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Runtimes::Cpp::Native::Transmitter {

/// The transmitter of the C++ member; it adds nothing to the generic one.
class FERROLINK_EXPORT CppNativeTransmitter
    : public Ferrolink::Native::Transmitter::NativeTransmitter {
 public:
  explicit CppNativeTransmitter(Ferrolink::Native::Definitions::RuntimeOperationMode mode);
  CppNativeTransmitter(const CppNativeTransmitter&) = delete;
  CppNativeTransmitter& operator=(const CppNativeTransmitter&) = delete;
  ~CppNativeTransmitter() override;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native::Transmitter

#endif
