// The launcher that adopts the JVM of a Java host and calls its callback.
#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
namespace {

const std::string kEcho14 = "14: " + numbers(command());
// The one global reference is the class of byte[].
const std::string kByteArrayClass = "local 0 global 1 elements 0 characters 0 attached 0 dropped 0";
const std::string kNoJvm = launcherError("018. JVM not initialized", "", "");
const std::string kNoCallback = launcherError("032. Java callback is not set", "", "");

struct Binding : Launched {
  Binding() : Launched(RuntimeOperationMode::CallingRuntime) {}

  void registerJvm() { callbackJavaVM = jvm.startJvm(); }
  void registerCallback() {
    registerJvm();
    jobject object = nullptr;
    jmethodID method = nullptr;
    jvm.makeCallback(object, method);
    sendCommandCallbackObject = object;
    sendCommandCallbackMethod = method;
  }
};

}  // namespace

PROCESS_CASE(nothingRegistered) {
  Binding binding;
  report(binding.launcher.TryBindToCallingRuntimeJavaVm());
  report(binding.send(command()));
  report(binding.send(command(1)));
  report(static_cast<long>(binding.jvm.calls().size()));
}

TEST(Binding, WithoutARegisteredJvmCode018IsRaised) {
  expectReport("nothingRegistered", {"0", kNoJvm, kNoJvm, "0"});
}

PROCESS_CASE(callbackMissing) {
  Binding binding;
  binding.registerCallback();
  jobject object = sendCommandCallbackObject.exchange(nullptr);
  report(binding.send(command()));
  sendCommandCallbackObject = object;
  jmethodID method = sendCommandCallbackMethod.exchange(nullptr);
  report(binding.send(command()));
  sendCommandCallbackObject = nullptr;
  report(binding.send(command()));
  report(binding.launcher.TryBindToCallingRuntimeJavaVm());
  sendCommandCallbackObject = object;
  sendCommandCallbackMethod = method;
  report(binding.exchange(command()));
}

TEST(Binding, WithoutAWholeCallbackCode032IsRaisedEvenThoughTheJvmIsBound) {
  expectReport("callbackMissing", {kNoCallback, kNoCallback, kNoCallback, "1", kEcho14});
}

PROCESS_CASE(boundByInitialize) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* first = jvm.startJvm();
  callbackJavaVM = first;
  JvmLauncher launcher(RuntimeOperationMode::CallingRuntime);
  launcher.Initialize(0);
  callbackJavaVM = nullptr;
  report(launcher.TryBindToCallingRuntimeJavaVm());
  report(static_cast<long>(jvm.calls().size()));
}

TEST(Binding, InitializeAdoptsTheRegisteredJvmForGoodWithoutAJniCall) {
  expectReport("boundByInitialize", {"1", "0"});
}

PROCESS_CASE(registeredLater) {
  Binding binding;
  report(binding.send(command()));
  binding.registerCallback();
  report(binding.exchange(command()));
}

TEST(Binding, ACommandBindsWhereTheJvmWasRegisteredAfterInitialize) {
  expectReport("registeredLater", {kNoJvm, kEcho14});
}

PROCESS_CASE(callbackCommand) {
  Binding binding;
  binding.registerCallback();
  report(binding.exchange(command()));
  reportAll(binding.jvm.calls());
  report(outstanding(binding.jvm));
  JNIEnv* env = nullptr;
  JavaVM* vm = binding.jvm.firstJvm();
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  binding.jvm.clearCalls();
  report(binding.exchange(command()));
  reportAll(binding.jvm.calls());
}

TEST(Binding, ACommandMakesTheseCallsInThisOrder) {
  const Texts call = joined({makeArrayCalls(14), callJavaCalls("apply")});
  const Texts answer = joined({{"IsInstanceOf"}, storeResponseCalls(), deletions(2)});
  const Texts findClass = {"FindClass([B)", "NewGlobalRef", "ExceptionCheck", "DeleteLocalRef"};
  expectReport("callbackCommand",
               joined({{kEcho14, "GetEnv(1.8)", "AttachCurrentThread"},
                       call,
                       findClass,
                       answer,
                       {"DetachCurrentThread", kByteArrayClass, kEcho14, "GetEnv(1.8)"},
                       call,
                       answer}));
}

PROCESS_CASE(everyTypeToCallback) {
  Binding binding;
  binding.registerCallback();
  for (int type = 0; type < 256; ++type) {
    binding.exchange(command(static_cast<std::uint8_t>(type)));
  }
  binding.exchange(filled(5, 1));
  binding.exchange(filled(0, 1));
  report(binding.exchange(loadLibraryCommand("/")));
  report(binding.jvm.countCalls("CallObjectMethodV(apply)"));
  report(binding.jvm.countCalls("FindClass"));
  report(binding.launcher.GetRuntimeInfo());
}

TEST(Binding, EveryCommandOfWhateverTypeGoesToTheCallback) {
  expectReport("everyTypeToCallback",
               {"25: " + numbers(loadLibraryCommand("/")), "259", "1", runtimeInfo("", "")});
}

PROCESS_CASE(managedPartWhileBinding) {
  Binding binding;
  binding.registerCallback();
  binding.exchange(command());
  binding.launcher.AddToLibrariesToLoad("/proc/self/status");
  report(binding.launcher.GetRuntimeInfo());
  report(binding.launcher.GetRuntimeInfoFromManagedRuntime());
  report(binding.jvm.countCalls("CallStaticObjectMethodV"));
  report(binding.launcher.GetVersion());
  report(binding.launcher.GetVersionString());
}

TEST(Binding, TheRuntimeInformationHasNoManagedPart) {
  expectReport(
      "managedPartWhileBinding",
      {"Loaded custom libraries:\n/proc/self/status\n" + runtimeInfo("", ""), "", "0", "0", "0.0"});
}

PROCESS_CASE(textWhileBinding) {
  Binding binding;
  binding.registerCallback();
  binding.jvm.script().apply.answer = FakeJvm::Answer::Text;
  report(binding.send(command()));
  binding.jvm.script().apply.answer = FakeJvm::Answer::Echo;
  report(binding.exchange(command()));
  report(binding.jvm.countCalls("IsInstanceOf"));
}

// The callback is there, the class of byte[] is not known yet.
TEST(Binding, AnAnswerIsNotTakenForAByteArrayBeforeTheJvmSaysSo) {
  expectReport("textWhileBinding",
               {launcherError("025. Failed to get callback response bytes", "", ""), kEcho14, "2"});
}

PROCESS_CASE(threadsWhileBinding) {
  Binding binding;
  binding.registerCallback();
  onNewThreads(8, [&](int i) {
    const Bytes sent = command(2, static_cast<std::size_t>(20 + i));
    for (int n = 0; n < 20; ++n) {
      if (binding.exchange(sent) != std::to_string(20 + i) + ": " + numbers(sent)) {
        report("wrong answer");
      }
    }
  });
  report(binding.jvm.countCalls("AttachCurrentThread"));
  report(binding.jvm.countCalls("DetachCurrentThread"));
  report(outstanding(binding.jvm));
}

TEST(Binding, ManyThreadsCallTheCallbackEachAttachedForItsCommand) {
  expectReport("threadsWhileBinding", {"160", "160", kByteArrayClass});
}

PROCESS_CASE(threadRefusedWhileBinding) {
  Binding binding;
  binding.registerCallback();
  binding.jvm.inject({.call = "AttachCurrentThread", .occurrence = 1, .result = -1});
  report(binding.send(command()));
  report(binding.exchange(command()));
}

TEST(Binding, AThreadThatCannotBeAttachedRaises019) {
  expectReport("threadRefusedWhileBinding",
               {launcherError("019. Failed to attach thread to JVM", "", ""), kEcho14});
}

PROCESS_CASE(initializeJvmWhileBinding) {
  Binding binding;
  binding.registerCallback();
  binding.exchange(command());
  report(thrownBy([&] { binding.launcher.InitializeJvm(); }));
  report(binding.jvm.countCalls("JNI_"));
}

TEST(Binding, NoCommandStartsOrLooksForAJvm) {
  expectReport(
      "initializeJvmWhileBinding",
      {launcherError("005. Cannot get m_JvmEnv.\nReinstall Ferrolink package", "", ""), "0"});
}

}  // namespace FerrolinkTest
