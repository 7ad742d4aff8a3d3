// TransmitterWrapper.setCallback, and the commands that reach the callback.
#include <gtest/gtest.h>

#include "jvm/JavaCallback.h"
#include "jvm/JvmLib.h"
#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/FakeJavaHost.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

const std::string kApply = "GetMethodID(apply, (Ljava/lang/Object;)Ljava/lang/Object;)";
const std::string kFirst =
    "NewGlobalRef GetObjectClass FindClass([B) NewGlobalRef ExceptionCheck DeleteLocalRef " +
    kApply + " DeleteLocalRef";
const std::string kFurther = "NewGlobalRef GetObjectClass " + kApply + " DeleteLocalRef";
const std::string kNoVm = "JVM Lib: Exception code 007. Failed to obtain JavaVM in setCallback";
const std::string kNoApply =
    "JVM Lib: Exception code 008. Callback must expose apply(Object)->Object";
const std::string kWholeCallback = "vm object method";

struct CallbackHost : FakeJavaHost {
  void Set(jobject object) {
    ReportVoidCall([&] { thread.setCallback(object); });
    std::string held;
    const auto add = [&](const char* name, bool there) {
      held += there ? (held.empty() ? "" : " ") + std::string(name) : "";
    };
    add("vm", callbackJavaVM.load() == vm);
    add("object", sendCommandCallbackObject.load() != nullptr);
    add("method", sendCommandCallbackMethod.load() != nullptr);
    Report(held);
  }
  void Fail(const std::string& call, int occurrence, bool exception) {
    jvm.ClearInjections();
    jvm.Inject({.call = call, .occurrence = occurrence, .null = true, .exception = exception});
  }

  jobject callback = jvm.MakeObject(true);
};

}  // namespace

PROCESS_CASE(registerAgain) {
  CallbackHost java;
  java.Set(java.callback);
  java.Set(java.jvm.MakeObject(true));
  java.Set(nullptr);
  java.Set(nullptr);
  java.Set(java.callback);
  Report(java.thread.NativeError());
}

// The one global reference that stays is the class of byte[].
TEST(SetCallback, DropsTheOldCallbackBeforeItTakesTheNewOne) {
  ExpectReport(
      "registerAgain",
      {"GetJavaVM " + kFirst, "global 2", kWholeCallback, "GetJavaVM DeleteGlobalRef " + kFurther,
       "nothing", kWholeCallback, "GetJavaVM DeleteGlobalRef", "global -1", "vm",  //
       "GetJavaVM", "nothing", "vm",                                               //
       "GetJavaVM " + kFurther, "global 1", kWholeCallback, "Undefined error"});
}

PROCESS_CASE(registerWithoutVm) {
  CallbackHost java;
  java.Set(java.callback);
  java.jvm.Inject({.call = "GetJavaVM", .occurrence = 1, .result = JNI_ERR});
  java.Set(java.callback);
  Report(callbackJavaVM.load() == nullptr);
  Report(GetJNIEnv() == java.thread.Env());
  Report(java.thread.NativeError());
}

TEST(SetCallback, WithoutAJavaVmStoresCode007AndCarriesOn) {
  ExpectReport("registerWithoutVm", {"GetJavaVM " + kFirst, "global 2", kWholeCallback,
                                     "GetJavaVM DeleteGlobalRef " + kFurther, "nothing",
                                     "object method", "1", "1", kNoVm});
}

PROCESS_CASE(registerWithoutReference) {
  CallbackHost java;
  java.Set(java.callback);
  java.Fail("NewGlobalRef", 1, false);
  java.Set(java.callback);
  java.Fail("NewGlobalRef", 1, true);
  java.Set(java.callback);
  Report(java.thread.NativeError());
}

TEST(SetCallback, WithoutAGlobalReferenceHoldsNothing) {
  ExpectReport(
      "registerWithoutReference",
      {"GetJavaVM " + kFirst, "global 2", kWholeCallback,
       "GetJavaVM DeleteGlobalRef NewGlobalRef ExceptionCheck", "global -1", "vm",
       "GetJavaVM NewGlobalRef ExceptionCheck ExceptionClear", "nothing", "vm", "Undefined error"});
}

PROCESS_CASE(registerWithoutClass) {
  CallbackHost java;
  java.Fail("GetObjectClass", 1, false);
  java.Set(java.callback);
  java.Fail("GetObjectClass", 1, true);
  java.Set(java.callback);
  Report(java.thread.NativeError());
}

TEST(SetCallback, WithoutTheClassDropsTheNewReference) {
  ExpectReport(
      "registerWithoutClass",
      {"GetJavaVM NewGlobalRef GetObjectClass ExceptionCheck DeleteGlobalRef", "nothing", "vm",
       "GetJavaVM NewGlobalRef GetObjectClass ExceptionCheck ExceptionClear "
       "DeleteGlobalRef",
       "nothing", "vm", "Undefined error"});
}

PROCESS_CASE(registerWithoutApply) {
  CallbackHost java;
  java.Set(java.jvm.MakeObject(false));
  Report(java.thread.NativeError());
  Report(JavaCallback::IsSet());
  java.Set(nullptr);
}

TEST(SetCallback, OfAnObjectWithoutApplyKeepsItAndStoresCode008) {
  ExpectReport(
      "registerWithoutApply",
      {"GetJavaVM NewGlobalRef GetObjectClass FindClass([B) NewGlobalRef ExceptionCheck "
       "DeleteLocalRef " +
           kApply + " ExceptionCheck ExceptionClear DeleteLocalRef",
       "global 2", "vm object", kNoApply, "0", "GetJavaVM DeleteGlobalRef", "global -1", "vm"});
}

PROCESS_CASE(registerWithoutByteArrayClass) {
  CallbackHost java;
  java.Fail("FindClass", 1, true);
  java.Set(java.callback);
  java.Fail("NewGlobalRef", 2, true);
  java.Set(java.callback);
  java.Set(java.callback);
  java.Set(java.callback);
}

TEST(SetCallback, AsksForTheClassOfByteArraysUntilItHasIt) {
  const std::string start = "GetJavaVM DeleteGlobalRef NewGlobalRef GetObjectClass ";
  const std::string end = kApply + " DeleteLocalRef";
  ExpectReport(
      "registerWithoutByteArrayClass",
      {"GetJavaVM NewGlobalRef GetObjectClass FindClass([B) ExceptionCheck "
       "ExceptionClear " +
           end,
       "global 1", kWholeCallback,
       start + "FindClass([B) NewGlobalRef ExceptionCheck ExceptionClear DeleteLocalRef " + end,
       "nothing", kWholeCallback,
       start + "FindClass([B) NewGlobalRef ExceptionCheck DeleteLocalRef " + end, "global 1",
       kWholeCallback, start + end, "nothing", kWholeCallback});
}

PROCESS_CASE(registerOnThreads) {
  CallbackHost java;
  Report(GetJNIEnv() == nullptr);
  java.thread.setCallback(java.callback);
  Report(GetJNIEnv() == java.thread.Env());
  OnNewThread([&] {
    const JavaThread other(java.vm);
    other.setCallback(nullptr);
    Report(GetJNIEnv() == other.Env());
  });
  Report(java.jvm.Counts().globalReferences);
  Report(static_cast<long>(operationMode.load()));
  Report(GetTransmitter() == nullptr && GetReceiver() == nullptr);
}

TEST(SetCallback, KeepsTheEnvironmentOfItsLastCallerAndSettlesNothing) {
  ExpectReport("registerOnThreads", {"1", "1", "1", "1", "-1", "1"});
}

namespace {

std::string Exchange(Ferrolink::Native::Interfaces::IReceiver& receiverOfCase) {
  Bytes bytes = Command();
  const std::string thrown = ThrownBy([&] {
    receiverOfCase.SendCommand(bytes.data(), 14);
    receiverOfCase.ReadResponse(bytes.data(), 14);
  });
  return thrown == "(nothing thrown)" ? Numbers(bytes) : thrown;
}

Ferrolink::Native::Interfaces::IReceiver& BindingReceiver() {
  auto* made = CreateReceiver(RuntimeOperationMode::CallingRuntime);
  made->Initialize(8, 2, 0);
  return *made;
}

const std::string kNoCallback = LauncherError("032. Java callback is not set", "", "");
const std::string kNoResponseBytes =
    LauncherError("025. Failed to get callback response bytes", "", "");

}  // namespace

PROCESS_CASE(commandToCallback) {
  CallbackHost java;
  auto& made = BindingReceiver();
  Report(Exchange(made));
  java.thread.setCallback(java.callback);
  java.ReportVoidCall([&] { Report(Exchange(made)); });
  java.thread.setCallback(java.jvm.MakeObject(false));
  java.ReportVoidCall([&] { Report(Exchange(made)); });
  java.thread.setCallback(nullptr);
  Report(Exchange(made));
}

TEST(SetCallback, HasTheReceiverOfACallingRuntimeCallTheCallback) {
  const std::string calls = Words(Joined({{"GetEnv(1.8)"},
                                          MakeArrayCalls(14),
                                          CallJavaCalls("apply"),
                                          {"IsInstanceOf"},
                                          StoreResponseCalls(),
                                          Deletions(2)}));
  ExpectReport("commandToCallback",
               {LauncherError("018. JVM not initialized", "", ""), Numbers(Command()), calls,
                "nothing", kNoCallback, "", "nothing", kNoCallback});
}

PROCESS_CASE(callbackAnswersText) {
  CallbackHost java;
  auto& made = BindingReceiver();
  java.thread.setCallback(java.callback);
  java.jvm.Script().apply.answer = FakeJvm::Answer::Text;
  java.ReportVoidCall([&] { Report(Exchange(made)); });
  java.jvm.Script().apply.answer = FakeJvm::Answer::Echo;
  Report(Exchange(made));
}

TEST(SetCallback, AnAnswerThatIsNoByteArrayRaises025AndIsReleased) {
  const std::string calls = Words(Joined({{"GetEnv(1.8)"},
                                          MakeArrayCalls(14),
                                          CallJavaCalls("apply"),
                                          {"IsInstanceOf"},
                                          Deletions(2)}));
  ExpectReport("callbackAnswersText", {kNoResponseBytes, calls, "nothing", Numbers(Command())});
}

PROCESS_CASE(callbackWithoutByteArrayClass) {
  CallbackHost java;
  auto& made = BindingReceiver();
  java.jvm.Inject({.call = "FindClass", .occurrence = 0, .null = true, .exception = true});
  java.thread.setCallback(java.callback);
  Report(Exchange(made));
  java.jvm.ClearInjections();
  java.jvm.Script().apply.answer = FakeJvm::Answer::Text;
  Report(Exchange(made));
  java.jvm.Script().apply.answer = FakeJvm::Answer::Echo;
  Report(Exchange(made));
}

TEST(SetCallback, AnswersAreRefusedUntilByteArraysCanBeTold) {
  ExpectReport("callbackWithoutByteArrayClass",
               {kNoResponseBytes, kNoResponseBytes, Numbers(Command())});
}

PROCESS_CASE(callbackNotBorrowed) {
  CallbackHost java;
  auto& made = BindingReceiver();
  java.thread.setCallback(java.callback);
  java.jvm.Inject({.call = "NewLocalRef", .occurrence = 1, .null = true, .exception = true});
  java.ReportVoidCall([&] { Report(Exchange(made)); });
  Report(Exchange(made));
}

TEST(SetCallback, ACallbackThatCannotBeBorrowedIsNotSet) {
  const std::string calls = Words(Joined({{"GetEnv(1.8)"},
                                          MakeArrayCalls(14),
                                          {"NewLocalRef", "ExceptionCheck", "ExceptionClear"},
                                          Deletions(1)}));
  ExpectReport("callbackNotBorrowed", {kNoCallback, calls, "nothing", Numbers(Command())});
}

PROCESS_CASE(replacedInsideCommand) {
  CallbackHost java;
  auto& made = BindingReceiver();
  java.thread.setCallback(java.callback);
  java.jvm.Script().insideJava = [&] {
    OnNewThread([&] { JavaThread(java.vm).setCallback(nullptr); });
  };
  Report(Exchange(made));
  Report(Exchange(made));
}

TEST(SetCallback, ACommandFinishesWithTheCallbackThatWasReplacedMeanwhile) {
  ExpectReport("replacedInsideCommand", {Numbers(Command()), kNoCallback});
}

PROCESS_CASE(replacedUnderCommands) {
  CallbackHost java;
  auto& made = BindingReceiver();
  java.thread.setCallback(java.callback);
  OnNewThreads(4, [&](int i) {
    const JavaThread thread(java.vm);
    for (int n = 0; n < 20; ++n) {
      if (i == 0) {
        thread.setCallback(java.jvm.MakeObject(true));
        continue;
      }
      const std::string answer = Exchange(made);
      if (answer != Numbers(Command()) && answer != kNoCallback) {
        Report(answer);
      }
    }
  });
  Report(Exchange(made));
  Report(java.jvm.Counts().globalReferences);
}

TEST(SetCallback, CommandsOnOtherThreadsGoOnWhileItIsReplaced) {
  ExpectReport("replacedUnderCommands", {Numbers(Command()), "2"});
}

}  // namespace Ferrolink::Tests
