// What the launcher says of itself and of its JVM.
#include <gtest/gtest.h>

#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
namespace {

const std::string kEcho14 = "14: " + numbers(command());

}  // namespace

PROCESS_CASE(constants) {
  for (const auto mode : {RuntimeOperationMode::CalledRuntime, RuntimeOperationMode::CallingRuntime,
                          RuntimeOperationMode::NotSet}) {
    JvmLauncher launcher(mode);
    Bytes bytes = command();
    report(launcher.GetRuntimeName());
    report(launcher.GetRuntimeInfo());
    report(launcher.GetVersion());
    report(launcher.GetVersionString());
    report(launcher.LoadOptimizedMethod("name"));
    report(launcher.SetPath(2, "path"));
    report(launcher.DeployRuntime(bytes.data(), 14, "path", 1));
    report(launcher.IsInitialized());
    launcher.SetInitialized();
    report(launcher.IsInitialized());
  }
}

TEST(LauncherInfo, AFreshLauncherKnowsItsNameAndLittleElse) {
  const Texts each = {"Jvm", runtimeInfo("", ""), "0", "0.0", "1", "1", "1", "0", "1"};
  expectReport("constants", joined({each, each, each}));
}

PROCESS_CASE(initializeYields0) {
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  report(launcher.Initialize(77));
  report(launcher.GetRuntimeInfo());
  report(launcher.GetRuntimeInfoFromNativeLevel());
}

TEST(LauncherInfo, AnInitializedLauncherNamesItsJvmLibrary) {
  expectReport("initializeYields0", {"0", runtimeInfo(""), runtimeInfo("").substr(1)});
}

PROCESS_CASE(fullReport) {
  Started started;
  started.jvm.script().runtimeInfoText = "Line 1\nLine 2 \xC3\xBC";
  report(started.launcher.GetRuntimeInfo());
  started.launcher.AddToLibrariesToLoad("/dev/null");
  started.launcher.AddToLibrariesToLoad("/dev/zero");
  report(started.launcher.GetRuntimeInfo());
  started.jvm.script().runtimeInfoText = "";
  report(started.launcher.GetRuntimeInfo());
  report(outstanding(started.jvm));
}

TEST(LauncherInfo, TheReportHoldsTheLibrariesTheManagedPartAndTheNativePart) {
  const std::string managed = "Line 1\nLine 2 \xC3\xBC";
  const std::string libraries = "Loaded custom libraries:\n/dev/null\n/dev/zero\n";
  expectReport("fullReport", {runtimeInfo(managed), libraries + runtimeInfo(managed),
                              libraries + runtimeInfo(""), kOnlyStarted});
}

PROCESS_CASE(managedCalls) {
  Started started;
  report(started.launcher.GetRuntimeInfoFromManagedRuntime());
  reportAll(started.jvm.calls());
}

TEST(LauncherInfo, TheManagedPartIsAskedForWithTheseCallsInThisOrder) {
  expectReport("managedCalls", joined({{"Fake JVM\n"}, runtimeInfoCalls()}));
}

PROCESS_CASE(managedFromEveryThread) {
  Started started;
  report(started.launcher.GetRuntimeInfo());
  onNewThread([&] { report(started.launcher.GetRuntimeInfo()); });
  onNewThread([&] {
    const ThreadJniEnv attached(started.jvm.firstJvm());
    report(started.launcher.GetRuntimeInfo());
    report(started.jvm.countCalls("DetachCurrentThread"));
  });
  report(outstanding(started.jvm));
  onNewThreads(8, [&](int) { report(started.launcher.GetRuntimeInfoFromManagedRuntime()); });
  report(outstanding(started.jvm));
}

TEST(LauncherInfo, EveryThreadObtainsTheManagedPart) {
  expectReport("managedFromEveryThread",
               joined({{runtimeInfo(), runtimeInfo(), runtimeInfo(), "1", kStartedAndShared},
                       Texts(8, "Fake JVM\n"),
                       {kStartedAndShared}}));
}

PROCESS_CASE(threadCannotAsk) {
  Started started;
  started.jvm.inject({.call = "AttachCurrentThread", .occurrence = 1, .result = -1});
  onNewThread([&] { report(started.launcher.GetRuntimeInfo()); });
  onNewThread([&] { report(started.launcher.GetRuntimeInfo()); });
}

TEST(LauncherInfo, AThreadThatCannotBeAttachedReportsNoManagedPart) {
  expectReport("threadCannotAsk", {runtimeInfo(""), runtimeInfo()});
}

namespace {

struct InfoFault {
  const char* name;
  FakeJvm::Injection injection;
  Texts calls;         ///< after the environment was obtained
  const char* logged;  ///< after "JVM Launcher: Exception code "; null where nothing is raised
};

std::vector<InfoFault> infoFaults() {
  const std::string ask = "CallStaticObjectMethodV(getRuntimeInfo)";
  const std::string check = "ExceptionCheck";
  const Texts charactersHeld = {ask, check, "GetStringUTFChars", check};
  const std::string release = "ReleaseStringUTFChars";
  return {
      {"Null", {.call = ask, .null = true}, {ask, check}, nullptr},
      {"Thrown",
       {.call = ask, .null = true, .exception = true},
       joined({{ask, check}, raisedCalls()}),
       "028. JVM exception occurred"},
      {"ThrownBesides",
       {.call = ask, .exception = true},
       joined({{ask, check}, raisedCalls(), deletions(1)}),
       "028. JVM exception occurred"},
      {"NoCharacters",
       {.call = "GetStringUTFChars", .null = true},
       joined({charactersHeld, deletions(1)}),
       "029. Failed to get UTF chars"},
      {"NoCharactersAndThrown",
       {.call = "GetStringUTFChars", .null = true, .exception = true},
       joined({charactersHeld, {"ExceptionClear"}, deletions(1)}),
       "029. Failed to get UTF chars"},
      {"CharactersThrown",
       {.call = "GetStringUTFChars", .exception = true},
       joined({charactersHeld, raisedCalls(), {release}, deletions(1)}),
       "030. JVM exception occurred"},
      {"ReleaseThrown",
       {.call = release, .exception = true},
       joined({charactersHeld, {release, check}, raisedCalls(), deletions(1)}),
       "031. JVM exception occurred"},
  };
}

}  // namespace

PROCESS_CASE(infoFails) {
  Started started;
  started.jvm.inject(infoFaults()[std::stoul(caseArguments().front())].injection);
  report(started.launcher.GetRuntimeInfo());
  report(outstanding(started.jvm));
  reportAll(started.jvm.calls());
  report(started.launcher.GetRuntimeInfo());
  report(started.exchange(command()));
}

class LauncherInfoFault : public testing::TestWithParam<std::size_t> {};

TEST_P(LauncherInfoFault, LeavesTheManagedPartEmptyAndRaisesNothing) {
  const InfoFault fault = infoFaults()[GetParam()];
  const InstallationTree tree;
  CaseOptions options = loggedOptions(tree);
  options.arguments = {std::to_string(GetParam())};
  expectReport(
      "infoFails",
      joined(
          {{runtimeInfo(""), kOnlyStarted, "GetEnv(1.8)"}, fault.calls, {runtimeInfo(), kEcho14}}),
      tree, options);
  Texts logged;
  if (fault.logged != nullptr) {
    logged = {std::string("JVM Launcher: Exception code ") + fault.logged,
              launcherError(fault.logged, "")};
  }
  EXPECT_EQ(loggedErrors(tree), logged);
}

INSTANTIATE_TEST_SUITE_P(OfEveryCall, LauncherInfoFault,
                         testing::Range<std::size_t>(0, infoFaults().size()),
                         [](const auto& fault) { return infoFaults()[fault.param].name; });

PROCESS_CASE(versions) {
  Started started;
  for (const jint version :
       {0x00090000, 0x00010006, 0x00010008, 0x000A0000, 0x00150000, 0x000F000F, 0x00180000, -1}) {
    started.jvm.script().jniVersion = version;
    report(started.launcher.GetVersion());
    report(started.launcher.GetVersionString());
  }
  started.jvm.script().jniVersion = 0x00090000;
  onNewThread([&] { report(started.launcher.GetVersionString()); });
  report(outstanding(started.jvm));
}

TEST(LauncherInfo, TheVersionTextHoldsFourBitsOfEitherHalf) {
  expectReport("versions", {std::to_string(0x00090000), "9.0", std::to_string(0x00010006), "1.6",
                            std::to_string(0x00010008), "1.8", std::to_string(0x000A0000), "10.0",
                            std::to_string(0x00150000), "5.0", std::to_string(0x000F000F), "15.15",
                            std::to_string(0x00180000), "8.0", "-1", "15.15", "9.0", kOnlyStarted});
}

PROCESS_CASE(versionCannotBeAsked) {
  Started started;
  started.jvm.inject({.call = "GetEnv", .occurrence = 1, .result = -3});
  report(started.launcher.GetVersion());
  report(started.launcher.GetVersion());
}

TEST(LauncherInfo, AVersionThatCannotBeAskedIs0) {
  expectReport("versionCannotBeAsked", {"0", std::to_string(0x00010008)});
}

PROCESS_CASE(handleException) {
  Started started;
  report(thrownBy([&] {
    started.launcher.HandleException(FerrolinkNativeException("Some text", "Some context"));
  }));
}

TEST(LauncherInfo, HandleExceptionRaisesAnewWithTheRuntimeInformationAppended) {
  const InstallationTree tree;
  const CaseOptions options = loggedOptions(tree);
  const std::string error = "Some text\nRUNTIME INFO:\n" + runtimeInfo();
  expectReport("handleException", {error}, tree, options);
  EXPECT_EQ(loggedErrors(tree), (Texts{"Some text", error}));
}

}  // namespace FerrolinkTest
