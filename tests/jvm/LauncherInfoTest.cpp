// What the launcher says of itself and of its JVM.
#include <gtest/gtest.h>

#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

const std::string kEcho14 = "14: " + Numbers(Command());

}  // namespace

PROCESS_CASE(constants) {
  for (const auto mode : {RuntimeOperationMode::CalledRuntime, RuntimeOperationMode::CallingRuntime,
                          RuntimeOperationMode::NotSet}) {
    JvmLauncher launcher(mode);
    Bytes bytes = Command();
    Report(launcher.GetRuntimeName());
    Report(launcher.GetRuntimeInfo());
    Report(launcher.GetVersion());
    Report(launcher.GetVersionString());
    Report(launcher.LoadOptimizedMethod("name"));
    Report(launcher.SetPath(2, "path"));
    Report(launcher.DeployRuntime(bytes.data(), 14, "path", 1));
    Report(launcher.IsInitialized());
    launcher.SetInitialized();
    Report(launcher.IsInitialized());
  }
}

TEST(LauncherInfo, AFreshLauncherKnowsItsNameAndLittleElse) {
  const Texts each = {"Jvm", RuntimeInfo("", ""), "0", "0.0", "1", "1", "1", "0", "1"};
  ExpectReport("constants", Joined({each, each, each}));
}

PROCESS_CASE(initializeYields0) {
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  Report(launcher.Initialize(77));
  Report(launcher.GetRuntimeInfo());
  Report(launcher.GetRuntimeInfoFromNativeLevel());
}

TEST(LauncherInfo, AnInitializedLauncherNamesItsJvmLibrary) {
  ExpectReport("initializeYields0", {"0", RuntimeInfo(""), RuntimeInfo("").substr(1)});
}

PROCESS_CASE(fullReport) {
  Started started;
  started.jvm.Script().runtimeInfoText = "Line 1\nLine 2 \xC3\xBC";
  Report(started.launcher.GetRuntimeInfo());
  started.launcher.AddToLibrariesToLoad("/dev/null");
  started.launcher.AddToLibrariesToLoad("/dev/zero");
  Report(started.launcher.GetRuntimeInfo());
  started.jvm.Script().runtimeInfoText = "";
  Report(started.launcher.GetRuntimeInfo());
  Report(Outstanding(started.jvm));
}

TEST(LauncherInfo, TheReportHoldsTheLibrariesTheManagedPartAndTheNativePart) {
  const std::string managed = "Line 1\nLine 2 \xC3\xBC";
  const std::string libraries = "Loaded custom libraries:\n/dev/null\n/dev/zero\n";
  ExpectReport("fullReport", {RuntimeInfo(managed), libraries + RuntimeInfo(managed),
                              libraries + RuntimeInfo(""), kOnlyStarted});
}

PROCESS_CASE(managedCalls) {
  Started started;
  Report(started.launcher.GetRuntimeInfoFromManagedRuntime());
  ReportAll(started.jvm.Calls());
}

TEST(LauncherInfo, TheManagedPartIsAskedForWithTheseCallsInThisOrder) {
  ExpectReport("managedCalls", Joined({{"Fake JVM\n"}, RuntimeInfoCalls()}));
}

PROCESS_CASE(managedFromEveryThread) {
  Started started;
  Report(started.launcher.GetRuntimeInfo());
  OnNewThread([&] { Report(started.launcher.GetRuntimeInfo()); });
  OnNewThread([&] {
    const ThreadJniEnv attached(started.jvm.FirstJvm());
    Report(started.launcher.GetRuntimeInfo());
    Report(started.jvm.CountCalls("DetachCurrentThread"));
  });
  Report(Outstanding(started.jvm));
  OnNewThreads(8, [&](int) { Report(started.launcher.GetRuntimeInfoFromManagedRuntime()); });
  Report(Outstanding(started.jvm));
}

TEST(LauncherInfo, EveryThreadObtainsTheManagedPart) {
  ExpectReport("managedFromEveryThread",
               Joined({{RuntimeInfo(), RuntimeInfo(), RuntimeInfo(), "1", kStartedAndShared},
                       Texts(8, "Fake JVM\n"),
                       {kStartedAndShared}}));
}

PROCESS_CASE(threadCannotAsk) {
  Started started;
  started.jvm.Inject({.call = "AttachCurrentThread", .occurrence = 1, .result = -1});
  OnNewThread([&] { Report(started.launcher.GetRuntimeInfo()); });
  OnNewThread([&] { Report(started.launcher.GetRuntimeInfo()); });
}

TEST(LauncherInfo, AThreadThatCannotBeAttachedReportsNoManagedPart) {
  ExpectReport("threadCannotAsk", {RuntimeInfo(""), RuntimeInfo()});
}

namespace {

struct InfoFault {
  const char* name;
  FakeJvm::Injection injection;
  Texts calls;         ///< after the environment was obtained
  const char* logged;  ///< after "JVM Launcher: Exception code "; null where nothing is raised
};

std::vector<InfoFault> InfoFaults() {
  const std::string ask = "CallStaticObjectMethodV(getRuntimeInfo)";
  const std::string check = "ExceptionCheck";
  const Texts charactersHeld = {ask, check, "GetStringUTFChars", check};
  const std::string release = "ReleaseStringUTFChars";
  return {
      {"Null", {.call = ask, .null = true}, {ask, check}, nullptr},
      {"Thrown",
       {.call = ask, .null = true, .exception = true},
       Joined({{ask, check}, RaisedCalls()}),
       "028. JVM exception occurred"},
      {"ThrownBesides",
       {.call = ask, .exception = true},
       Joined({{ask, check}, RaisedCalls(), Deletions(1)}),
       "028. JVM exception occurred"},
      {"NoCharacters",
       {.call = "GetStringUTFChars", .null = true},
       Joined({charactersHeld, Deletions(1)}),
       "029. Failed to get UTF chars"},
      {"NoCharactersAndThrown",
       {.call = "GetStringUTFChars", .null = true, .exception = true},
       Joined({charactersHeld, {"ExceptionClear"}, Deletions(1)}),
       "029. Failed to get UTF chars"},
      {"CharactersThrown",
       {.call = "GetStringUTFChars", .exception = true},
       Joined({charactersHeld, RaisedCalls(), {release}, Deletions(1)}),
       "030. JVM exception occurred"},
      {"ReleaseThrown",
       {.call = release, .exception = true},
       Joined({charactersHeld, {release, check}, RaisedCalls(), Deletions(1)}),
       "031. JVM exception occurred"},
  };
}

}  // namespace

PROCESS_CASE(infoFails) {
  Started started;
  started.jvm.Inject(InfoFaults()[std::stoul(CaseArguments().front())].injection);
  Report(started.launcher.GetRuntimeInfo());
  Report(Outstanding(started.jvm));
  ReportAll(started.jvm.Calls());
  Report(started.launcher.GetRuntimeInfo());
  Report(started.Exchange(Command()));
}

class LauncherInfoFault : public testing::TestWithParam<std::size_t> {};

TEST_P(LauncherInfoFault, LeavesTheManagedPartEmptyAndRaisesNothing) {
  const InfoFault fault = InfoFaults()[GetParam()];
  const InstallationTree tree;
  CaseOptions options = LoggedOptions(tree);
  options.arguments = {std::to_string(GetParam())};
  ExpectReport(
      "infoFails",
      Joined(
          {{RuntimeInfo(""), kOnlyStarted, "GetEnv(1.8)"}, fault.calls, {RuntimeInfo(), kEcho14}}),
      tree, options);
  Texts logged;
  if (fault.logged != nullptr) {
    logged = {std::string("JVM Launcher: Exception code ") + fault.logged,
              LauncherError(fault.logged, "")};
  }
  EXPECT_EQ(LoggedErrors(tree), logged);
}

INSTANTIATE_TEST_SUITE_P(OfEveryCall, LauncherInfoFault,
                         testing::Range<std::size_t>(0, InfoFaults().size()),
                         [](const auto& fault) { return InfoFaults()[fault.param].name; });

PROCESS_CASE(versions) {
  Started started;
  for (const jint version :
       {0x00090000, 0x00010006, 0x00010008, 0x000A0000, 0x00150000, 0x000F000F, 0x00180000, -1}) {
    started.jvm.Script().jniVersion = version;
    Report(started.launcher.GetVersion());
    Report(started.launcher.GetVersionString());
  }
  started.jvm.Script().jniVersion = 0x00090000;
  OnNewThread([&] { Report(started.launcher.GetVersionString()); });
  Report(Outstanding(started.jvm));
}

TEST(LauncherInfo, TheVersionTextHoldsFourBitsOfEitherHalf) {
  ExpectReport("versions", {std::to_string(0x00090000), "9.0", std::to_string(0x00010006), "1.6",
                            std::to_string(0x00010008), "1.8", std::to_string(0x000A0000), "10.0",
                            std::to_string(0x00150000), "5.0", std::to_string(0x000F000F), "15.15",
                            std::to_string(0x00180000), "8.0", "-1", "15.15", "9.0", kOnlyStarted});
}

PROCESS_CASE(versionCannotBeAsked) {
  Started started;
  started.jvm.Inject({.call = "GetEnv", .occurrence = 1, .result = -3});
  Report(started.launcher.GetVersion());
  Report(started.launcher.GetVersion());
}

TEST(LauncherInfo, AVersionThatCannotBeAskedIs0) {
  ExpectReport("versionCannotBeAsked", {"0", std::to_string(0x00010008)});
}

PROCESS_CASE(handleException) {
  Started started;
  Report(ThrownBy([&] {
    started.launcher.HandleException(FerrolinkNativeException("Some text", "Some context"));
  }));
}

TEST(LauncherInfo, HandleExceptionRaisesAnewWithTheRuntimeInformationAppended) {
  const InstallationTree tree;
  const CaseOptions options = LoggedOptions(tree);
  const std::string error = "Some text\nRUNTIME INFO:\n" + RuntimeInfo();
  ExpectReport("handleException", {error}, tree, options);
  EXPECT_EQ(LoggedErrors(tree), (Texts{"Some text", error}));
}

}  // namespace Ferrolink::Tests
