// Which failure's text TransmitterWrapper.getNativeError hands to which thread.
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <barrier>

#include "jvm/NativeError.h"
#include "tests/jvm/FakeJavaHost.h"

namespace Ferrolink::Tests {
namespace {

constexpr int kThreads = 8;
const std::string kNoChannel =
    "Ferrolink Native Exception: Exception code 020. \nNo channel selected";
const std::string kNoSuchChannel = "Ferrolink Native Exception: Exception code 023.";

struct Failure {
  jint (*fail)(const JavaThread& thread);
  std::string text;
};

// Different in what they call and in what they say.
const std::array<Failure, 4>& Failures() {
  static const std::array<Failure, 4> all = {{
      {[](const JavaThread& thread) { return thread.sendCommand(nullptr); }, kNullArray},
      {[](const JavaThread& thread) { return thread.setWorkingDirectory(nullptr); }, kNullString},
      {[](const JavaThread& thread) { return thread.readResponse(thread.Array({8})); }, kNoChannel},
      {[](const JavaThread& thread) {
         return thread.sendCommand(thread.Array({8, 3, 9, 0, 0, 0, 0, 0, 0, 2, 2}));
       },
       kNoSuchChannel},
  }};
  return all;
}

const Failure& FailureOf(int thread) {
  return Failures().at(static_cast<std::size_t>(thread) % Failures().size());
}

// Threads fail one after the other, and then read.
std::string ReadAfterOthers(const FakeJavaHost& java, int own, std::barrier<>& all) {
  const JavaThread thread(java.vm);
  all.arrive_and_wait();
  FailureOf(own).fail(thread);
  all.arrive_and_wait();
  return thread.NativeError();
}

/// A thread that fails in the destructor of a key of its own, when its thread-locals are gone.
struct LateFailure {
  JavaVM* vm;
  std::string text;
};

void FailLate(void* data) {
  auto* late = static_cast<LateFailure*>(data);
  const JavaThread thread(late->vm);
  Failures()[0].fail(thread);
  OnNewThread([&] { Failures()[1].fail(JavaThread(late->vm)); });
  late->text = thread.NativeError();
}

std::size_t AllocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

}  // namespace

PROCESS_CASE(failOnManyThreads) {
  const FakeJavaHost java;
  constexpr int kRounds = 50;
  std::barrier all(kThreads);
  std::atomic<long> own{0};
  for (int round = 0; round < kRounds; ++round) {
    OnNewThreads(kThreads,
                 [&](int i) { own += ReadAfterOthers(java, i, all) == FailureOf(i).text ? 1 : 0; });
  }
  Report(own.load());
}

TEST(GetNativeError, HandsEachThreadTheTextOfItsOwnFailureHoweverManyFailMeanwhile) {
  CallerTree siblings;
  siblings.Expect("failOnManyThreads", {"400"});
}

PROCESS_CASE(readOnce) {
  const FakeJavaHost java;
  Failures()[0].fail(java.thread);
  Failures()[1].fail(java.thread);
  OnNewThread([&] { Failures()[2].fail(JavaThread(java.vm)); });
  Report(java.thread.Outcome(java.thread.sendCommand(java.thread.Array({}))));
  Report(java.thread.NativeError());
  Report(java.thread.NativeError());
  OnNewThread([&] { Report(JavaThread(java.vm).NativeError()); });
  Failures()[0].fail(java.thread);
  Report(java.thread.NativeError());
}

TEST(GetNativeError, HandsAThreadItsOwnLastTextOnceAndThenTheProcesssLast) {
  CallerTree siblings;
  siblings.Expect("readOnce", {"0", kNullString, kNoChannel, kNoChannel, kNullArray});
}

PROCESS_CASE(registerBadly) {
  FakeJavaHost java;
  java.thread.setCallback(java.jvm.MakeObject(false));
  OnNewThread([&] { Failures()[0].fail(JavaThread(java.vm)); });
  Report(java.thread.NativeError());
}

TEST(GetNativeError, KeepsTheTextOfARegistrationThatFailedForItsThread) {
  CallerTree siblings;
  siblings.Expect("registerBadly",
                  {"JVM Lib: Exception code 008. Callback must expose apply(Object)->Object"});
}

PROCESS_CASE(readOwnWithoutAString) {
  FakeJavaHost java;
  Failures()[0].fail(java.thread);
  OnNewThread([&] { Failures()[1].fail(JavaThread(java.vm)); });
  java.jvm.Inject({.call = "NewStringUTF", .occurrence = 1, .null = true, .exception = true});
  for (int i = 0; i < 3; ++i) {
    Report(java.thread.NativeError());
  }
}

TEST(GetNativeError, KeepsAThreadsOwnTextUntilThereIsAStringForIt) {
  CallerTree siblings;
  siblings.Expect("readOwnWithoutAString", {"(null)", kNullArray, kNullString});
}

PROCESS_CASE(failInDestructors) {
  const FakeJavaHost java;
  LateFailure late{java.vm, ""};
  pthread_key_t key = 0;
  Report(pthread_key_create(&key, FailLate));
  OnNewThread([&] {
    Failures()[2].fail(JavaThread(java.vm));
    Report(pthread_setspecific(key, &late));
  });
  Report(late.text);
  OnNewThread([&] { Report(JavaThread(java.vm).NativeError()); });
}

TEST(GetNativeError, HandsAThreadThatFailsWhileItEndsItsOwnText) {
  CallerTree siblings;
  siblings.Expect("failInDestructors", {"0", "0", kNullArray, kNullString});
}

PROCESS_CASE(failAndEnd) {
  const std::string text(10'000, 'x');
  const auto failOnThreads = [&](int count) {
    for (int i = 0; i < count; ++i) {
      OnNewThread([&] {
        NativeError::Store(text.c_str());
        NativeError::Store(text.c_str());
      });
    }
  };
  failOnThreads(10);
  const std::size_t before = AllocatedBytes();
  failOnThreads(500);
  Report(AllocatedBytes() < before + 50 * text.size() ? "as before" : "more");
}

TEST(GetNativeError, LeavesNothingOfThreadsThatEndWithoutReading) {
  ExpectReport("failAndEnd", {"as before"});
}

}  // namespace Ferrolink::Tests
