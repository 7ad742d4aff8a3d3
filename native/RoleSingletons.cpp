#include "native/RoleSingletons.h"

#include <memory>

namespace Ferrolink::Native {
namespace {

using Definitions::RuntimeOperationMode;
using Interfaces::IReceiver;
using Interfaces::ITransmitter;

// The role, where it exists and the mode is settled; null otherwise. Takes no lock.
template <class Role>
Role* settled(const std::atomic<Role*>& role) {
  return operationMode.load() != RuntimeOperationMode::NotSet ? role.load() : nullptr;
}

// Under the creator's lock, which is not the same one for all creators: the mode is fixed once all
// the same, and of two that are made at the same time one goes. A maker that throws leaves the role
// null and the mode as it was fixed.
template <class Role>
void settle(RuntimeOperationMode mode, std::atomic<Role*>& role,
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
Role* create(RuntimeOperationMode mode, std::atomic<Role*>& role,
             Role* (*make)(RuntimeOperationMode)) {
  if (Role* existing = settled(role)) {
    return existing;
  }
  const std::unique_lock<std::shared_mutex> lock(createReceiverMutex);
  settle(mode, role, make);
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

IReceiver* createReceiver(RuntimeOperationMode mode) {
  return create(mode, receiver, makeReceiver);
}

ITransmitter* createTransmitter(RuntimeOperationMode mode) {
  return create(mode, transmitter, makeTransmitter);
}

int setOperationModeForTransmitter() {
  if (settled(transmitter) != nullptr) {
    return 0;
  }
  const std::unique_lock<std::shared_mutex> lock(setOperationModeForTransmitterMutex);
  settle(RuntimeOperationMode::CallingRuntime, transmitter, makeTransmitter);
  return 0;
}

void atStartUp() {
  if (firstCall.load(std::memory_order_acquire)) {
    setOperationModeForTransmitter();
    firstCall.store(false, std::memory_order_release);
  }
}

}  // namespace Ferrolink::Native
