// The first command: the JVM starts, or the one that runs already is adopted.
#include <gtest/gtest.h>

#include <cstdlib>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
namespace {

const std::string kEcho14 = "14: " + numbers(command());

Texts commandCalls() {
  return joined({{"GetEnv(1.8)"},
                 makeArrayCalls(14),
                 callJavaCalls("sendCommand"),
                 storeResponseCalls(),
                 deletions(2)});
}

}  // namespace

PROCESS_CASE(firstCommand) {
  Launched launched;
  report(static_cast<long>(launched.jvm.calls().size()));
  report(launched.exchange(command()));
  std::string threads;
  for (const FakeJvm::Call& call : launched.jvm.callsByThread()) {
    report(call.text);
    threads += call.thread == launched.jvm.currentThread() ? "" : call.text;
  }
  report(threads);
  report(launched.jvm.creations().front().thread != launched.jvm.currentThread());
  report(outstanding(launched.jvm));
}

TEST(LauncherStartUp, TheFirstCommandMakesTheseCallsAndOnlyTheCreationOnAnotherThread) {
  const CaseResult result = expectReport(
      "firstCommand", joined({{"0", kEcho14, "JNI_GetCreatedJavaVMs(0)", "JNI_CreateJavaVM",
                               // the process-wide holder, and that its environment is this thread's
                               "GetEnv(1.8)", "AttachCurrentThread", "GetEnv(1.8)",
                               // the JNI version
                               "GetEnv(1.8)", "GetVersion",
                               // the receiver
                               "GetEnv(1.8)"},
                              classLookUpCalls(),
                              methodLookUpCalls(),
                              runtimeInfoCalls(),
                              commandCalls(),
                              {"JNI_CreateJavaVM", "1", kOnlyStarted}}));
  EXPECT_EQ(result.out,
            "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " +
                std::string(FAKEJVM_PATH) + "\nFake JVM\n\n");
  EXPECT_EQ(result.err, "");
}

PROCESS_CASE(startUpThreadStaysAttached) {
  Launched launched;
  report(launched.exchange(command()));
  const unsigned long starter = launched.jvm.creations().front().thread;
  for (const FakeJvm::Call& call : launched.jvm.callsByThread()) {
    if (call.thread == starter) {
      report(call.text);
    }
  }
  report(launched.jvm.counts().attachedThreads);
}

TEST(LauncherStartUp, TheThreadThatCreatesTheJvmEndsWithoutDetaching) {
  expectReport("startUpThreadStaysAttached", {kEcho14, "JNI_CreateJavaVM", "2"});
}

PROCESS_CASE(adoptsRunningJvm) {
  Launched launched;
  launched.jvm.startJvm();
  launched.jvm.startJvm();
  report(launched.exchange(command()));
  reportAll(launched.jvm.calls());
  report(static_cast<long>(launched.jvm.creations().size()));
  report(outstanding(launched.jvm));
  launched.jvm.clearCalls();
  report(launched.exchange(command()));
  report(static_cast<long>(launched.jvm.calls().size()));
}

// The buffer holds both JVMs; the calls below without "on JVM 2" go to the first one.
TEST(LauncherStartUp, ARunningJvmIsAdoptedAndTheSameCommandFindsTheReceiver) {
  const Texts entered = {kEcho14,       "JNI_GetCreatedJavaVMs(0)", "JNI_GetCreatedJavaVMs(2)",
                         "GetEnv(1.8)", "AttachCurrentThread",      "GetEnv(1.8)"};
  const Texts command = commandCalls();
  const CaseResult result = expectReport(
      "adoptsRunningJvm", joined({entered,
                                  classLookUpCalls(),
                                  methodLookUpCalls(),
                                  {"NewGlobalRef", "DeleteLocalRef"},
                                  Texts(command.begin() + 1, command.end()),
                                  {"DetachCurrentThread", "0",
                                   "local 0 global 1 elements 0 characters 0 attached 0 dropped 0",
                                   kEcho14, std::to_string(command.size() + 2)}}));
  EXPECT_EQ(result.out,
            "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " +
                std::string(FAKEJVM_PATH) + "\n");
}

PROCESS_CASE(adoptionWithoutReceiver) {
  Launched launched;
  launched.jvm.startJvm();
  report(launched.launcher.InitializeJvm());
  report(launched.jvm.countCalls("FindClass"));
  report(launched.launcher.GetRuntimeInfo());
  report(launched.jvm.countCalls("CallStaticObjectMethodV"));
  report(launched.exchange(command()));
  report(launched.launcher.GetRuntimeInfo());
}

TEST(LauncherStartUp, AdoptionAloneLeavesTheReceiverUnset) {
  expectReport("adoptionWithoutReceiver", {"0", "0", runtimeInfo(""), "0", kEcho14, runtimeInfo()});
}

PROCESS_CASE(otherThreadFindsReceiver) {
  Launched launched;
  launched.jvm.startJvm();
  launched.jvm.inject({.call = "FindClass", .occurrence = 1, .null = true, .exception = true});
  report(launched.exchange(command()));
  onNewThread([&] { report(launched.exchange(command())); });
  report(outstanding(launched.jvm));
  report(launched.exchange(command()));
  report(outstanding(launched.jvm));
}

TEST(LauncherStartUp, WhereAnotherThreadFindsTheReceiverAllThreadsShareTheGlobalReference) {
  const std::string shared = "local 0 global 1 elements 0 characters 0 attached 0 dropped 0";
  expectReport("otherThreadFindsReceiver", {launcherError("033. JVM exception occurred", ""),
                                            kEcho14, shared, kEcho14, shared});
}

PROCESS_CASE(secondLauncher) {
  Started first;
  JvmLauncher second(RuntimeOperationMode::CalledRuntime);
  second.Initialize(0);
  Bytes bytes = command();
  report(second.SendCommand(bytes.data(), 14));
  report(first.jvm.countCalls("JNI_CreateJavaVM"));
  report(first.jvm.countCalls("FindClass"));
  report(first.exchange(command()));
}

TEST(LauncherStartUp, ASecondLauncherAdoptsTheJvmOfTheFirst) {
  expectReport("secondLauncher", {"14", "0", "1", kEcho14});
}

PROCESS_CASE(adoptionCannotAttach) {
  Launched launched;
  launched.jvm.startJvm();
  launched.jvm.inject({.call = "AttachCurrentThread", .occurrence = 0, .result = -1});
  report(launched.exchange(command()));
  launched.jvm.clearInjections();
  report(launched.exchange(command()));
  report(launched.jvm.countCalls("DetachCurrentThread"));
}

TEST(LauncherStartUp, AnAdoptingThreadThatCannotBeAttachedRaises019AndTheNextCommandWorks) {
  expectReport("adoptionCannotAttach",
               {launcherError("019. Failed to attach thread to JVM", ""), kEcho14, "1"});
}

PROCESS_CASE(holderOfAnotherThread) {
  Launched launched;
  JavaVM* elsewhere = launched.jvm.startJvm();
  JNIEnv* env = nullptr;
  onNewThread([&] { env = getJniEnvForThread(elsewhere); });
  report(env != nullptr);
  report(launched.exchange(command()));
  report(launched.exchange(command()));
}

TEST(LauncherStartUp, AHolderBuiltByAnotherThreadIsOfNoHarm) {
  expectReport("holderOfAnotherThread", {"1", kEcho14, kEcho14});
}

PROCESS_CASE(otherCreateResult) {
  Launched launched;
  launched.jvm.script().createResult = 7;
  launched.jvm.script().createDespiteResult = true;
  report(launched.exchange(command()));
}

TEST(LauncherStartUp, ACreateResultOutsideTheTableCountsAsSuccess) {
  expectReport("otherCreateResult", {kEcho14});
}

PROCESS_CASE(otherCreateResultWithoutJvm) {
  Launched launched;
  launched.jvm.script().createResult = 7;
  report(launched.exchange(command()));
  launched.jvm.script().createResult = 0;
  report(launched.exchange(command()));
}

TEST(LauncherStartUp, ACreateResultOutsideTheTableWithoutAJvmFailsForWantOfOne) {
  expectReport("otherCreateResultWithoutJvm", {"ThreadJniEnv: JavaVM pointer is null", kEcho14});
}

PROCESS_CASE(debugMode) {
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  std::fputs("constructed\n", stdout);
  launcher.Initialize(0);
}

TEST(LauncherStartUp, DebugModeIsAnnouncedByTheConstructorAndByInitialize) {
  const std::string path =
      "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment "
      "variable: " +
      std::string(FAKEJVM_PATH) + "\n";
  const std::string listening =
      "Jvm Launcher: Debug mode enabled. Listening on port 8988. Waiting for debugger to "
      "attach...\n";
  for (const std::string value : {"true", "True", "TRUE", "tRuE"}) {
    const InstallationTree tree;
    CaseOptions options = fakeJvmOptions();
    options.environment["FERROLINK_DEBUG_MODE"] = value;
    EXPECT_EQ(expectReport("debugMode", {}, tree, options).out,
              "FERROLINK_DEBUG_MODE found: " + value + "\nconstructed\n" + path + listening);
  }
  for (const std::string value : {"", "false", "1", "true ", "yes"}) {
    const InstallationTree tree;
    CaseOptions options = fakeJvmOptions();
    options.environment["FERROLINK_DEBUG_MODE"] = value;
    EXPECT_EQ(expectReport("debugMode", {}, tree, options).out,
              "FERROLINK_DEBUG_MODE found: " + value + "\nconstructed\n" + path);
  }
  EXPECT_EQ(expectReport("debugMode", {}).out, "constructed\n" + path);
}

PROCESS_CASE(debugModeBinding) {
  Launched launched(RuntimeOperationMode::CallingRuntime);
  report(static_cast<long>(launched.jvm.calls().size()));
}

TEST(LauncherStartUp, ABindingLauncherAnnouncesDebugModeToo) {
  const InstallationTree tree;
  CaseOptions options = fakeJvmOptions();
  options.environment["FERROLINK_DEBUG_MODE"] = "true";
  EXPECT_EQ(expectReport("debugModeBinding", {"0"}, tree, options).out,
            "FERROLINK_DEBUG_MODE found: true\n"
            "Jvm Launcher: Debug mode enabled. Listening on port 8988. Waiting for debugger to "
            "attach...\n");
}

}  // namespace FerrolinkTest
