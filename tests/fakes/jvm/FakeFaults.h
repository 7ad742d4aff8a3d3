#ifndef FERROLINK_TESTS_FAKES_JVM_FAKEFAULTS_H
#define FERROLINK_TESTS_FAKES_JVM_FAKEFAULTS_H

#include <jni.h>

#include <functional>
#include <optional>

/// Makes one call of the fake JVM fail. The call is given by its number, regardless of its
/// function. For tests in which each call fails in turn.
namespace Ferrolink::Tests::FakeJvm {

struct Effect;

/// The same as Injection, but for the `call`-th call from now on, counted over all functions and
/// threads.
struct NumberedFault {
  long call = 0;  ///< 0: none
  bool null = false;
  bool exception = false;
  std::optional<jint> result{};
};

/// Counts one call and adds the numbered fault to the effect if this is the call. The caller holds
/// the fake's lock.
void TakeNumberedFault(Effect& effect);

/// The function that NewByteArray runs.
const std::function<void()>& InsideNewByteArray();

}  // namespace Ferrolink::Tests::FakeJvm

extern "C" {
/// Replaces the fault, and counts from the next call on.
void FakeJvmFailCall(const Ferrolink::Tests::FakeJvm::NumberedFault* fault);
/// Whether the fault has been taken.
bool FakeJvmFailedCall();
/// NewByteArray runs it on the calling thread, without the fake's lock. Changed only while no other
/// thread is in a JNI call.
void FakeJvmInsideNewByteArray(const std::function<void()>* inside);
}

#endif
