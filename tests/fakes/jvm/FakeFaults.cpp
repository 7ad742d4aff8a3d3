#include "tests/fakes/jvm/FakeFaults.h"

#include "tests/fakes/jvm/FakeState.h"

namespace FakeJvm {
namespace {

// Guarded by the fake's lock.
NumberedFault numberedFault;
long seen = 0;

std::function<void()>& newByteArrayHook() {
  static auto& hook = *new std::function<void()>;
  return hook;
}

}  // namespace

const std::function<void()>& insideNewByteArray() {
  return newByteArrayHook();
}

void takeNumberedFault(Effect& effect) {
  seen += 1;
  if (numberedFault.call != seen) {
    return;
  }
  effect.null = effect.null || numberedFault.null;
  effect.exception = effect.exception || numberedFault.exception;
  effect.result = numberedFault.result ? numberedFault.result : effect.result;
}

}  // namespace FakeJvm

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED void fakeJvm_failCall(const FakeJvm::NumberedFault* fault) {
  const std::lock_guard<std::mutex> lock(FakeJvm::state().lock);
  FakeJvm::numberedFault = *fault;
  FakeJvm::seen = 0;
}

EXPORTED bool fakeJvm_failedCall() {
  const std::lock_guard<std::mutex> lock(FakeJvm::state().lock);
  return FakeJvm::numberedFault.call != 0 && FakeJvm::seen >= FakeJvm::numberedFault.call;
}

EXPORTED void fakeJvm_insideNewByteArray(const std::function<void()>* inside) {
  FakeJvm::newByteArrayHook() = *inside;
}
