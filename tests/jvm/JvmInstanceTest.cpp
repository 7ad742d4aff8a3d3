#include "jvm/JvmInstance.h"

#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherParts.h"

namespace Ferrolink::Tests {

using Ferrolink::Runtimes::Jvm::Native::JvmInstance;
namespace {

void ReportState(const JvmInstance& instance, JavaVM* expected) {
  Report(instance.Vm() == expected);
  Report(instance.HasEnvironment());
  Report(instance.Version());
}

const std::string kVersion18 = std::to_string(0x10008);

}  // namespace

PROCESS_CASE(adoptsNothing) {
  InstanceFixture parts;
  Report(parts.instance.Adopt(nullptr));
  Report(parts.instance.Adopt(parts.getCreatedJavaVMs));
  ReportState(parts.instance, nullptr);
}

TEST(JvmInstance, WithoutAJvmInTheProcessNoneIsAdopted) {
  ExpectReport("adoptsNothing", {"0", "0", "1", "0", "0"});
}

PROCESS_CASE(adopts) {
  InstanceFixture parts;
  JavaVM* running = parts.jvm.StartJvm();
  {
    const JvmInstance::AdoptersAttachment attachment(parts.instance);
    Report(parts.instance.Adopt(parts.getCreatedJavaVMs));
    ReportState(parts.instance, running);
    Report(parts.instance.IsStartingThread(PartsFixture::Attach(running)));
    Report(parts.jvm.Counts().attachedThreads);
  }
  Report(parts.jvm.Counts().attachedThreads);
}

TEST(JvmInstance, AThreadThatAdoptionAttachedIsDetachedAndIsNoStartingThread) {
  ExpectReport("adopts", {"1", "1", "1", kVersion18, "0", "1", "0"});
}

PROCESS_CASE(adoptsAttached) {
  InstanceFixture parts;
  PartsFixture::Attach(parts.jvm.StartJvm());
  {
    const JvmInstance::AdoptersAttachment attachment(parts.instance);
    Report(parts.instance.Adopt(parts.getCreatedJavaVMs));
  }
  Report(parts.jvm.Counts().attachedThreads);
}

TEST(JvmInstance, AThreadThatWasAttachedBeforeItAdoptsStaysAttached) {
  ExpectReport("adoptsAttached", {"1", "1"});
}

PROCESS_CASE(adoptsUnlisted) {
  InstanceFixture parts;
  parts.jvm.StartJvm();
  parts.jvm.Script().unlistedJvms = 1;
  Report(ThrownBy([&] { parts.instance.Adopt(parts.getCreatedJavaVMs); }));
  ReportState(parts.instance, nullptr);
}

TEST(JvmInstance, AJvmThatEndsWhileItIsAskedForRaises018) {
  ExpectReport("adoptsUnlisted", {Raised("018. JVM not initialized"), "1", "0", "0"});
}

PROCESS_CASE(creates) {
  InstanceFixture parts;
  parts.Start();
  ReportState(parts.instance, parts.jvm.FirstJvm());
  Report(parts.jvm.Creations().at(0).thread == parts.jvm.CurrentThread());
  JNIEnv* env = PartsFixture::Attach(parts.instance.Vm());
  Report(parts.instance.IsStartingThread(env));
  Report(parts.instance.IsStartingThread(nullptr));
  OnNewThread([&] { Report(parts.instance.IsStartingThread(env)); });
}

TEST(JvmInstance, AJvmIsCreatedOnAThreadOfItsOwnAndTheCallersThreadIsTheStartingOne) {
  ExpectReport("creates", {"1", "1", kVersion18, "0", "1", "0", "0"});
}

PROCESS_CASE(startingThreadIsDetached) {
  InstanceFixture parts;
  parts.Start();
  parts.instance.Vm()->DetachCurrentThread();
  {
    const ThreadJniEnv thread(parts.instance.Vm());
    Report(parts.instance.IsStartingThread(thread.m_jniEnv));
    parts.instance.NoteAttachment(thread);
    Report(parts.instance.IsStartingThread(thread.m_jniEnv));
  }
  PartsFixture::Attach(parts.instance.Vm());  // the process's holder detaches it again
}

TEST(JvmInstance, AStartingThreadThatHadToBeAttachedAgainIsOneNoMore) {
  ExpectReport("startingThreadIsDetached", {"1", "0"});
}

PROCESS_CASE(createFails) {
  for (const jint result :
       {JNI_ERR, JNI_EDETACHED, JNI_EVERSION, JNI_ENOMEM, JNI_EEXIST, JNI_EINVAL, -7, JNI_OK}) {
    InstanceFixture parts;
    parts.jvm.Script().createResult = result;
    JavaVMInitArgs arguments{};
    arguments.version = JNI_VERSION_1_8;
    parts.instance.Create(parts.createJavaVM, &arguments);
    Report(ThrownBy([&] { parts.instance.RaiseCreateError(); }));
  }
}

TEST(JvmInstance, EachErrorOfCreationHasItsCode) {
  ExpectReport("createFails",
               {Raised("011"), Raised("012"), Raised("013"), Raised("014"), Raised("015"),
                Raised("016"), "(nothing thrown)", "(nothing thrown)"});
}

PROCESS_CASE(locksStartUp) {
  InstanceFixture parts;
  Report(parts.instance.IsStartingUpHere());
  {
    const JvmInstance::StartUpLock lock(parts.instance);
    Report(parts.instance.IsStartingUpHere());
    OnNewThread([&] { Report(parts.instance.IsStartingUpHere()); });
  }
  Report(parts.instance.IsStartingUpHere());
  OnNewThread([&] {
    const JvmInstance::StartUpLock lock(parts.instance);
    Report(parts.instance.IsStartingUpHere());
  });
}

TEST(JvmInstance, TheStartUpLockIsKnownToBeHeldOnlyByTheThreadThatHoldsIt) {
  ExpectReport("locksStartUp", {"0", "1", "0", "0", "1"});
}

PROCESS_CASE(binds) {
  InstanceFixture parts;
  Report(parts.instance.Bind());
  callbackJavaVM = parts.jvm.StartJvm();
  Report(parts.instance.Bind());
  Report(parts.instance.Vm() == callbackJavaVM);
  JavaVM* bound = callbackJavaVM.exchange(nullptr);
  Report(parts.instance.Bind());
  Report(parts.instance.Vm() == bound);
  Report(static_cast<long>(parts.jvm.Calls().size()));
}

TEST(JvmInstance, TheJvmOfACallbackIsBoundOnceAndWithoutAnyCallOfJni) {
  ExpectReport("binds", {"0", "1", "1", "1", "1", "0"});
}

PROCESS_CASE(destroys) {
  InstanceFixture created;
  created.Start();
  InstanceFixture adopted;
  adopted.instance.Adopt(adopted.getCreatedJavaVMs);
  adopted.instance.Destroy();
  Report(created.jvm.CountCalls("DestroyJavaVM"));
  created.instance.Destroy();
  Report(created.jvm.CountCalls("DestroyJavaVM"));
}

TEST(JvmInstance, OnlyAJvmThatItCreatedIsDestroyed) {
  ExpectReport("destroys", {"0", "1"});
}

namespace {

/// From now on the JVM refuses to attach threads.
void RefuseThreads(FakeJvmClient& jvm) {
  jvm.Inject({.call = "AttachCurrentThread", .occurrence = 0, .result = JNI_ERR});
  jvm.Script().environmentDespiteRefusal = true;
}

}  // namespace

PROCESS_CASE(adoptionIsRefused) {
  InstanceFixture parts;
  JavaVM* running = parts.jvm.StartJvm();
  RefuseThreads(parts.jvm);
  {
    const JvmInstance::AdoptersAttachment attachment(parts.instance);
    Report(parts.instance.Adopt(parts.getCreatedJavaVMs));
  }
  ReportState(parts.instance, running);
  Report(parts.jvm.CountCalls("DetachCurrentThread"));
}

TEST(JvmInstance, AnAdopterThatTheJvmRefusesHasNoEnvironmentWhateverTheJvmLeaves) {
  ExpectReport("adoptionIsRefused", {"1", "1", "0", "0", "0"});
}

PROCESS_CASE(startingThreadIsRefused) {
  InstanceFixture parts;
  JavaVMInitArgs arguments{};
  arguments.version = JNI_VERSION_1_8;
  JvmInstance::RunStartUpThread([&] { parts.instance.Create(parts.createJavaVM, &arguments); });
  OnNewThread([&] { getJniEnvForThread(parts.instance.Vm()); });
  RefuseThreads(parts.jvm);
  parts.instance.AttachStartingThread();
  ReportState(parts.instance, parts.jvm.FirstJvm());
}

TEST(JvmInstance, AStartingThreadThatTheJvmRefusesHasNoEnvironmentWhateverTheJvmLeaves) {
  ExpectReport("startingThreadIsRefused", {"1", "0", "0"});
}

}  // namespace Ferrolink::Tests
