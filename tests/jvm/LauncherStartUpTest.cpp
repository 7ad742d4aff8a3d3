// The first command: the JVM starts, or the one that runs already is adopted.
#include <gtest/gtest.h>

#include <cstdlib>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

const std::string kEcho14 = "14: " + Numbers(Command());

Texts CommandCalls() {
  return Joined({{"GetEnv(1.8)"},
                 MakeArrayCalls(14),
                 CallJavaCalls("sendCommand"),
                 StoreResponseCalls(),
                 Deletions(2)});
}

}  // namespace

PROCESS_CASE(firstCommand) {
  Launched launched;
  Report(static_cast<long>(launched.jvm.Calls().size()));
  Report(launched.Exchange(Command()));
  std::string threads;
  for (const FakeJvm::Call& call : launched.jvm.CallsByThread()) {
    Report(call.text);
    threads += call.thread == launched.jvm.CurrentThread() ? "" : call.text;
  }
  Report(threads);
  Report(launched.jvm.Creations().front().thread != launched.jvm.CurrentThread());
  Report(Outstanding(launched.jvm));
}

TEST(LauncherStartUp, TheFirstCommandMakesTheseCallsAndOnlyTheCreationOnAnotherThread) {
  const CaseResult result = ExpectReport(
      "firstCommand", Joined({{"0", kEcho14, "JNI_GetCreatedJavaVMs(0)", "JNI_CreateJavaVM",
                               // the process-wide holder, and that its environment is this thread's
                               "GetEnv(1.8)", "AttachCurrentThread", "GetEnv(1.8)",
                               // the JNI version
                               "GetEnv(1.8)", "GetVersion",
                               // the receiver
                               "GetEnv(1.8)"},
                              ClassLookUpCalls(),
                              MethodLookUpCalls(),
                              RuntimeInfoCalls(),
                              CommandCalls(),
                              {"JNI_CreateJavaVM", "1", kOnlyStarted}}));
  EXPECT_EQ(result.out,
            "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " +
                std::string(FAKEJVM_PATH) + "\nFake JVM\n\n");
  EXPECT_EQ(result.err, "");
}

PROCESS_CASE(startUpThreadStaysAttached) {
  Launched launched;
  Report(launched.Exchange(Command()));
  const unsigned long starter = launched.jvm.Creations().front().thread;
  for (const FakeJvm::Call& call : launched.jvm.CallsByThread()) {
    if (call.thread == starter) {
      Report(call.text);
    }
  }
  Report(launched.jvm.Counts().attachedThreads);
}

TEST(LauncherStartUp, TheThreadThatCreatesTheJvmEndsWithoutDetaching) {
  ExpectReport("startUpThreadStaysAttached", {kEcho14, "JNI_CreateJavaVM", "2"});
}

PROCESS_CASE(adoptsRunningJvm) {
  Launched launched;
  launched.jvm.StartJvm();
  launched.jvm.StartJvm();
  Report(launched.Exchange(Command()));
  ReportAll(launched.jvm.Calls());
  Report(static_cast<long>(launched.jvm.Creations().size()));
  Report(Outstanding(launched.jvm));
  launched.jvm.ClearCalls();
  Report(launched.Exchange(Command()));
  Report(static_cast<long>(launched.jvm.Calls().size()));
}

// The buffer holds both JVMs; the calls below without "on JVM 2" go to the first one.
TEST(LauncherStartUp, ARunningJvmIsAdoptedAndTheSameCommandFindsTheReceiver) {
  const Texts entered = {kEcho14,       "JNI_GetCreatedJavaVMs(0)", "JNI_GetCreatedJavaVMs(2)",
                         "GetEnv(1.8)", "AttachCurrentThread",      "GetEnv(1.8)"};
  const Texts command = CommandCalls();
  const CaseResult result = ExpectReport(
      "adoptsRunningJvm", Joined({entered,
                                  ClassLookUpCalls(),
                                  MethodLookUpCalls(),
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
  launched.jvm.StartJvm();
  Report(launched.launcher.InitializeJvm());
  Report(launched.jvm.CountCalls("FindClass"));
  Report(launched.launcher.GetRuntimeInfo());
  Report(launched.jvm.CountCalls("CallStaticObjectMethodV"));
  Report(launched.Exchange(Command()));
  Report(launched.launcher.GetRuntimeInfo());
}

TEST(LauncherStartUp, AdoptionAloneLeavesTheReceiverUnset) {
  ExpectReport("adoptionWithoutReceiver", {"0", "0", RuntimeInfo(""), "0", kEcho14, RuntimeInfo()});
}

PROCESS_CASE(otherThreadFindsReceiver) {
  Launched launched;
  launched.jvm.StartJvm();
  launched.jvm.Inject({.call = "FindClass", .occurrence = 1, .null = true, .exception = true});
  Report(launched.Exchange(Command()));
  OnNewThread([&] { Report(launched.Exchange(Command())); });
  Report(Outstanding(launched.jvm));
  Report(launched.Exchange(Command()));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherStartUp, WhereAnotherThreadFindsTheReceiverAllThreadsShareTheGlobalReference) {
  const std::string shared = "local 0 global 1 elements 0 characters 0 attached 0 dropped 0";
  ExpectReport("otherThreadFindsReceiver", {LauncherError("033. JVM exception occurred", ""),
                                            kEcho14, shared, kEcho14, shared});
}

PROCESS_CASE(secondLauncher) {
  Started first;
  JvmLauncher second(RuntimeOperationMode::CalledRuntime);
  second.Initialize(0);
  Bytes bytes = Command();
  Report(second.SendCommand(bytes.data(), 14));
  Report(first.jvm.CountCalls("JNI_CreateJavaVM"));
  Report(first.jvm.CountCalls("FindClass"));
  Report(first.Exchange(Command()));
}

TEST(LauncherStartUp, ASecondLauncherAdoptsTheJvmOfTheFirst) {
  ExpectReport("secondLauncher", {"14", "0", "1", kEcho14});
}

PROCESS_CASE(adoptionCannotAttach) {
  Launched launched;
  launched.jvm.StartJvm();
  launched.jvm.Inject({.call = "AttachCurrentThread", .occurrence = 0, .result = -1});
  Report(launched.Exchange(Command()));
  launched.jvm.ClearInjections();
  Report(launched.Exchange(Command()));
  Report(launched.jvm.CountCalls("DetachCurrentThread"));
}

TEST(LauncherStartUp, AnAdoptingThreadThatCannotBeAttachedRaises019AndTheNextCommandWorks) {
  ExpectReport("adoptionCannotAttach",
               {LauncherError("019. Failed to attach thread to JVM", ""), kEcho14, "1"});
}

PROCESS_CASE(holderOfAnotherThread) {
  Launched launched;
  JavaVM* elsewhere = launched.jvm.StartJvm();
  JNIEnv* env = nullptr;
  OnNewThread([&] { env = getJniEnvForThread(elsewhere); });
  Report(env != nullptr);
  Report(launched.Exchange(Command()));
  Report(launched.Exchange(Command()));
}

TEST(LauncherStartUp, AHolderBuiltByAnotherThreadIsOfNoHarm) {
  ExpectReport("holderOfAnotherThread", {"1", kEcho14, kEcho14});
}

PROCESS_CASE(otherCreateResult) {
  Launched launched;
  launched.jvm.Script().createResult = 7;
  launched.jvm.Script().createDespiteResult = true;
  Report(launched.Exchange(Command()));
}

TEST(LauncherStartUp, ACreateResultOutsideTheTableCountsAsSuccess) {
  ExpectReport("otherCreateResult", {kEcho14});
}

PROCESS_CASE(otherCreateResultWithoutJvm) {
  Launched launched;
  launched.jvm.Script().createResult = 7;
  Report(launched.Exchange(Command()));
  launched.jvm.Script().createResult = 0;
  Report(launched.Exchange(Command()));
}

TEST(LauncherStartUp, ACreateResultOutsideTheTableWithoutAJvmFailsForWantOfOne) {
  ExpectReport("otherCreateResultWithoutJvm", {"ThreadJniEnv: JavaVM pointer is null", kEcho14});
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
    CaseOptions options = FakeJvmOptions();
    options.environment["FERROLINK_DEBUG_MODE"] = value;
    EXPECT_EQ(ExpectReport("debugMode", {}, tree, options).out,
              "FERROLINK_DEBUG_MODE found: " + value + "\nconstructed\n" + path + listening);
  }
  for (const std::string value : {"", "false", "1", "true ", "yes"}) {
    const InstallationTree tree;
    CaseOptions options = FakeJvmOptions();
    options.environment["FERROLINK_DEBUG_MODE"] = value;
    EXPECT_EQ(ExpectReport("debugMode", {}, tree, options).out,
              "FERROLINK_DEBUG_MODE found: " + value + "\nconstructed\n" + path);
  }
  EXPECT_EQ(ExpectReport("debugMode", {}).out, "constructed\n" + path);
}

PROCESS_CASE(debugModeBinding) {
  Launched launched(RuntimeOperationMode::CallingRuntime);
  Report(static_cast<long>(launched.jvm.Calls().size()));
}

TEST(LauncherStartUp, ABindingLauncherAnnouncesDebugModeToo) {
  const InstallationTree tree;
  CaseOptions options = FakeJvmOptions();
  options.environment["FERROLINK_DEBUG_MODE"] = "true";
  EXPECT_EQ(ExpectReport("debugModeBinding", {"0"}, tree, options).out,
            "FERROLINK_DEBUG_MODE found: true\n"
            "Jvm Launcher: Debug mode enabled. Listening on port 8988. Waiting for debugger to "
            "attach...\n");
}

}  // namespace Ferrolink::Tests
