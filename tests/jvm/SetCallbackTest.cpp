// TransmitterWrapper.setCallback, and the commands that reach the callback.
#include <gtest/gtest.h>

#include "jvm/JavaCallback.h"
#include "jvm/JvmLib.h"
#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/JavaHost.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
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

struct CallbackHost : JavaHost {
  void set(jobject object) {
    reportVoidCall([&] { thread.setCallback(object); });
    std::string held;
    const auto add = [&](const char* name, bool there) {
      held += there ? (held.empty() ? "" : " ") + std::string(name) : "";
    };
    add("vm", callbackJavaVM.load() == vm);
    add("object", sendCommandCallbackObject.load() != nullptr);
    add("method", sendCommandCallbackMethod.load() != nullptr);
    report(held);
  }
  void fail(const std::string& call, int occurrence, bool exception) {
    jvm.clearInjections();
    jvm.inject({.call = call, .occurrence = occurrence, .null = true, .exception = exception});
  }

  jobject callback = jvm.makeObject(true);
};

}  // namespace

PROCESS_CASE(registerAgain) {
  CallbackHost java;
  java.set(java.callback);
  java.set(java.jvm.makeObject(true));
  java.set(nullptr);
  java.set(nullptr);
  java.set(java.callback);
  report(java.thread.nativeError());
}

// The one global reference that stays is the class of byte[].
TEST(SetCallback, DropsTheOldCallbackBeforeItTakesTheNewOne) {
  expectReport(
      "registerAgain",
      {"GetJavaVM " + kFirst, "global 2", kWholeCallback, "GetJavaVM DeleteGlobalRef " + kFurther,
       "nothing", kWholeCallback, "GetJavaVM DeleteGlobalRef", "global -1", "vm",  //
       "GetJavaVM", "nothing", "vm",                                               //
       "GetJavaVM " + kFurther, "global 1", kWholeCallback, "Undefined error"});
}

PROCESS_CASE(registerWithoutVm) {
  CallbackHost java;
  java.set(java.callback);
  java.jvm.inject({.call = "GetJavaVM", .occurrence = 1, .result = JNI_ERR});
  java.set(java.callback);
  report(callbackJavaVM.load() == nullptr);
  report(GetJNIEnv() == java.thread.env());
  report(java.thread.nativeError());
}

TEST(SetCallback, WithoutAJavaVmStoresCode007AndCarriesOn) {
  expectReport("registerWithoutVm", {"GetJavaVM " + kFirst, "global 2", kWholeCallback,
                                     "GetJavaVM DeleteGlobalRef " + kFurther, "nothing",
                                     "object method", "1", "1", kNoVm});
}

PROCESS_CASE(registerWithoutReference) {
  CallbackHost java;
  java.set(java.callback);
  java.fail("NewGlobalRef", 1, false);
  java.set(java.callback);
  java.fail("NewGlobalRef", 1, true);
  java.set(java.callback);
  report(java.thread.nativeError());
}

TEST(SetCallback, WithoutAGlobalReferenceHoldsNothing) {
  expectReport(
      "registerWithoutReference",
      {"GetJavaVM " + kFirst, "global 2", kWholeCallback,
       "GetJavaVM DeleteGlobalRef NewGlobalRef ExceptionCheck", "global -1", "vm",
       "GetJavaVM NewGlobalRef ExceptionCheck ExceptionClear", "nothing", "vm", "Undefined error"});
}

PROCESS_CASE(registerWithoutClass) {
  CallbackHost java;
  java.fail("GetObjectClass", 1, false);
  java.set(java.callback);
  java.fail("GetObjectClass", 1, true);
  java.set(java.callback);
  report(java.thread.nativeError());
}

TEST(SetCallback, WithoutTheClassDropsTheNewReference) {
  expectReport(
      "registerWithoutClass",
      {"GetJavaVM NewGlobalRef GetObjectClass ExceptionCheck DeleteGlobalRef", "nothing", "vm",
       "GetJavaVM NewGlobalRef GetObjectClass ExceptionCheck ExceptionClear "
       "DeleteGlobalRef",
       "nothing", "vm", "Undefined error"});
}

PROCESS_CASE(registerWithoutApply) {
  CallbackHost java;
  java.set(java.jvm.makeObject(false));
  report(java.thread.nativeError());
  report(JavaCallback::isSet());
  java.set(nullptr);
}

TEST(SetCallback, OfAnObjectWithoutApplyKeepsItAndStoresCode008) {
  expectReport(
      "registerWithoutApply",
      {"GetJavaVM NewGlobalRef GetObjectClass FindClass([B) NewGlobalRef ExceptionCheck "
       "DeleteLocalRef " +
           kApply + " ExceptionCheck ExceptionClear DeleteLocalRef",
       "global 2", "vm object", kNoApply, "0", "GetJavaVM DeleteGlobalRef", "global -1", "vm"});
}

PROCESS_CASE(registerWithoutByteArrayClass) {
  CallbackHost java;
  java.fail("FindClass", 1, true);
  java.set(java.callback);
  java.fail("NewGlobalRef", 2, true);
  java.set(java.callback);
  java.set(java.callback);
  java.set(java.callback);
}

TEST(SetCallback, AsksForTheClassOfByteArraysUntilItHasIt) {
  const std::string start = "GetJavaVM DeleteGlobalRef NewGlobalRef GetObjectClass ";
  const std::string end = kApply + " DeleteLocalRef";
  expectReport(
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
  report(GetJNIEnv() == nullptr);
  java.thread.setCallback(java.callback);
  report(GetJNIEnv() == java.thread.env());
  onNewThread([&] {
    const JavaThread other(java.vm);
    other.setCallback(nullptr);
    report(GetJNIEnv() == other.env());
  });
  report(java.jvm.counts().globalReferences);
  report(static_cast<long>(operationMode.load()));
  report(GetTransmitter() == nullptr && GetReceiver() == nullptr);
}

TEST(SetCallback, KeepsTheEnvironmentOfItsLastCallerAndSettlesNothing) {
  expectReport("registerOnThreads", {"1", "1", "1", "1", "-1", "1"});
}

namespace {

std::string exchange(Ferrolink::Native::Interfaces::IReceiver& receiverOfCase) {
  Bytes bytes = command();
  const std::string thrown = thrownBy([&] {
    receiverOfCase.SendCommand(bytes.data(), 14);
    receiverOfCase.ReadResponse(bytes.data(), 14);
  });
  return thrown == "(nothing thrown)" ? numbers(bytes) : thrown;
}

Ferrolink::Native::Interfaces::IReceiver& bindingReceiver() {
  auto* made = CreateReceiver(RuntimeOperationMode::CallingRuntime);
  made->Initialize(8, 2, 0);
  return *made;
}

const std::string kNoCallback = launcherError("032. Java callback is not set", "", "");
const std::string kNoResponseBytes =
    launcherError("025. Failed to get callback response bytes", "", "");

}  // namespace

PROCESS_CASE(commandToCallback) {
  CallbackHost java;
  auto& made = bindingReceiver();
  report(exchange(made));
  java.thread.setCallback(java.callback);
  java.reportVoidCall([&] { report(exchange(made)); });
  java.thread.setCallback(java.jvm.makeObject(false));
  java.reportVoidCall([&] { report(exchange(made)); });
  java.thread.setCallback(nullptr);
  report(exchange(made));
}

TEST(SetCallback, HasTheReceiverOfACallingRuntimeCallTheCallback) {
  const std::string calls = words(joined({{"GetEnv(1.8)"},
                                          makeArrayCalls(14),
                                          callJavaCalls("apply"),
                                          {"IsInstanceOf"},
                                          storeResponseCalls(),
                                          deletions(2)}));
  expectReport("commandToCallback",
               {launcherError("018. JVM not initialized", "", ""), numbers(command()), calls,
                "nothing", kNoCallback, "", "nothing", kNoCallback});
}

PROCESS_CASE(callbackAnswersText) {
  CallbackHost java;
  auto& made = bindingReceiver();
  java.thread.setCallback(java.callback);
  java.jvm.script().apply.answer = FakeJvm::Answer::Text;
  java.reportVoidCall([&] { report(exchange(made)); });
  java.jvm.script().apply.answer = FakeJvm::Answer::Echo;
  report(exchange(made));
}

TEST(SetCallback, AnAnswerThatIsNoByteArrayRaises025AndIsReleased) {
  const std::string calls = words(joined({{"GetEnv(1.8)"},
                                          makeArrayCalls(14),
                                          callJavaCalls("apply"),
                                          {"IsInstanceOf"},
                                          deletions(2)}));
  expectReport("callbackAnswersText", {kNoResponseBytes, calls, "nothing", numbers(command())});
}

PROCESS_CASE(callbackWithoutByteArrayClass) {
  CallbackHost java;
  auto& made = bindingReceiver();
  java.jvm.inject({.call = "FindClass", .occurrence = 0, .null = true, .exception = true});
  java.thread.setCallback(java.callback);
  report(exchange(made));
  java.jvm.clearInjections();
  java.jvm.script().apply.answer = FakeJvm::Answer::Text;
  report(exchange(made));
  java.jvm.script().apply.answer = FakeJvm::Answer::Echo;
  report(exchange(made));
}

TEST(SetCallback, AnswersAreRefusedUntilByteArraysCanBeTold) {
  expectReport("callbackWithoutByteArrayClass",
               {kNoResponseBytes, kNoResponseBytes, numbers(command())});
}

PROCESS_CASE(callbackNotBorrowed) {
  CallbackHost java;
  auto& made = bindingReceiver();
  java.thread.setCallback(java.callback);
  java.jvm.inject({.call = "NewLocalRef", .occurrence = 1, .null = true, .exception = true});
  java.reportVoidCall([&] { report(exchange(made)); });
  report(exchange(made));
}

TEST(SetCallback, ACallbackThatCannotBeBorrowedIsNotSet) {
  const std::string calls = words(joined({{"GetEnv(1.8)"},
                                          makeArrayCalls(14),
                                          {"NewLocalRef", "ExceptionCheck", "ExceptionClear"},
                                          deletions(1)}));
  expectReport("callbackNotBorrowed", {kNoCallback, calls, "nothing", numbers(command())});
}

PROCESS_CASE(replacedInsideCommand) {
  CallbackHost java;
  auto& made = bindingReceiver();
  java.thread.setCallback(java.callback);
  java.jvm.script().insideJava = [&] {
    onNewThread([&] { JavaThread(java.vm).setCallback(nullptr); });
  };
  report(exchange(made));
  report(exchange(made));
}

TEST(SetCallback, ACommandFinishesWithTheCallbackThatWasReplacedMeanwhile) {
  expectReport("replacedInsideCommand", {numbers(command()), kNoCallback});
}

PROCESS_CASE(replacedUnderCommands) {
  CallbackHost java;
  auto& made = bindingReceiver();
  java.thread.setCallback(java.callback);
  onNewThreads(4, [&](int i) {
    const JavaThread thread(java.vm);
    for (int n = 0; n < 20; ++n) {
      if (i == 0) {
        thread.setCallback(java.jvm.makeObject(true));
        continue;
      }
      const std::string answer = exchange(made);
      if (answer != numbers(command()) && answer != kNoCallback) {
        report(answer);
      }
    }
  });
  report(exchange(made));
  report(java.jvm.counts().globalReferences);
}

TEST(SetCallback, CommandsOnOtherThreadsGoOnWhileItIsReplaced) {
  expectReport("replacedUnderCommands", {numbers(command()), "2"});
}

}  // namespace FerrolinkTest
