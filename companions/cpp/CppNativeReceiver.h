#ifndef FERROLINK_COMPANIONS_CPP_CPPNATIVERECEIVER_H
#define FERROLINK_COMPANIONS_CPP_CPPNATIVERECEIVER_H

#include "native/Export.h"
#include "native/NativeReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Runtimes::Cpp::Native::Receiver {

/// The receiver whose launcher is a CppLauncher.
class FERROLINK_EXPORT CppNativeReceiver : public Ferrolink::Native::Receiver::NativeReceiver {
 public:
  /// Errors: code 032 for mode -1, before any launcher exists.
  explicit CppNativeReceiver(Ferrolink::Native::Definitions::RuntimeOperationMode mode);
  CppNativeReceiver(const CppNativeReceiver&) = delete;
  CppNativeReceiver& operator=(const CppNativeReceiver&) = delete;
  ~CppNativeReceiver() override;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native::Receiver

#endif
