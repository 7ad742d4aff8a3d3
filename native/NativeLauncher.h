#ifndef FERROLINK_NATIVE_NATIVELAUNCHER_H
#define FERROLINK_NATIVE_NATIVELAUNCHER_H

#include <atomic>
#include <string>

#include "native/Export.h"
#include "native/interfaces/ILauncher.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Native::Launcher {

/// What every runtime's launcher shares: the operation mode and the initialised flag.
class FERROLINK_EXPORT NativeLauncher : public Interfaces::ILauncher {
 public:
  explicit NativeLauncher(Definitions::RuntimeOperationMode mode);
  NativeLauncher(const NativeLauncher&) = delete;
  NativeLauncher& operator=(const NativeLauncher&) = delete;
  ~NativeLauncher() override;

  bool IsInitialized() override;
  /// There is no way back to false.
  void SetInitialized() override;
  /// The base knows nothing of a runtime: an empty string.
  std::string GetRuntimeInfo() override;

 protected:
  [[nodiscard]] Definitions::RuntimeOperationMode OperationMode() const { return m_operationMode; }

 private:
  const Definitions::RuntimeOperationMode m_operationMode;
  // Atomic because callers test it before every use, from any thread.
  std::atomic<bool> m_initialized{false};
};

}  // namespace Ferrolink::Native::Launcher

#endif
