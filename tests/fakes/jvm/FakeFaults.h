#ifndef FERROLINK_TESTS_FAKES_JVM_FAKEFAULTS_H
#define FERROLINK_TESTS_FAKES_JVM_FAKEFAULTS_H

#include <jni.h>

#include <functional>
#include <optional>

/// Makes one call of the fake JVM fail that is told by its number alone, whatever function it is:
/// for tests that let each call of a stretch fail in turn.
namespace Ferrolink::Tests::FakeJvm {

struct Effect;

/// As Injection, but of the `call`-th call from now on, over all functions and threads.
struct NumberedFault {
  long call = 0;  ///< 0: none
  bool null = false;
  bool exception = false;
  std::optional<jint> result{};
};

/// Counts one call and adds the numbered fault to what the injections made of it, where it is the
/// one. The fake's lock is held by the caller.
void TakeNumberedFault(Effect& effect);

/// What NewByteArray is to run.
const std::function<void()>& InsideNewByteArray();

}  // namespace Ferrolink::Tests::FakeJvm

extern "C" {
/// Replaces the fault, and counts from the next call on.
void FakeJvmFailCall(const Ferrolink::Tests::FakeJvm::NumberedFault* fault);
/// Whether the fault has been taken.
bool FakeJvmFailedCall();
/// Run on the calling thread by NewByteArray, with the fake's lock open. Changed while no other
/// thread is in a JNI call.
void FakeJvmInsideNewByteArray(const std::function<void()>* inside);
}

#endif
