// The effects of a launcher's destructor, and of the process's exit, on the JVM.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

std::unique_ptr<JvmLauncher> MakeLauncher(RuntimeOperationMode mode) {
  auto launcher = std::make_unique<JvmLauncher>(mode);
  launcher->Initialize(0);
  return launcher;
}

void SendOne(JvmLauncher& launcher) {
  Bytes bytes = Command();
  launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size()));
}

std::string JvmPath() {
  return std::getenv("FERROLINK_JVM_RUNTIME_PATH");
}

bool IsLibraryOpen() {
  void* open = dlopen(JvmPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (open != nullptr) {
    dlclose(open);
  }
  return open != nullptr;
}

}  // namespace

PROCESS_CASE(destroyStarted) {
  FakeJvmClient jvm(JvmPath());
  auto launcher = MakeLauncher(RuntimeOperationMode::CalledRuntime);
  SendOne(*launcher);
  jvm.ClearCalls();
  launcher.reset();
  ReportAll(jvm.Calls());
}

TEST(LauncherEnd, AStartedJvmIsDestroyed) {
  ExpectReport("destroyStarted", {"GetEnv(1.8)", "DestroyJavaVM"});
}

PROCESS_CASE(destroyWithVersion) {
  FakeJvmClient jvm(JvmPath());
  jvm.Script().jniVersion = 0x000A0000;
  auto launcher = MakeLauncher(RuntimeOperationMode::CalledRuntime);
  SendOne(*launcher);
  jvm.ClearCalls();
  launcher.reset();
  ReportAll(jvm.Calls());
}

TEST(LauncherEnd, TheDestructorAsksForTheEnvironmentOfTheJvmsOwnVersion) {
  ExpectReport("destroyWithVersion", {"GetEnv(10.0)", "DestroyJavaVM"});
}

PROCESS_CASE(destroyOnOtherThread) {
  FakeJvmClient jvm(JvmPath());
  auto launcher = MakeLauncher(RuntimeOperationMode::CalledRuntime);
  SendOne(*launcher);
  jvm.ClearCalls();
  OnNewThread([&] { launcher.reset(); });
  ReportAll(jvm.Calls());
}

TEST(LauncherEnd, AnUnknownThreadAttachesItselfToDestroyTheJvm) {
  ExpectReport("destroyOnOtherThread", {"GetEnv(1.8)", "AttachCurrentThread", "DestroyJavaVM"});
}

PROCESS_CASE(destroyHalfStarted) {
  FakeJvmClient jvm(JvmPath());
  auto launcher = MakeLauncher(RuntimeOperationMode::CalledRuntime);
  jvm.Inject({.call = "AttachCurrentThread", .occurrence = 1, .result = -1});
  Report(ThrownBy([&] { SendOne(*launcher); }));
  jvm.ClearCalls();
  launcher.reset();
  ReportAll(jvm.Calls());
}

TEST(LauncherEnd, AJvmWhoseVersionWasNeverAskedIsDestroyedWithVersion18) {
  ExpectReport("destroyHalfStarted", {"ThreadJniEnv: failed to attach thread to JVM", "GetEnv(1.8)",
                                      "AttachCurrentThread", "DestroyJavaVM"});
}

PROCESS_CASE(destroyAdopted) {
  FakeJvmClient jvm(JvmPath());
  jvm.StartJvm();
  auto launcher = MakeLauncher(RuntimeOperationMode::CalledRuntime);
  SendOne(*launcher);
  jvm.ClearCalls();
  launcher.reset();
  Report(static_cast<long>(jvm.Calls().size()));
}

TEST(LauncherEnd, AnAdoptedJvmIsLeftRunning) {
  ExpectReport("destroyAdopted", {"0"});
}

PROCESS_CASE(destroyBound) {
  FakeJvmClient jvm(JvmPath());
  callbackJavaVM = jvm.StartJvm();
  auto launcher = MakeLauncher(RuntimeOperationMode::CallingRuntime);
  Report(launcher->TryBindToCallingRuntimeJavaVm());
  launcher.reset();
  Report(static_cast<long>(jvm.Calls().size()));
}

TEST(LauncherEnd, ABoundJvmIsLeftRunning) {
  ExpectReport("destroyBound", {"1", "0"});
}

PROCESS_CASE(closesLibrary) {
  Report(IsLibraryOpen());
  auto launcher = MakeLauncher(RuntimeOperationMode::CalledRuntime);
  Report(IsLibraryOpen());
  launcher.reset();
  Report(IsLibraryOpen());
}

TEST(LauncherEnd, TheJvmLibraryIsOpenForAsLongAsTheLauncherLives) {
  ExpectReport("closesLibrary", {"0", "1", "0"});
}

PROCESS_CASE(initializedTwice) {
  auto launcher = MakeLauncher(RuntimeOperationMode::CalledRuntime);
  launcher->Initialize(0);
  launcher.reset();
  Report(IsLibraryOpen());
}

TEST(LauncherEnd, ALibraryThatWasOpenedTwiceIsClosedTwice) {
  ExpectReport("initializedTwice", {"0"});
}

namespace {

// A launcher that a host keeps until the process ends.
JvmLauncher* keptLauncher = nullptr;

// The calls of the fake JVM library after the body's last one.
std::string CallsAtExit(const std::string& name) {
  const InstallationTree tree;
  CaseOptions options = FakeJvmOptions();
  const std::string file = (tree.Root() / "calls").string();
  options.environment["FAKE_JVM_CALLS"] = file;
  ExpectReport(name, {}, tree, options);
  std::ostringstream calls;
  calls << std::ifstream(file).rdbuf();
  const std::string text = calls.str();
  const std::string last =
      "GetArrayLength\nExceptionCheck\nReleaseByteArrayElements(abort)\n"
      "DeleteLocalRef\nDeleteLocalRef\n";
  const auto found = text.rfind(last);
  return found == std::string::npos ? "no command in " + text : text.substr(found + last.size());
}

}  // namespace

PROCESS_CASE(exitOnStartingThread) {
  keptLauncher = MakeLauncher(RuntimeOperationMode::CalledRuntime).release();
  SendOne(*keptLauncher);
}

TEST(LauncherEnd, TheStartingThreadIsDetachedWhenItEndsTheProcess) {
  EXPECT_EQ(CallsAtExit("exitOnStartingThread"), "DetachCurrentThread\n");
}

PROCESS_CASE(exitOnOtherThread) {
  OnNewThread([] {
    keptLauncher = MakeLauncher(RuntimeOperationMode::CalledRuntime).release();
    SendOne(*keptLauncher);
  });
}

TEST(LauncherEnd, AThreadThatOnlyEndsTheProcessIsNotDetachedInTheStartingThreadsStead) {
  EXPECT_EQ(CallsAtExit("exitOnOtherThread"), "");
}

}  // namespace Ferrolink::Tests
