#include "native/NativeLauncher.h"

namespace Ferrolink::Native::Launcher {

NativeLauncher::NativeLauncher(Definitions::RuntimeOperationMode mode) : m_operationMode(mode) {}

NativeLauncher::~NativeLauncher() = default;

bool NativeLauncher::IsInitialized() {
  return m_initialized.load(std::memory_order_acquire);
}

void NativeLauncher::SetInitialized() {
  m_initialized.store(true, std::memory_order_release);
}

std::string NativeLauncher::GetRuntimeInfo() {
  return {};
}

}  // namespace Ferrolink::Native::Launcher
