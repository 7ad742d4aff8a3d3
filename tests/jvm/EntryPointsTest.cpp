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

namespace FerrolinkTest {
namespace {

constexpr auto kNotSet = RuntimeOperationMode::NotSet;
constexpr auto kCalling = RuntimeOperationMode::CallingRuntime;
constexpr auto kCalled = RuntimeOperationMode::CalledRuntime;

const std::string kCode032 =
    "Ferrolink Native Exception: Exception code 032. \nRuntime not initialized";

long mode() {
  return static_cast<long>(operationMode.load());
}

std::string contents(const std::filesystem::path& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

}  // namespace

PROCESS_CASE(nothingCreated) {
  report(GetReceiver() == nullptr);
  report(GetJNIEnv() == nullptr);
  emptyFunctionInNativeLib();
  report(GetReceiver() == nullptr);
  report(mode());
}

TEST(EntryPoints, BeforeAnyCreationTheGettersYieldNullAndCreateNothing) {
  const CaseResult result = expectReport("nothingCreated", {"1", "1", "1", "-1"});
  EXPECT_EQ(result.out + result.err, "");
}

PROCESS_CASE(createdTwice) {
  IReceiver* first = CreateReceiver(kCalled);
  report(first != nullptr);
  report(CreateReceiver(kCalled) == first);
  report(CreateReceiver(kCalling) == first);
  report(CreateReceiver(kNotSet) == first);
  report(GetReceiver() == first);
  report(dynamic_cast<JvmNativeReceiver*>(first) != nullptr);
  report(mode());
}

TEST(EntryPoints, EveryCreationYieldsTheOneReceiver) {
  expectReport("createdTwice", {"1", "1", "1", "1", "1", "1", "1"});
}

PROCESS_CASE(firstModeWins) {
  const bool called = caseArguments().front() == "called";
  CreateReceiver(called ? kCalled : kCalling);
  CreateReceiver(called ? kCalling : kCalled);
  report(mode());
  report(thrownBy([] { GetReceiver()->Initialize(7, 2, 0); }));
}

// Without a JVM to find, only a launching receiver fails to initialise.
TEST(EntryPoints, TheFirstCreatorFixesTheMode) {
  const InstallationTree tree;
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.arguments = {"called"};
  expectReport("firstModeWins",
               {"1", launcherError("001. \nSet JAVA_HOME environment variable", "", "")}, tree,
               options);
  options.arguments = {"calling"};
  expectReport("firstModeWins", {"0", "(nothing thrown)"}, tree, options);
}

PROCESS_CASE(modeOfOtherRole) {
  operationMode = kCalled;
  CreateReceiver(kCalling);
  report(mode());
  report(thrownBy([] { GetReceiver()->Initialize(7, 2, 0); }).substr(0, 32));
}

TEST(EntryPoints, AModeThatTheOtherRoleFixedHoldsForTheReceiver) {
  const InstallationTree tree;
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  expectReport("modeOfOtherRole", {"1", "JVM Launcher: Exception code 001"}, tree, options);
}

PROCESS_CASE(createdWithoutMode) {
  report(thrownBy([] { CreateReceiver(kNotSet); }));
  report(GetReceiver() == nullptr);
  report(mode());
  report(createReceiverMutex.try_lock());
  createReceiverMutex.unlock();
  report(thrownBy([] { CreateReceiver(kNotSet); }));
  report(CreateReceiver(kCalling) == GetReceiver());
  report(mode());
}

TEST(EntryPoints, CreationWithModeMinus1Raises032AndALaterCreationWorks) {
  const InstallationTree tree;
  const CaseOptions options = loggedOptions(tree);
  expectReport("createdWithoutMode", {kCode032, "1", "-1", "1", kCode032, "1", "0"}, tree, options);
  EXPECT_EQ(loggedErrors(tree), (Texts{kCode032, kCode032}));
}

namespace {

// LogMessage: inside the creation that is failing, its lock held.
void createAgain(const char* first, const char* second, const char* third) {
  report(std::string(first) + "|" + second + "|" + third);
  try {
    CreateReceiver(kCalled);
    report("created");
  } catch (const std::system_error& error) {
    report(error.code() == std::errc::resource_deadlock_would_occur);
  }
  report(GetReceiver() == nullptr);
}

}  // namespace

PROCESS_CASE(creationInsideCreation) {
  using Hook = void(const char*, const char*, const char*);
  void* utils = dlopen((caseNativeDirectory() / "libUtils.so").c_str(), RTLD_NOW);
  reinterpret_cast<void (*)(Hook*)>(dlsym(utils, "hookedUtils_setHook"))(&createAgain);
  report(thrownBy([] { CreateReceiver(kNotSet); }));
  report(GetReceiver() == nullptr);
  report(mode());
  report(CreateReceiver(kCalled) != nullptr);
}

TEST(EntryPoints, ACreatorInsideACreatorIsRefusedAsADeadlock) {
  const InstallationTree tree;
  tree.addLibrary(HOOKEDUTILS_PATH, "libUtils.so");
  expectReport("creationInsideCreation",
               {"Native exception|Ferrolink Native Exception: Exception code 032. Runtime not "
                "initialized|Unknown",
                "1", "1", kCode032, "1", "-1", "1"},
               tree, loggedOptions(tree));
}

PROCESS_CASE(createdByMany) {
  std::vector<IReceiver*> created(8);
  onNewThreads(8, [&](int i) {
    created[static_cast<std::size_t>(i)] = CreateReceiver(i % 2 == 0 ? kCalled : kCalling);
  });
  report(std::count(created.begin(), created.end(), GetReceiver()));
  report(mode() == 0 || mode() == 1);
}

TEST(EntryPoints, ThreadsThatCreateAtOnceObtainTheSameReceiver) {
  expectReport("createdByMany", {"8", "1"});
}

PROCESS_CASE(createdWhileLocked) {
  IReceiver* existing = CreateReceiver(kCalled);
  const std::lock_guard<std::shared_mutex> lock(createReceiverMutex);
  report(CreateReceiver(kCalled) == existing);
  onNewThread([&] {
    report(CreateReceiver(kCalling) == existing);
    report(GetReceiver() == existing);
    report(GetJNIEnv() == nullptr);
  });
}

TEST(EntryPoints, AnExistingReceiverIsObtainedWithoutTheLock) {
  expectReport("createdWhileLocked", {"1", "1", "1", "1"});
}

PROCESS_CASE(callbackEnvironment) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  const ThreadJniEnv thread(jvm.startJvm());
  javaEnv = thread.m_jniEnv;
  report(GetJNIEnv() == thread.m_jniEnv);
  javaEnv = nullptr;
  report(GetJNIEnv() == nullptr);
}

TEST(EntryPoints, GetJniEnvYieldsTheEnvironmentOfTheCallbacksRegistration) {
  expectReport("callbackEnvironment", {"1", "1"});
}

PROCESS_CASE(configuration) {
  report(SetConfigSource("source text"));
  report(SetWorkingDirectoryPath("/some/directory"));
  report(GetReceiver() == nullptr);
  report(mode());
}

TEST(EntryPoints, ConfigurationIsHandedOnAndItsResultPassedThrough) {
  const InstallationTree tree;
  CaseOptions options = loggedOptions(tree);
  options.environment["FAKE_CONFIGS_SetConfigSource"] = "41";
  options.environment["FAKE_CONFIGS_SetWorkingDirectory"] = "-42";
  options.environment["FAKE_CONFIGS_CALLS"] = (tree.root() / "calls").string();
  expectReport("configuration", {"41", "-42", "1", "-1"}, tree, options);
  EXPECT_EQ(contents(tree.root() / "calls"),
            "SetConfigSource(source text)\nSetWorkingDirectory(/some/directory)\n");
}

PROCESS_CASE(configurationFails) {
  report(thrownBy([] { SetConfigSource("source"); }));
  report(thrownBy([] { SetWorkingDirectoryPath("path"); }));
}

TEST(EntryPoints, ErrorsOfTheConfigurationLeaveAsExceptions) {
  const InstallationTree tree;
  CaseOptions options = loggedOptions(tree);
  options.environment["FAKE_CONFIGS_THROW_SetConfigSource"] = "no such source";
  options.environment["FAKE_CONFIGS_THROW_SetWorkingDirectory"] = "no such path";
  expectReport("configurationFails", {"no such source", "no such path"}, tree, options);
}

PROCESS_CASE(wholeReceiver) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  IReceiver* made = CreateReceiver(kCalled);
  report(made->Initialize(7, 2, 0));
  report(jvm.countCalls("JNI_"));
  Bytes bytes = command();
  report(made->SendCommand(bytes.data(), 14));
  Bytes buffer(14);
  report(made->ReadResponse(buffer.data(), 14));
  report(numbers(buffer));
  report(made->LoadOptimizedMethod("method"));
  report(made->SetEmbeddedRuntime(2, "path"));
  report(made->DeployRuntime(bytes.data(), 14, "path", 3));
  report(thrownBy([&] { made->ReadResponse(buffer.data(), 14); }));
}

TEST(EntryPoints, TheReceiverCarriesCommandsIntoTheJvmItStarts) {
  const InstallationTree tree;
  CaseOptions options = fakeJvmOptions();
  options.environment["FERROLINK_LOGGING_LEVEL"] = "runtimeinfo";
  const CaseResult result = expectReport("wholeReceiver",
                                         {"0", "0", "14", "0", numbers(command()), "1", "1", "1",
                                          launcherError("017.\nError while reading response")},
                                         tree, options);
  EXPECT_EQ(result.out,
            "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " +
                std::string(FAKEJVM_PATH) + "\n" + runtimeInfo("") + "\nFake JVM\n\n");
}

PROCESS_CASE(receiverWithoutMode) {
  report(thrownBy([] { const JvmNativeReceiver made(kNotSet); }));
}

TEST(EntryPoints, AReceiverCannotBeMadeWithoutAMode) {
  const InstallationTree tree;
  CaseOptions options = fakeJvmOptions();
  options.environment["FERROLINK_DEBUG_MODE"] = "true";
  const CaseResult result = expectReport("receiverWithoutMode", {kCode032}, tree, options);
  EXPECT_EQ(result.out, "");  // no launcher was made: it would have announced the variable
}

}  // namespace FerrolinkTest
