#ifndef FERROLINK_NATIVE_NATIVELAUNCHER_H
#define FERROLINK_NATIVE_NATIVELAUNCHER_H

#include <atomic>
#include <string>

#include "native/Export.h"
#include "native/interfaces/ILauncher.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Native::Launcher {

/// What the launchers of all runtimes share: the operation mode and the initialised flag. Thread
/// rule: any thread.
class FERROLINK_EXPORT NativeLauncher : public Interfaces::ILauncher {
 public:
  explicit NativeLauncher(Definitions::RuntimeOperationMode mode);
  NativeLauncher(const NativeLauncher&) = delete;
  NativeLauncher& operator=(const NativeLauncher&) = delete;
  ~NativeLauncher() override;

  bool IsInitialized() override;
  /// The flag is never reset.
  void SetInitialized() override;
  /// An empty string, unless a runtime's launcher overrides it.
  std::string GetRuntimeInfo() override;

 protected:
  /// For the launchers of the runtimes. Those of this tree keep their own form of the mode.
  [[nodiscard]] Definitions::RuntimeOperationMode OperationMode() const { return m_operationMode; }

 private:
  const Definitions::RuntimeOperationMode m_operationMode;
  // Atomic: callers test it before each use, on any thread.
  std::atomic<bool> m_initialized{false};
};

}  // namespace Ferrolink::Native::Launcher

#endif
