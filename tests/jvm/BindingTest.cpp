// The launcher that adopts the JVM of a Java host and calls its callback.
#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

const std::string kEcho14 = "14: " + Numbers(Command());
// The one global reference is the class of byte[].
const std::string kByteArrayClass = "local 0 global 1 elements 0 characters 0 attached 0 dropped 0";
const std::string kNoJvm = LauncherError("018. JVM not initialized", "", "");
const std::string kNoCallback = LauncherError("032. Java callback is not set", "", "");

struct Binding : Launched {
  Binding() : Launched(RuntimeOperationMode::CallingRuntime) {}

  void RegisterJvm() { callbackJavaVM = jvm.StartJvm(); }
  void RegisterCallback() {
    RegisterJvm();
    jobject object = nullptr;
    jmethodID method = nullptr;
    jvm.MakeCallback(object, method);
    sendCommandCallbackObject = object;
    sendCommandCallbackMethod = method;
  }
};

}  // namespace

PROCESS_CASE(nothingRegistered) {
  Binding binding;
  Report(binding.launcher.TryBindToCallingRuntimeJavaVm());
  Report(binding.Send(Command()));
  Report(binding.Send(Command(1)));
  Report(static_cast<long>(binding.jvm.Calls().size()));
}

TEST(Binding, WithoutARegisteredJvmCode018IsRaised) {
  ExpectReport("nothingRegistered", {"0", kNoJvm, kNoJvm, "0"});
}

PROCESS_CASE(callbackMissing) {
  Binding binding;
  binding.RegisterCallback();
  jobject object = sendCommandCallbackObject.exchange(nullptr);
  Report(binding.Send(Command()));
  sendCommandCallbackObject = object;
  jmethodID method = sendCommandCallbackMethod.exchange(nullptr);
  Report(binding.Send(Command()));
  sendCommandCallbackObject = nullptr;
  Report(binding.Send(Command()));
  Report(binding.launcher.TryBindToCallingRuntimeJavaVm());
  sendCommandCallbackObject = object;
  sendCommandCallbackMethod = method;
  Report(binding.Exchange(Command()));
}

TEST(Binding, WithoutAWholeCallbackCode032IsRaisedEvenThoughTheJvmIsBound) {
  ExpectReport("callbackMissing", {kNoCallback, kNoCallback, kNoCallback, "1", kEcho14});
}

PROCESS_CASE(boundByInitialize) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* first = jvm.StartJvm();
  callbackJavaVM = first;
  JvmLauncher launcher(RuntimeOperationMode::CallingRuntime);
  launcher.Initialize(0);
  callbackJavaVM = nullptr;
  Report(launcher.TryBindToCallingRuntimeJavaVm());
  Report(static_cast<long>(jvm.Calls().size()));
}

TEST(Binding, InitializeAdoptsTheRegisteredJvmForGoodWithoutAJniCall) {
  ExpectReport("boundByInitialize", {"1", "0"});
}

PROCESS_CASE(registeredLater) {
  Binding binding;
  Report(binding.Send(Command()));
  binding.RegisterCallback();
  Report(binding.Exchange(Command()));
}

TEST(Binding, ACommandBindsWhereTheJvmWasRegisteredAfterInitialize) {
  ExpectReport("registeredLater", {kNoJvm, kEcho14});
}

PROCESS_CASE(callbackCommand) {
  Binding binding;
  binding.RegisterCallback();
  Report(binding.Exchange(Command()));
  ReportAll(binding.jvm.Calls());
  Report(Outstanding(binding.jvm));
  JNIEnv* env = nullptr;
  JavaVM* vm = binding.jvm.FirstJvm();
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  binding.jvm.ClearCalls();
  Report(binding.Exchange(Command()));
  ReportAll(binding.jvm.Calls());
}

TEST(Binding, ACommandMakesTheseCallsInThisOrder) {
  const Texts call = Joined({MakeArrayCalls(14), CallJavaCalls("apply")});
  const Texts answer = Joined({{"IsInstanceOf"}, StoreResponseCalls(), Deletions(2)});
  const Texts findClass = {"FindClass([B)", "NewGlobalRef", "ExceptionCheck", "DeleteLocalRef"};
  ExpectReport("callbackCommand",
               Joined({{kEcho14, "GetEnv(1.8)", "AttachCurrentThread"},
                       call,
                       findClass,
                       answer,
                       {"DetachCurrentThread", kByteArrayClass, kEcho14, "GetEnv(1.8)"},
                       call,
                       answer}));
}

PROCESS_CASE(everyTypeToCallback) {
  Binding binding;
  binding.RegisterCallback();
  for (int type = 0; type < 256; ++type) {
    binding.Exchange(Command(static_cast<std::uint8_t>(type)));
  }
  binding.Exchange(Filled(5, 1));
  binding.Exchange(Filled(0, 1));
  Report(binding.Exchange(LoadLibraryCommand("/")));
  Report(binding.jvm.CountCalls("CallObjectMethodV(apply)"));
  Report(binding.jvm.CountCalls("FindClass"));
  Report(binding.launcher.GetRuntimeInfo());
}

TEST(Binding, EveryCommandOfWhateverTypeGoesToTheCallback) {
  ExpectReport("everyTypeToCallback",
               {"25: " + Numbers(LoadLibraryCommand("/")), "259", "1", RuntimeInfo("", "")});
}

PROCESS_CASE(managedPartWhileBinding) {
  Binding binding;
  binding.RegisterCallback();
  binding.Exchange(Command());
  binding.launcher.AddToLibrariesToLoad("/proc/self/status");
  Report(binding.launcher.GetRuntimeInfo());
  Report(binding.launcher.GetRuntimeInfoFromManagedRuntime());
  Report(binding.jvm.CountCalls("CallStaticObjectMethodV"));
  Report(binding.launcher.GetVersion());
  Report(binding.launcher.GetVersionString());
}

TEST(Binding, TheRuntimeInformationHasNoManagedPart) {
  ExpectReport(
      "managedPartWhileBinding",
      {"Loaded custom libraries:\n/proc/self/status\n" + RuntimeInfo("", ""), "", "0", "0", "0.0"});
}

PROCESS_CASE(textWhileBinding) {
  Binding binding;
  binding.RegisterCallback();
  binding.jvm.Script().apply.answer = FakeJvm::Answer::Text;
  Report(binding.Send(Command()));
  binding.jvm.Script().apply.answer = FakeJvm::Answer::Echo;
  Report(binding.Exchange(Command()));
  Report(binding.jvm.CountCalls("IsInstanceOf"));
}

// The callback is there, the class of byte[] is not known yet.
TEST(Binding, AnAnswerIsNotTakenForAByteArrayBeforeTheJvmSaysSo) {
  ExpectReport("textWhileBinding",
               {LauncherError("025. Failed to get callback response bytes", "", ""), kEcho14, "2"});
}

PROCESS_CASE(threadsWhileBinding) {
  Binding binding;
  binding.RegisterCallback();
  OnNewThreads(8, [&](int i) {
    const Bytes sent = Command(2, static_cast<std::size_t>(20 + i));
    for (int n = 0; n < 20; ++n) {
      if (binding.Exchange(sent) != std::to_string(20 + i) + ": " + Numbers(sent)) {
        Report("wrong answer");
      }
    }
  });
  Report(binding.jvm.CountCalls("AttachCurrentThread"));
  Report(binding.jvm.CountCalls("DetachCurrentThread"));
  Report(Outstanding(binding.jvm));
}

TEST(Binding, ManyThreadsCallTheCallbackEachAttachedForItsCommand) {
  ExpectReport("threadsWhileBinding", {"160", "160", kByteArrayClass});
}

PROCESS_CASE(threadRefusedWhileBinding) {
  Binding binding;
  binding.RegisterCallback();
  binding.jvm.Inject({.call = "AttachCurrentThread", .occurrence = 1, .result = -1});
  Report(binding.Send(Command()));
  Report(binding.Exchange(Command()));
}

TEST(Binding, AThreadThatCannotBeAttachedRaises019) {
  ExpectReport("threadRefusedWhileBinding",
               {LauncherError("019. Failed to attach thread to JVM", "", ""), kEcho14});
}

PROCESS_CASE(initializeJvmWhileBinding) {
  Binding binding;
  binding.RegisterCallback();
  binding.Exchange(Command());
  Report(ThrownBy([&] { binding.launcher.InitializeJvm(); }));
  Report(binding.jvm.CountCalls("JNI_"));
}

TEST(Binding, NoCommandStartsOrLooksForAJvm) {
  ExpectReport(
      "initializeJvmWhileBinding",
      {LauncherError("005. Cannot get m_JvmEnv.\nReinstall Ferrolink package", "", ""), "0"});
}

}  // namespace Ferrolink::Tests
