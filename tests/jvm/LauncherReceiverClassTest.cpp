// Which reference to the receiver class, and which environment, serves which thread.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/jvm/LauncherFixture.h"

namespace Ferrolink::Tests {
namespace {

const std::string kEcho14 = "14: " + Numbers(Command());

}  // namespace

PROCESS_CASE(onlyStartingThreadSends) {
  Launched launched;
  for (int i = 0; i < 100; ++i) {
    launched.Exchange(Command(i % 2 == 0 ? 2 : 11));
  }
  launched.jvm.Script().sendCommand.answer = FakeJvm::Answer::Throw;
  launched.Send(Command());
  Report(launched.jvm.CountCalls("FindClass"));
  Report(launched.jvm.CountCalls("NewGlobalRef"));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherReceiverClass, WhereOnlyTheStartingThreadSendsNoGlobalReferenceExists) {
  ExpectReport("onlyStartingThreadSends", {"1", "0", kOnlyStarted});
}

PROCESS_CASE(manyThreadsSend) {
  Started started;
  OnNewThreads(8, [&](int i) {
    for (int n = 0; n < 50; ++n) {
      const Bytes sent = Command(2, static_cast<std::size_t>(20 + i));
      if (started.Exchange(sent) != std::to_string(20 + i) + ": " + Numbers(sent)) {
        Report("wrong answer");
      }
    }
  });
  Report(started.Exchange(Command()));
  Report(started.jvm.CountCalls("NewGlobalRef"));
  Report(started.jvm.CountCalls("DeleteGlobalRef"));
  Report(Outstanding(started.jvm));
}

TEST(LauncherReceiverClass, ManyOtherThreadsShareOneGlobalReference) {
  ExpectReport("manyThreadsSend", {kEcho14, "1", "0", kStartedAndShared});
}

PROCESS_CASE(manyThreadsStart) {
  Launched launched;
  OnNewThreads(8, [&](int i) {
    const Bytes sent = Command(2, static_cast<std::size_t>(20 + i));
    Report(launched.Exchange(sent) == std::to_string(20 + i) + ": " + Numbers(sent));
  });
  Report(static_cast<long>(launched.jvm.Creations().size()));
  Report(launched.jvm.CountCalls("NewGlobalRef"));
  Report(launched.jvm.CountCalls("GetStaticMethodID"));
  Report(launched.jvm.CountCalls("CallStaticObjectMethodV(getRuntimeInfo)"));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherReceiverClass, EightFirstCommandsAtOnceStartOneJvmAndFindOneReceiver) {
  ExpectReport("manyThreadsStart",
               Joined({Texts(8, "1"), {"1", "1", "3", "1", kStartedAndShared}}));
}

PROCESS_CASE(sharingFails) {
  Started started;
  started.jvm.Inject({.call = "NewGlobalRef", .occurrence = 1, .null = true});
  started.jvm.Inject({.call = "NewGlobalRef", .occurrence = 2, .null = true, .exception = true});
  for (int i = 0; i < 4; ++i) {
    OnNewThread([&] { Report(started.Exchange(Command())); });
    Report(Outstanding(started.jvm));
  }
  Report(started.jvm.CountCalls("FindClass"));
  Report(started.jvm.CountCalls("NewGlobalRef"));
}

TEST(LauncherReceiverClass, WithoutAGlobalReferenceAThreadUsesItsOwnAndTheNextTriesAgain) {
  ExpectReport("sharingFails", {kEcho14, kOnlyStarted, kEcho14, kOnlyStarted, kEcho14,
                                kStartedAndShared, kEcho14, kStartedAndShared, "3", "3"});
}

PROCESS_CASE(ownLookUpFails) {
  Started started;
  started.jvm.Inject({.call = "FindClass", .occurrence = 1, .null = true, .exception = true});
  // The error text's own look-up comes second.
  started.jvm.Inject({.call = "FindClass", .occurrence = 3, .null = true});
  OnNewThread([&] { Report(started.Exchange(Command())); });
  Report(Outstanding(started.jvm));
}

TEST(LauncherReceiverClass, AnotherThreadThatCannotFindTheClassRaises033AndDescribesTheJvm) {
  ExpectReport("ownLookUpFails", {LauncherError("033. JVM exception occurred"), kStartedAndShared});
}

PROCESS_CASE(ownLookUpYieldsNothing) {
  Started started;
  started.jvm.Inject({.call = "FindClass", .occurrence = 0, .null = true});
  OnNewThread([&] { Report(started.Exchange(Command())); });
  Report(Outstanding(started.jvm));
  started.jvm.ClearInjections();
  OnNewThread([&] { Report(started.Exchange(Command())); });
  Report(Outstanding(started.jvm));
}

TEST(LauncherReceiverClass, AnotherThreadThatIsGivenNoClassRaises007) {
  ExpectReport("ownLookUpYieldsNothing", {LauncherError("007. \nReinstall Ferrolink package", ""),
                                          kOnlyStarted, kEcho14, kStartedAndShared});
}

PROCESS_CASE(environmentPassedOn) {
  Launched launched;
  JNIEnv* first = nullptr;
  OnNewThread([&] {
    Report(launched.Exchange(Command()));
    first = getJniEnvForThread(nullptr);
    launched.jvm.FirstJvm()->DetachCurrentThread();
  });
  OnNewThread([&] {
    JNIEnv* env = nullptr;
    launched.jvm.FirstJvm()->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
    Report(env == first);
    Report(launched.Exchange(Command()));
    Report(launched.launcher.GetRuntimeInfo());
    launched.jvm.FirstJvm()->DetachCurrentThread();
  });
  Report(launched.jvm.CountCalls("NewGlobalRef"));
}

TEST(LauncherReceiverClass, ALaterThreadWithTheStartingThreadsEnvironmentIsNotTakenForIt) {
  ExpectReport("environmentPassedOn", {kEcho14, "1", kEcho14, RuntimeInfo(), "1"});
}

PROCESS_CASE(startingThreadReattached) {
  Started started;
  JavaVM* vm = started.jvm.FirstJvm();
  vm->DetachCurrentThread();
  Report(started.Exchange(Command()));
  Report(started.jvm.CountCalls("NewGlobalRef"));
  Report(started.jvm.CountCalls("DetachCurrentThread"));
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  Report(started.Exchange(Command()));
}

// The JVM hands the thread the environment of its first attachment again.
TEST(LauncherReceiverClass, AStartingThreadThatTheHostDetachedIsServedLikeAnyOther) {
  ExpectReport("startingThreadReattached", {kEcho14, "1", "2", kEcho14});
}

PROCESS_CASE(detachedThreadFails) {
  Started started;
  started.jvm.FirstJvm()->DetachCurrentThread();
  started.jvm.Script().sendCommand.answer = FakeJvm::Answer::Throw;
  Report(started.Exchange(Command()));
  Report(started.launcher.GetRuntimeInfo());
  Report(Outstanding(started.jvm));
}

TEST(LauncherReceiverClass, AStartingThreadThatTheHostDetachedStillGetsRuntimeInformation) {
  ExpectReport("detachedThreadFails",
               {LauncherError("023. JVM exception occurred"), RuntimeInfo(),
                "local 0 global 1 elements 0 characters 0 attached 1 dropped 1"});
}

PROCESS_CASE(detachedThreadAsksFirst) {
  Started started;
  started.jvm.FirstJvm()->DetachCurrentThread();
  Report(started.launcher.GetRuntimeInfo());
  Report(started.Exchange(Command()));
}

TEST(LauncherReceiverClass, AStartingThreadThatTheHostDetachedMayAskForInformationFirst) {
  ExpectReport("detachedThreadAsksFirst", {RuntimeInfo(), kEcho14});
}

PROCESS_CASE(startingThreadAmongOthers) {
  Started started;
  OnNewThread([&] { started.Exchange(Command()); });
  JavaVM* vm = started.jvm.FirstJvm();
  vm->DetachCurrentThread();
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  Report(started.Exchange(Command()));
}

// Only where no other thread has sent yet can nobody tell that a host did both.
TEST(LauncherReceiverClass, OnceTheClassIsSharedTheStartingThreadUsesItToo) {
  ExpectReport("startingThreadAmongOthers", {kEcho14});
}

}  // namespace Ferrolink::Tests
