// What a launcher's destructor and the process's exit leave of the JVM.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
namespace {

std::unique_ptr<JvmLauncher> makeLauncher(RuntimeOperationMode mode) {
  auto launcher = std::make_unique<JvmLauncher>(mode);
  launcher->Initialize(0);
  return launcher;
}

void sendOne(JvmLauncher& launcher) {
  Bytes bytes = command();
  launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size()));
}

std::string jvmPath() {
  return std::getenv("FERROLINK_JVM_RUNTIME_PATH");
}

bool isLibraryOpen() {
  void* open = dlopen(jvmPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (open != nullptr) {
    dlclose(open);
  }
  return open != nullptr;
}

}  // namespace

PROCESS_CASE(destroyStarted) {
  FakeJvmClient jvm(jvmPath());
  auto launcher = makeLauncher(RuntimeOperationMode::CalledRuntime);
  sendOne(*launcher);
  jvm.clearCalls();
  launcher.reset();
  reportAll(jvm.calls());
}

TEST(LauncherEnd, AStartedJvmIsDestroyed) {
  expectReport("destroyStarted", {"GetEnv(1.8)", "DestroyJavaVM"});
}

PROCESS_CASE(destroyWithVersion) {
  FakeJvmClient jvm(jvmPath());
  jvm.script().jniVersion = 0x000A0000;
  auto launcher = makeLauncher(RuntimeOperationMode::CalledRuntime);
  sendOne(*launcher);
  jvm.clearCalls();
  launcher.reset();
  reportAll(jvm.calls());
}

TEST(LauncherEnd, TheDestructorAsksForTheEnvironmentOfTheJvmsOwnVersion) {
  expectReport("destroyWithVersion", {"GetEnv(10.0)", "DestroyJavaVM"});
}

PROCESS_CASE(destroyOnOtherThread) {
  FakeJvmClient jvm(jvmPath());
  auto launcher = makeLauncher(RuntimeOperationMode::CalledRuntime);
  sendOne(*launcher);
  jvm.clearCalls();
  onNewThread([&] { launcher.reset(); });
  reportAll(jvm.calls());
}

TEST(LauncherEnd, AnUnknownThreadAttachesItselfToDestroyTheJvm) {
  expectReport("destroyOnOtherThread", {"GetEnv(1.8)", "AttachCurrentThread", "DestroyJavaVM"});
}

PROCESS_CASE(destroyHalfStarted) {
  FakeJvmClient jvm(jvmPath());
  auto launcher = makeLauncher(RuntimeOperationMode::CalledRuntime);
  jvm.inject({.call = "AttachCurrentThread", .occurrence = 1, .result = -1});
  report(thrownBy([&] { sendOne(*launcher); }));
  jvm.clearCalls();
  launcher.reset();
  reportAll(jvm.calls());
}

TEST(LauncherEnd, AJvmWhoseVersionWasNeverAskedIsDestroyedWithVersion18) {
  expectReport("destroyHalfStarted", {"ThreadJniEnv: failed to attach thread to JVM", "GetEnv(1.8)",
                                      "AttachCurrentThread", "DestroyJavaVM"});
}

PROCESS_CASE(destroyAdopted) {
  FakeJvmClient jvm(jvmPath());
  jvm.startJvm();
  auto launcher = makeLauncher(RuntimeOperationMode::CalledRuntime);
  sendOne(*launcher);
  jvm.clearCalls();
  launcher.reset();
  report(static_cast<long>(jvm.calls().size()));
}

TEST(LauncherEnd, AnAdoptedJvmIsLeftRunning) {
  expectReport("destroyAdopted", {"0"});
}

PROCESS_CASE(destroyBound) {
  FakeJvmClient jvm(jvmPath());
  callbackJavaVM = jvm.startJvm();
  auto launcher = makeLauncher(RuntimeOperationMode::CallingRuntime);
  report(launcher->TryBindToCallingRuntimeJavaVm());
  launcher.reset();
  report(static_cast<long>(jvm.calls().size()));
}

TEST(LauncherEnd, ABoundJvmIsLeftRunning) {
  expectReport("destroyBound", {"1", "0"});
}

PROCESS_CASE(closesLibrary) {
  report(isLibraryOpen());
  auto launcher = makeLauncher(RuntimeOperationMode::CalledRuntime);
  report(isLibraryOpen());
  launcher.reset();
  report(isLibraryOpen());
}

TEST(LauncherEnd, TheJvmLibraryIsOpenForAsLongAsTheLauncherLives) {
  expectReport("closesLibrary", {"0", "1", "0"});
}

PROCESS_CASE(initializedTwice) {
  auto launcher = makeLauncher(RuntimeOperationMode::CalledRuntime);
  launcher->Initialize(0);
  launcher.reset();
  report(isLibraryOpen());
}

TEST(LauncherEnd, ALibraryThatWasOpenedTwiceIsClosedTwice) {
  expectReport("initializedTwice", {"0"});
}

namespace {

// The launcher that a host keeps until the process ends.
JvmLauncher* keptLauncher = nullptr;

// The calls that the fake JVM library sees after the body's last one.
std::string callsAtExit(const std::string& name) {
  const InstallationTree tree;
  CaseOptions options = fakeJvmOptions();
  const std::string file = (tree.root() / "calls").string();
  options.environment["FAKE_JVM_CALLS"] = file;
  expectReport(name, {}, tree, options);
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
  keptLauncher = makeLauncher(RuntimeOperationMode::CalledRuntime).release();
  sendOne(*keptLauncher);
}

TEST(LauncherEnd, TheStartingThreadIsDetachedWhenItEndsTheProcess) {
  EXPECT_EQ(callsAtExit("exitOnStartingThread"), "DetachCurrentThread\n");
}

PROCESS_CASE(exitOnOtherThread) {
  onNewThread([] {
    keptLauncher = makeLauncher(RuntimeOperationMode::CalledRuntime).release();
    sendOne(*keptLauncher);
  });
}

TEST(LauncherEnd, AThreadThatOnlyEndsTheProcessIsNotDetachedInTheStartingThreadsStead) {
  EXPECT_EQ(callsAtExit("exitOnOtherThread"), "");
}

}  // namespace FerrolinkTest
