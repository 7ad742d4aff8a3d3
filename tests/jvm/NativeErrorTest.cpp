// Which failure's text TransmitterWrapper.getNativeError hands to which thread.
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <barrier>

#include "jvm/NativeError.h"
#include "tests/jvm/JavaHost.h"

namespace FerrolinkTest {
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
const std::array<Failure, 4>& failures() {
  static const std::array<Failure, 4> all = {{
      {[](const JavaThread& thread) { return thread.sendCommand(nullptr); }, kNullArray},
      {[](const JavaThread& thread) { return thread.setWorkingDirectory(nullptr); }, kNullString},
      {[](const JavaThread& thread) { return thread.readResponse(thread.array({8})); }, kNoChannel},
      {[](const JavaThread& thread) {
         return thread.sendCommand(thread.array({8, 3, 9, 0, 0, 0, 0, 0, 0, 2, 2}));
       },
       kNoSuchChannel},
  }};
  return all;
}

const Failure& failureOf(int thread) {
  return failures().at(static_cast<std::size_t>(thread) % failures().size());
}

// Threads fail one after the other, and then read.
std::string readAfterOthers(const JavaHost& java, int own, std::barrier<>& all) {
  const JavaThread thread(java.vm);
  all.arrive_and_wait();
  failureOf(own).fail(thread);
  all.arrive_and_wait();
  return thread.nativeError();
}

/// A thread that fails in the destructor of a key of its own, when its thread-locals are gone.
struct LateFailure {
  JavaVM* vm;
  std::string text;
};

void failLate(void* data) {
  auto* late = static_cast<LateFailure*>(data);
  const JavaThread thread(late->vm);
  failures()[0].fail(thread);
  onNewThread([&] { failures()[1].fail(JavaThread(late->vm)); });
  late->text = thread.nativeError();
}

std::size_t allocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

}  // namespace

PROCESS_CASE(failOnManyThreads) {
  const JavaHost java;
  constexpr int kRounds = 50;
  std::barrier all(kThreads);
  std::atomic<long> own{0};
  for (int round = 0; round < kRounds; ++round) {
    onNewThreads(kThreads,
                 [&](int i) { own += readAfterOthers(java, i, all) == failureOf(i).text ? 1 : 0; });
  }
  report(own.load());
}

TEST(GetNativeError, HandsEachThreadTheTextOfItsOwnFailureHoweverManyFailMeanwhile) {
  CallerTree siblings;
  siblings.expect("failOnManyThreads", {"400"});
}

PROCESS_CASE(readOnce) {
  const JavaHost java;
  failures()[0].fail(java.thread);
  failures()[1].fail(java.thread);
  onNewThread([&] { failures()[2].fail(JavaThread(java.vm)); });
  report(java.thread.outcome(java.thread.sendCommand(java.thread.array({}))));
  report(java.thread.nativeError());
  report(java.thread.nativeError());
  onNewThread([&] { report(JavaThread(java.vm).nativeError()); });
  failures()[0].fail(java.thread);
  report(java.thread.nativeError());
}

TEST(GetNativeError, HandsAThreadItsOwnLastTextOnceAndThenTheProcesssLast) {
  CallerTree siblings;
  siblings.expect("readOnce", {"0", kNullString, kNoChannel, kNoChannel, kNullArray});
}

PROCESS_CASE(registerBadly) {
  JavaHost java;
  java.thread.setCallback(java.jvm.makeObject(false));
  onNewThread([&] { failures()[0].fail(JavaThread(java.vm)); });
  report(java.thread.nativeError());
}

TEST(GetNativeError, KeepsTheTextOfARegistrationThatFailedForItsThread) {
  CallerTree siblings;
  siblings.expect("registerBadly",
                  {"JVM Lib: Exception code 008. Callback must expose apply(Object)->Object"});
}

PROCESS_CASE(readOwnWithoutAString) {
  JavaHost java;
  failures()[0].fail(java.thread);
  onNewThread([&] { failures()[1].fail(JavaThread(java.vm)); });
  java.jvm.inject({.call = "NewStringUTF", .occurrence = 1, .null = true, .exception = true});
  for (int i = 0; i < 3; ++i) {
    report(java.thread.nativeError());
  }
}

TEST(GetNativeError, KeepsAThreadsOwnTextUntilThereIsAStringForIt) {
  CallerTree siblings;
  siblings.expect("readOwnWithoutAString", {"(null)", kNullArray, kNullString});
}

PROCESS_CASE(failInDestructors) {
  const JavaHost java;
  LateFailure late{java.vm, ""};
  pthread_key_t key = 0;
  report(pthread_key_create(&key, failLate));
  onNewThread([&] {
    failures()[2].fail(JavaThread(java.vm));
    report(pthread_setspecific(key, &late));
  });
  report(late.text);
  onNewThread([&] { report(JavaThread(java.vm).nativeError()); });
}

TEST(GetNativeError, HandsAThreadThatFailsWhileItEndsItsOwnText) {
  CallerTree siblings;
  siblings.expect("failInDestructors", {"0", "0", kNullArray, kNullString});
}

PROCESS_CASE(failAndEnd) {
  const std::string text(10'000, 'x');
  const auto failOnThreads = [&](int count) {
    for (int i = 0; i < count; ++i) {
      onNewThread([&] {
        NativeError::store(text.c_str());
        NativeError::store(text.c_str());
      });
    }
  };
  failOnThreads(10);
  const std::size_t before = allocatedBytes();
  failOnThreads(500);
  report(allocatedBytes() < before + 50 * text.size() ? "as before" : "more");
}

TEST(GetNativeError, LeavesNothingOfThreadsThatEndWithoutReading) {
  expectReport("failAndEnd", {"as before"});
}

}  // namespace FerrolinkTest
