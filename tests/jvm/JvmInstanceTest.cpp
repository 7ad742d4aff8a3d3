#include "jvm/JvmInstance.h"

#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherParts.h"

namespace FerrolinkTest {
namespace {

void reportState(const JvmInstance& instance, JavaVM* expected) {
  report(instance.vm() == expected);
  report(instance.hasEnvironment());
  report(instance.version());
}

const std::string kVersion18 = std::to_string(0x10008);

}  // namespace

PROCESS_CASE(adoptsNothing) {
  InstanceFixture parts;
  report(parts.instance.adopt(nullptr));
  report(parts.instance.adopt(parts.getCreatedJavaVMs));
  reportState(parts.instance, nullptr);
}

TEST(JvmInstance, WithoutAJvmInTheProcessNoneIsAdopted) {
  expectReport("adoptsNothing", {"0", "0", "1", "0", "0"});
}

PROCESS_CASE(adopts) {
  InstanceFixture parts;
  JavaVM* running = parts.jvm.startJvm();
  {
    const JvmInstance::AdoptersAttachment attachment(parts.instance);
    report(parts.instance.adopt(parts.getCreatedJavaVMs));
    reportState(parts.instance, running);
    report(parts.instance.isStartingThread(PartsFixture::attach(running)));
    report(parts.jvm.counts().attachedThreads);
  }
  report(parts.jvm.counts().attachedThreads);
}

TEST(JvmInstance, AThreadThatAdoptionAttachedIsDetachedAndIsNoStartingThread) {
  expectReport("adopts", {"1", "1", "1", kVersion18, "0", "1", "0"});
}

PROCESS_CASE(adoptsAttached) {
  InstanceFixture parts;
  PartsFixture::attach(parts.jvm.startJvm());
  {
    const JvmInstance::AdoptersAttachment attachment(parts.instance);
    report(parts.instance.adopt(parts.getCreatedJavaVMs));
  }
  report(parts.jvm.counts().attachedThreads);
}

TEST(JvmInstance, AThreadThatWasAttachedBeforeItAdoptsStaysAttached) {
  expectReport("adoptsAttached", {"1", "1"});
}

PROCESS_CASE(adoptsUnlisted) {
  InstanceFixture parts;
  parts.jvm.startJvm();
  parts.jvm.script().unlistedJvms = 1;
  report(thrownBy([&] { parts.instance.adopt(parts.getCreatedJavaVMs); }));
  reportState(parts.instance, nullptr);
}

TEST(JvmInstance, AJvmThatEndsWhileItIsAskedForRaises018) {
  expectReport("adoptsUnlisted", {raised("018. JVM not initialized"), "1", "0", "0"});
}

PROCESS_CASE(creates) {
  InstanceFixture parts;
  parts.start();
  reportState(parts.instance, parts.jvm.firstJvm());
  report(parts.jvm.creations().at(0).thread == parts.jvm.currentThread());
  JNIEnv* env = PartsFixture::attach(parts.instance.vm());
  report(parts.instance.isStartingThread(env));
  report(parts.instance.isStartingThread(nullptr));
  onNewThread([&] { report(parts.instance.isStartingThread(env)); });
}

TEST(JvmInstance, AJvmIsCreatedOnAThreadOfItsOwnAndTheCallersThreadIsTheStartingOne) {
  expectReport("creates", {"1", "1", kVersion18, "0", "1", "0", "0"});
}

PROCESS_CASE(startingThreadIsDetached) {
  InstanceFixture parts;
  parts.start();
  parts.instance.vm()->DetachCurrentThread();
  {
    const ThreadJniEnv thread(parts.instance.vm());
    report(parts.instance.isStartingThread(thread.m_jniEnv));
    parts.instance.noteAttachment(thread);
    report(parts.instance.isStartingThread(thread.m_jniEnv));
  }
  PartsFixture::attach(parts.instance.vm());  // the process's holder detaches it again
}

TEST(JvmInstance, AStartingThreadThatHadToBeAttachedAgainIsOneNoMore) {
  expectReport("startingThreadIsDetached", {"1", "0"});
}

PROCESS_CASE(createFails) {
  for (const jint result :
       {JNI_ERR, JNI_EDETACHED, JNI_EVERSION, JNI_ENOMEM, JNI_EEXIST, JNI_EINVAL, -7, JNI_OK}) {
    InstanceFixture parts;
    parts.jvm.script().createResult = result;
    JavaVMInitArgs arguments{};
    arguments.version = JNI_VERSION_1_8;
    parts.instance.create(parts.createJavaVM, &arguments);
    report(thrownBy([&] { parts.instance.raiseCreateError(); }));
  }
}

TEST(JvmInstance, EachErrorOfCreationHasItsCode) {
  expectReport("createFails",
               {raised("011"), raised("012"), raised("013"), raised("014"), raised("015"),
                raised("016"), "(nothing thrown)", "(nothing thrown)"});
}

PROCESS_CASE(locksStartUp) {
  InstanceFixture parts;
  report(parts.instance.isStartingUpHere());
  {
    const JvmInstance::StartUpLock lock(parts.instance);
    report(parts.instance.isStartingUpHere());
    onNewThread([&] { report(parts.instance.isStartingUpHere()); });
  }
  report(parts.instance.isStartingUpHere());
  onNewThread([&] {
    const JvmInstance::StartUpLock lock(parts.instance);
    report(parts.instance.isStartingUpHere());
  });
}

TEST(JvmInstance, TheStartUpLockIsKnownToBeHeldOnlyByTheThreadThatHoldsIt) {
  expectReport("locksStartUp", {"0", "1", "0", "0", "1"});
}

PROCESS_CASE(binds) {
  InstanceFixture parts;
  report(parts.instance.bind());
  callbackJavaVM = parts.jvm.startJvm();
  report(parts.instance.bind());
  report(parts.instance.vm() == callbackJavaVM);
  JavaVM* bound = callbackJavaVM.exchange(nullptr);
  report(parts.instance.bind());
  report(parts.instance.vm() == bound);
  report(static_cast<long>(parts.jvm.calls().size()));
}

TEST(JvmInstance, TheJvmOfACallbackIsBoundOnceAndWithoutAnyCallOfJni) {
  expectReport("binds", {"0", "1", "1", "1", "1", "0"});
}

PROCESS_CASE(destroys) {
  InstanceFixture created;
  created.start();
  InstanceFixture adopted;
  adopted.instance.adopt(adopted.getCreatedJavaVMs);
  adopted.instance.destroy();
  report(created.jvm.countCalls("DestroyJavaVM"));
  created.instance.destroy();
  report(created.jvm.countCalls("DestroyJavaVM"));
}

TEST(JvmInstance, OnlyAJvmThatItCreatedIsDestroyed) {
  expectReport("destroys", {"0", "1"});
}

}  // namespace FerrolinkTest
