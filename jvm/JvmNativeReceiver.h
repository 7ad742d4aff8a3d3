#ifndef FERROLINK_JVM_JVMNATIVERECEIVER_H
#define FERROLINK_JVM_JVMNATIVERECEIVER_H

#include "native/Export.h"
#include "native/NativeReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Runtimes::Jvm::Native::Receiver {

/// The receiver whose launcher is a JvmLauncher.
class FERROLINK_EXPORT JvmNativeReceiver : public Ferrolink::Native::Receiver::NativeReceiver {
 public:
  /// Errors: code 032 for mode -1, before a launcher is made.
  explicit JvmNativeReceiver(Ferrolink::Native::Definitions::RuntimeOperationMode mode);
  JvmNativeReceiver(const JvmNativeReceiver&) = delete;
  JvmNativeReceiver& operator=(const JvmNativeReceiver&) = delete;
  ~JvmNativeReceiver() override;
};

}  // namespace Ferrolink::Runtimes::Jvm::Native::Receiver

#endif
