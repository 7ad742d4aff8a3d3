#include "tests/fakes/jvm/FakeFaults.h"

#include "tests/fakes/jvm/FakeState.h"

namespace Ferrolink::Tests::FakeJvm {
namespace {

// Guarded by the fake's lock.
NumberedFault numberedFault;
long seen = 0;

std::function<void()>& NewByteArrayHook() {
  static auto& hook = *new std::function<void()>;
  return hook;
}

}  // namespace

const std::function<void()>& InsideNewByteArray() {
  return NewByteArrayHook();
}

void TakeNumberedFault(Effect& effect) {
  seen += 1;
  if (numberedFault.call != seen) {
    return;
  }
  effect.null = effect.null || numberedFault.null;
  effect.exception = effect.exception || numberedFault.exception;
  effect.result = numberedFault.result ? numberedFault.result : effect.result;
}

}  // namespace Ferrolink::Tests::FakeJvm

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED void FakeJvmFailCall(const Ferrolink::Tests::FakeJvm::NumberedFault* fault) {
  const std::lock_guard<std::mutex> lock(Ferrolink::Tests::FakeJvm::SharedState().lock);
  Ferrolink::Tests::FakeJvm::numberedFault = *fault;
  Ferrolink::Tests::FakeJvm::seen = 0;
}

EXPORTED bool FakeJvmFailedCall() {
  const std::lock_guard<std::mutex> lock(Ferrolink::Tests::FakeJvm::SharedState().lock);
  return Ferrolink::Tests::FakeJvm::numberedFault.call != 0 &&
         Ferrolink::Tests::FakeJvm::seen >= Ferrolink::Tests::FakeJvm::numberedFault.call;
}

EXPORTED void FakeJvmInsideNewByteArray(const std::function<void()>* inside) {
  Ferrolink::Tests::FakeJvm::NewByteArrayHook() = *inside;
}
