#ifndef FERROLINK_JVM_JVMNATIVETRANSMITTER_H
#define FERROLINK_JVM_JVMNATIVETRANSMITTER_H

#include "native/Export.h"
#include "native/NativeTransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Runtimes::Jvm::Native::Transmitter {

/// The transmitter of the JVM member. Adds nothing to its base; other libraries know the class by
/// name.
class FERROLINK_EXPORT JvmNativeTransmitter
    : public Ferrolink::Native::Transmitter::NativeTransmitter {
 public:
  explicit JvmNativeTransmitter(Ferrolink::Native::Definitions::RuntimeOperationMode mode);
  JvmNativeTransmitter(const JvmNativeTransmitter&) = delete;
  JvmNativeTransmitter& operator=(const JvmNativeTransmitter&) = delete;
  ~JvmNativeTransmitter() override;
};

}  // namespace Ferrolink::Runtimes::Jvm::Native::Transmitter

#endif
