// The doors of the library: the one receiver, the operation mode, configuration.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <mutex>
#include <sstream>
#include <system_error>

#include "jvm/JvmLib.h"
#include "jvm/JvmLibGlobals.h"
#include "jvm/JvmNativeReceiver.h"
#include "native/LibrariesFinder.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Runtimes::Jvm::Native::Receiver::JvmNativeReceiver;

namespace Ferrolink::Tests {
namespace {

constexpr auto kNotSet = RuntimeOperationMode::NotSet;
constexpr auto kCalling = RuntimeOperationMode::CallingRuntime;
constexpr auto kCalled = RuntimeOperationMode::CalledRuntime;

const std::string kCode032 =
    "Ferrolink Native Exception: Exception code 032. \nRuntime not initialized";

long Mode() {
  return static_cast<long>(operationMode.load());
}

std::string Contents(const std::filesystem::path& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

}  // namespace

PROCESS_CASE(nothingCreated) {
  Report(GetReceiver() == nullptr);
  Report(GetJNIEnv() == nullptr);
  emptyFunctionInNativeLib();
  Report(GetReceiver() == nullptr);
  Report(Mode());
}

TEST(EntryPoints, BeforeAnyCreationTheGettersYieldNullAndCreateNothing) {
  const CaseResult result = ExpectReport("nothingCreated", {"1", "1", "1", "-1"});
  EXPECT_EQ(result.out + result.err, "");
}

PROCESS_CASE(createdTwice) {
  IReceiver* first = CreateReceiver(kCalled);
  Report(first != nullptr);
  Report(CreateReceiver(kCalled) == first);
  Report(CreateReceiver(kCalling) == first);
  Report(CreateReceiver(kNotSet) == first);
  Report(GetReceiver() == first);
  Report(dynamic_cast<JvmNativeReceiver*>(first) != nullptr);
  Report(Mode());
}

TEST(EntryPoints, EveryCreationYieldsTheOneReceiver) {
  ExpectReport("createdTwice", {"1", "1", "1", "1", "1", "1", "1"});
}

PROCESS_CASE(firstModeWins) {
  const bool called = CaseArguments().front() == "called";
  CreateReceiver(called ? kCalled : kCalling);
  CreateReceiver(called ? kCalling : kCalled);
  Report(Mode());
  Report(ThrownBy([] { GetReceiver()->Initialize(7, 2, 0); }));
}

// Without a JVM to find, only a launching receiver fails to initialise.
TEST(EntryPoints, TheFirstCreatorFixesTheMode) {
  const InstallationTree tree;
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.arguments = {"called"};
  ExpectReport("firstModeWins",
               {"1", LauncherError("001. \nSet JAVA_HOME environment variable", "", "")}, tree,
               options);
  options.arguments = {"calling"};
  ExpectReport("firstModeWins", {"0", "(nothing thrown)"}, tree, options);
}

PROCESS_CASE(modeOfOtherRole) {
  operationMode = kCalled;
  CreateReceiver(kCalling);
  Report(Mode());
  Report(ThrownBy([] { GetReceiver()->Initialize(7, 2, 0); }).substr(0, 32));
}

TEST(EntryPoints, AModeThatTheOtherRoleFixedHoldsForTheReceiver) {
  const InstallationTree tree;
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  ExpectReport("modeOfOtherRole", {"1", "JVM Launcher: Exception code 001"}, tree, options);
}

PROCESS_CASE(createdWithoutMode) {
  Report(ThrownBy([] { CreateReceiver(kNotSet); }));
  Report(GetReceiver() == nullptr);
  Report(Mode());
  Report(createReceiverMutex.try_lock());
  createReceiverMutex.unlock();
  Report(ThrownBy([] { CreateReceiver(kNotSet); }));
  Report(CreateReceiver(kCalling) == GetReceiver());
  Report(Mode());
}

TEST(EntryPoints, CreationWithModeMinus1Raises032AndALaterCreationWorks) {
  const InstallationTree tree;
  const CaseOptions options = LoggedOptions(tree);
  ExpectReport("createdWithoutMode", {kCode032, "1", "-1", "1", kCode032, "1", "0"}, tree, options);
  EXPECT_EQ(LoggedErrors(tree), (Texts{kCode032, kCode032}));
}

namespace {

// LogMessage: inside the creation that is failing, its lock held.
void CreateAgain(const char* first, const char* second, const char* third) {
  Report(std::string(first) + "|" + second + "|" + third);
  try {
    CreateReceiver(kCalled);
    Report("created");
  } catch (const std::system_error& error) {
    Report(error.code() == std::errc::resource_deadlock_would_occur);
  }
  Report(GetReceiver() == nullptr);
}

}  // namespace

PROCESS_CASE(creationInsideCreation) {
  using Hook = void(const char*, const char*, const char*);
  void* utils = dlopen((CaseNativeDirectory() / "libUtils.so").c_str(), RTLD_NOW);
  reinterpret_cast<void (*)(Hook*)>(dlsym(utils, "HookedUtilsSetHook"))(&CreateAgain);
  Report(ThrownBy([] { CreateReceiver(kNotSet); }));
  Report(GetReceiver() == nullptr);
  Report(Mode());
  Report(CreateReceiver(kCalled) != nullptr);
}

TEST(EntryPoints, ACreatorInsideACreatorIsRefusedAsADeadlock) {
  const InstallationTree tree;
  tree.AddLibrary(HOOKEDUTILS_PATH, "libUtils.so");
  ExpectReport("creationInsideCreation",
               {"Native exception|Ferrolink Native Exception: Exception code 032. Runtime not "
                "initialized|Unknown",
                "1", "1", kCode032, "1", "-1", "1"},
               tree, LoggedOptions(tree));
}

PROCESS_CASE(createdByMany) {
  std::vector<IReceiver*> created(8);
  OnNewThreads(8, [&](int i) {
    created[static_cast<std::size_t>(i)] = CreateReceiver(i % 2 == 0 ? kCalled : kCalling);
  });
  Report(std::count(created.begin(), created.end(), GetReceiver()));
  Report(Mode() == 0 || Mode() == 1);
}

TEST(EntryPoints, ThreadsThatCreateAtOnceObtainTheSameReceiver) {
  ExpectReport("createdByMany", {"8", "1"});
}

PROCESS_CASE(createdWhileLocked) {
  IReceiver* existing = CreateReceiver(kCalled);
  const std::lock_guard<std::shared_mutex> lock(createReceiverMutex);
  Report(CreateReceiver(kCalled) == existing);
  OnNewThread([&] {
    Report(CreateReceiver(kCalling) == existing);
    Report(GetReceiver() == existing);
    Report(GetJNIEnv() == nullptr);
  });
}

TEST(EntryPoints, AnExistingReceiverIsObtainedWithoutTheLock) {
  ExpectReport("createdWhileLocked", {"1", "1", "1", "1"});
}

PROCESS_CASE(callbackEnvironment) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  const ThreadJniEnv thread(jvm.StartJvm());
  javaEnv = thread.m_jniEnv;
  Report(GetJNIEnv() == thread.m_jniEnv);
  javaEnv = nullptr;
  Report(GetJNIEnv() == nullptr);
}

TEST(EntryPoints, GetJniEnvYieldsTheEnvironmentOfTheCallbacksRegistration) {
  ExpectReport("callbackEnvironment", {"1", "1"});
}

PROCESS_CASE(configuration) {
  Report(SetConfigSource("source text"));
  Report(SetWorkingDirectoryPath("/some/directory"));
  Report(GetReceiver() == nullptr);
  Report(Mode());
}

TEST(EntryPoints, ConfigurationIsHandedOnAndItsResultPassedThrough) {
  const InstallationTree tree;
  CaseOptions options = LoggedOptions(tree);
  options.environment["FAKE_CONFIGS_SetConfigSource"] = "41";
  options.environment["FAKE_CONFIGS_SetWorkingDirectory"] = "-42";
  options.environment["FAKE_CONFIGS_CALLS"] = (tree.Root() / "calls").string();
  ExpectReport("configuration", {"41", "-42", "1", "-1"}, tree, options);
  EXPECT_EQ(Contents(tree.Root() / "calls"),
            "SetConfigSource(source text)\nSetWorkingDirectory(/some/directory)\n");
}

PROCESS_CASE(configurationFails) {
  Report(ThrownBy([] { SetConfigSource("source"); }));
  Report(ThrownBy([] { SetWorkingDirectoryPath("path"); }));
}

TEST(EntryPoints, ErrorsOfTheConfigurationLeaveAsExceptions) {
  const InstallationTree tree;
  CaseOptions options = LoggedOptions(tree);
  options.environment["FAKE_CONFIGS_THROW_SetConfigSource"] = "no such source";
  options.environment["FAKE_CONFIGS_THROW_SetWorkingDirectory"] = "no such path";
  ExpectReport("configurationFails", {"no such source", "no such path"}, tree, options);
}

PROCESS_CASE(wholeReceiver) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  IReceiver* made = CreateReceiver(kCalled);
  Report(made->Initialize(7, 2, 0));
  Report(jvm.CountCalls("JNI_"));
  Bytes bytes = Command();
  Report(made->SendCommand(bytes.data(), 14));
  Bytes buffer(14);
  Report(made->ReadResponse(buffer.data(), 14));
  Report(Numbers(buffer));
  Report(made->LoadOptimizedMethod("method"));
  Report(made->SetEmbeddedRuntime(2, "path"));
  Report(made->DeployRuntime(bytes.data(), 14, "path", 3));
  Report(ThrownBy([&] { made->ReadResponse(buffer.data(), 14); }));
}

TEST(EntryPoints, TheReceiverCarriesCommandsIntoTheJvmItStarts) {
  const InstallationTree tree;
  CaseOptions options = FakeJvmOptions();
  options.environment["FERROLINK_LOGGING_LEVEL"] = "runtimeinfo";
  const CaseResult result = ExpectReport("wholeReceiver",
                                         {"0", "0", "14", "0", Numbers(Command()), "1", "1", "1",
                                          LauncherError("017.\nError while reading response")},
                                         tree, options);
  EXPECT_EQ(result.out,
            "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " +
                std::string(FAKEJVM_PATH) + "\n" + RuntimeInfo("") + "\nFake JVM\n\n");
}

PROCESS_CASE(receiverWithoutMode) {
  Report(ThrownBy([] { const JvmNativeReceiver made(kNotSet); }));
}

TEST(EntryPoints, AReceiverCannotBeMadeWithoutAMode) {
  const InstallationTree tree;
  CaseOptions options = FakeJvmOptions();
  options.environment["FERROLINK_DEBUG_MODE"] = "true";
  const CaseResult result = ExpectReport("receiverWithoutMode", {kCode032}, tree, options);
  EXPECT_EQ(result.out, "");  // no launcher was made: it would have announced the variable
}

}  // namespace Ferrolink::Tests
