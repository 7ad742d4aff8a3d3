#include "native/RoleSingletons.h"

#include <memory>

namespace Ferrolink::Native {
namespace {

using Definitions::RuntimeOperationMode;
using Interfaces::IReceiver;
using Interfaces::ITransmitter;

// The role if it exists and the mode is fixed; null otherwise. Takes no lock.
template <class Role>
Role* Settled(const std::atomic<Role*>& role) {
  return operationMode.load() != RuntimeOperationMode::NotSet ? role.load() : nullptr;
}

// Called under the lock of the creator. Different creators hold different locks, so two of them may
// run this at once: the mode is fixed once nevertheless, and one of two new roles is deleted. If
// the maker throws, the role stays null and the mode stays fixed.
template <class Role>
void Settle(RuntimeOperationMode mode, std::atomic<Role*>& role,
            Role* (*make)(RuntimeOperationMode)) {
  RuntimeOperationMode notSet = RuntimeOperationMode::NotSet;
  operationMode.compare_exchange_strong(notSet, mode);
  if (role.load() == nullptr) {
    std::unique_ptr<Role> made(make(operationMode.load()));
    Role* none = nullptr;
    if (role.compare_exchange_strong(none, made.get())) {
      static_cast<void>(made.release());
    }
  }
}

template <class Role>
Role* Create(RuntimeOperationMode mode, std::atomic<Role*>& role,
             Role* (*make)(RuntimeOperationMode)) {
  if (Role* existing = Settled(role)) {
    return existing;
  }
  const std::unique_lock<std::shared_mutex> lock(createReceiverMutex);
  Settle(mode, role, make);
  return role.load();
}

}  // namespace

std::atomic<RuntimeOperationMode> operationMode{RuntimeOperationMode::NotSet};
std::atomic<bool> firstCall{true};
std::atomic<IReceiver*> receiver{nullptr};
std::atomic<ITransmitter*> transmitter{nullptr};
std::shared_mutex createReceiverMutex;
std::shared_mutex createTransmitterMutex;
std::shared_mutex setOperationModeForTransmitterMutex;
std::mutex initializationMutex;

IReceiver* CreateReceiver(RuntimeOperationMode mode) {
  return Create(mode, receiver, MakeReceiver);
}

ITransmitter* CreateTransmitter(RuntimeOperationMode mode) {
  return Create(mode, transmitter, MakeTransmitter);
}

int SetOperationModeForTransmitter() {
  if (Settled(transmitter) != nullptr) {
    return 0;
  }
  const std::unique_lock<std::shared_mutex> lock(setOperationModeForTransmitterMutex);
  Settle(RuntimeOperationMode::CallingRuntime, transmitter, MakeTransmitter);
  return 0;
}

void AtStartUp() {
  if (firstCall.load(std::memory_order_acquire)) {
    SetOperationModeForTransmitter();
    firstCall.store(false, std::memory_order_release);
  }
}

}  // namespace Ferrolink::Native
