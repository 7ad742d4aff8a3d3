// Which reference to the receiver class, and which environment, serves which thread.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/jvm/LauncherFixture.h"

namespace FerrolinkTest {
namespace {

const std::string kEcho14 = "14: " + numbers(command());

}  // namespace

PROCESS_CASE(onlyStartingThreadSends) {
  Launched launched;
  for (int i = 0; i < 100; ++i) {
    launched.exchange(command(i % 2 == 0 ? 2 : 11));
  }
  launched.jvm.script().sendCommand.answer = FakeJvm::Answer::Throw;
  launched.send(command());
  report(launched.jvm.countCalls("FindClass"));
  report(launched.jvm.countCalls("NewGlobalRef"));
  report(outstanding(launched.jvm));
}

TEST(LauncherReceiverClass, WhereOnlyTheStartingThreadSendsNoGlobalReferenceExists) {
  expectReport("onlyStartingThreadSends", {"1", "0", kOnlyStarted});
}

PROCESS_CASE(manyThreadsSend) {
  Started started;
  onNewThreads(8, [&](int i) {
    for (int n = 0; n < 50; ++n) {
      const Bytes sent = command(2, static_cast<std::size_t>(20 + i));
      if (started.exchange(sent) != std::to_string(20 + i) + ": " + numbers(sent)) {
        report("wrong answer");
      }
    }
  });
  report(started.exchange(command()));
  report(started.jvm.countCalls("NewGlobalRef"));
  report(started.jvm.countCalls("DeleteGlobalRef"));
  report(outstanding(started.jvm));
}

TEST(LauncherReceiverClass, ManyOtherThreadsShareOneGlobalReference) {
  expectReport("manyThreadsSend", {kEcho14, "1", "0", kStartedAndShared});
}

PROCESS_CASE(manyThreadsStart) {
  Launched launched;
  onNewThreads(8, [&](int i) {
    const Bytes sent = command(2, static_cast<std::size_t>(20 + i));
    report(launched.exchange(sent) == std::to_string(20 + i) + ": " + numbers(sent));
  });
  report(static_cast<long>(launched.jvm.creations().size()));
  report(launched.jvm.countCalls("NewGlobalRef"));
  report(launched.jvm.countCalls("GetStaticMethodID"));
  report(launched.jvm.countCalls("CallStaticObjectMethodV(getRuntimeInfo)"));
  report(outstanding(launched.jvm));
}

TEST(LauncherReceiverClass, EightFirstCommandsAtOnceStartOneJvmAndFindOneReceiver) {
  expectReport("manyThreadsStart",
               joined({Texts(8, "1"), {"1", "1", "3", "1", kStartedAndShared}}));
}

PROCESS_CASE(sharingFails) {
  Started started;
  started.jvm.inject({.call = "NewGlobalRef", .occurrence = 1, .null = true});
  started.jvm.inject({.call = "NewGlobalRef", .occurrence = 2, .null = true, .exception = true});
  for (int i = 0; i < 4; ++i) {
    onNewThread([&] { report(started.exchange(command())); });
    report(outstanding(started.jvm));
  }
  report(started.jvm.countCalls("FindClass"));
  report(started.jvm.countCalls("NewGlobalRef"));
}

TEST(LauncherReceiverClass, WithoutAGlobalReferenceAThreadUsesItsOwnAndTheNextTriesAgain) {
  expectReport("sharingFails", {kEcho14, kOnlyStarted, kEcho14, kOnlyStarted, kEcho14,
                                kStartedAndShared, kEcho14, kStartedAndShared, "3", "3"});
}

PROCESS_CASE(ownLookUpFails) {
  Started started;
  started.jvm.inject({.call = "FindClass", .occurrence = 1, .null = true, .exception = true});
  // The error text's own look-up comes second.
  started.jvm.inject({.call = "FindClass", .occurrence = 3, .null = true});
  onNewThread([&] { report(started.exchange(command())); });
  report(outstanding(started.jvm));
}

TEST(LauncherReceiverClass, AnotherThreadThatCannotFindTheClassRaises033AndDescribesTheJvm) {
  expectReport("ownLookUpFails", {launcherError("033. JVM exception occurred"), kStartedAndShared});
}

PROCESS_CASE(ownLookUpYieldsNothing) {
  Started started;
  started.jvm.inject({.call = "FindClass", .occurrence = 0, .null = true});
  onNewThread([&] { report(started.exchange(command())); });
  report(outstanding(started.jvm));
  started.jvm.clearInjections();
  onNewThread([&] { report(started.exchange(command())); });
  report(outstanding(started.jvm));
}

TEST(LauncherReceiverClass, AnotherThreadThatIsGivenNoClassRaises007) {
  expectReport("ownLookUpYieldsNothing", {launcherError("007. \nReinstall Ferrolink package", ""),
                                          kOnlyStarted, kEcho14, kStartedAndShared});
}

PROCESS_CASE(environmentPassedOn) {
  Launched launched;
  JNIEnv* first = nullptr;
  onNewThread([&] {
    report(launched.exchange(command()));
    first = getJniEnvForThread(nullptr);
    launched.jvm.firstJvm()->DetachCurrentThread();
  });
  onNewThread([&] {
    JNIEnv* env = nullptr;
    launched.jvm.firstJvm()->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
    report(env == first);
    report(launched.exchange(command()));
    report(launched.launcher.GetRuntimeInfo());
    launched.jvm.firstJvm()->DetachCurrentThread();
  });
  report(launched.jvm.countCalls("NewGlobalRef"));
}

TEST(LauncherReceiverClass, ALaterThreadWithTheStartingThreadsEnvironmentIsNotTakenForIt) {
  expectReport("environmentPassedOn", {kEcho14, "1", kEcho14, runtimeInfo(), "1"});
}

PROCESS_CASE(startingThreadReattached) {
  Started started;
  JavaVM* vm = started.jvm.firstJvm();
  vm->DetachCurrentThread();
  report(started.exchange(command()));
  report(started.jvm.countCalls("NewGlobalRef"));
  report(started.jvm.countCalls("DetachCurrentThread"));
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  report(started.exchange(command()));
}

// The JVM hands the thread the environment of its first attachment again.
TEST(LauncherReceiverClass, AStartingThreadThatTheHostDetachedIsServedLikeAnyOther) {
  expectReport("startingThreadReattached", {kEcho14, "1", "2", kEcho14});
}

PROCESS_CASE(detachedThreadFails) {
  Started started;
  started.jvm.firstJvm()->DetachCurrentThread();
  started.jvm.script().sendCommand.answer = FakeJvm::Answer::Throw;
  report(started.exchange(command()));
  report(started.launcher.GetRuntimeInfo());
  report(outstanding(started.jvm));
}

TEST(LauncherReceiverClass, AStartingThreadThatTheHostDetachedStillGetsRuntimeInformation) {
  expectReport("detachedThreadFails",
               {launcherError("023. JVM exception occurred"), runtimeInfo(),
                "local 0 global 1 elements 0 characters 0 attached 1 dropped 1"});
}

PROCESS_CASE(detachedThreadAsksFirst) {
  Started started;
  started.jvm.firstJvm()->DetachCurrentThread();
  report(started.launcher.GetRuntimeInfo());
  report(started.exchange(command()));
}

TEST(LauncherReceiverClass, AStartingThreadThatTheHostDetachedMayAskForInformationFirst) {
  expectReport("detachedThreadAsksFirst", {runtimeInfo(), kEcho14});
}

PROCESS_CASE(startingThreadAmongOthers) {
  Started started;
  onNewThread([&] { started.exchange(command()); });
  JavaVM* vm = started.jvm.firstJvm();
  vm->DetachCurrentThread();
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  report(started.exchange(command()));
}

// Only where no other thread has sent yet can nobody tell that a host did both.
TEST(LauncherReceiverClass, OnceTheClassIsSharedTheStartingThreadUsesItToo) {
  expectReport("startingThreadAmongOthers", {kEcho14});
}

}  // namespace FerrolinkTest
