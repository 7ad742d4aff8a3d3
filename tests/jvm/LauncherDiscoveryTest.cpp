// Finding and opening the JVM library.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "native/Loader.h"
#include "tests/jvm/LauncherFixture.h"
#include "tests/jvm/LoaderRecorder.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;
namespace fs = std::filesystem;
namespace Loader = Ferrolink::Native::Loader;

namespace Ferrolink::Tests {
namespace {

const std::string kVariableLine =
    "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: ";
const std::string kHint =
    "Check JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
    "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file ";
const std::string kInJre = "/jre/lib/server/libjvm.so";
const std::string kInJdk = "/lib/server/libjvm.so";

std::string NoLibrary(const std::string& path) {
  return LauncherError("002. \n" + kHint + "(libjvm.so)", "", path + kInJdk);
}

std::string NoEntryPoint(const std::string& path) {
  return LauncherError("003. \n" + kHint + "(jvm.dll or libjvm.so or libjvm.dylib)", "", path);
}

void Install(const fs::path& library, const fs::path& target) {
  fs::create_directories(target.parent_path());
  fs::copy_file(library, target);
}

CaseOptions Options(const std::map<std::string, std::string>& environment) {
  CaseOptions result;
  result.environment = environment;
  result.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  return result;
}

// What Initialize throws, then the JVM library candidates that were opened.
void ReportInitialize(JvmLauncher& launcher) {
  Report(ThrownBy([&] { launcher.Initialize(0); }));
  for (const LoaderRecorder::Opening& opening : LoaderRecorder::Openings()) {
    if (opening.path.find("libConfigs.so") == std::string::npos) {
      Report(opening.path);
    }
  }
}

}  // namespace

PROCESS_CASE(initialize) {
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  ReportInitialize(launcher);
}

TEST(LauncherDiscovery, AConfiguredPathWinsOverBothVariables) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  const std::string home = (tree.Root() / "jdk").string();
  Install(FAKEJVM_PATH, home + kInJdk);
  const std::string calls = (tree.Root() / "calls").string();
  const CaseResult result =
      ExpectReport("initialize", {"(nothing thrown)", home, home + kInJre, home + kInJdk}, tree,
                   Options({{"FAKE_CONFIGS_GetChannelRuntimePath", home},
                            {"FAKE_CONFIGS_CALLS", calls},
                            {"FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH},
                            {"JAVA_HOME", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, "Looking for JVM runtime in path: " + home + "\n");
  std::ostringstream asked;
  asked << std::ifstream(calls).rdbuf();
  EXPECT_EQ(asked.str(), "GetChannelRuntimePath(jvm, default)\n");
}

TEST(LauncherDiscovery, AConfiguredPathWinsEvenWhenItIsWrong) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  const std::string home = (tree.Root() / "wrong").string();
  const CaseResult result =
      ExpectReport("initialize", {NoLibrary(home), home, home + kInJre, home + kInJdk}, tree,
                   Options({{"FAKE_CONFIGS_GetChannelRuntimePath", home},
                            {"FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH},
                            {"JAVA_HOME", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, "Looking for JVM runtime in path: " + home + "\n");
}

TEST(LauncherDiscovery, AConfigurationThatCannotBeAskedIsSkipped) {
  for (const char* fault :
       {"FAKE_CONFIGS_FAIL_GetChannelRuntimePath", "FAKE_CONFIGS_THROW_GetChannelRuntimePath"}) {
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    const CaseResult result = ExpectReport(
        "initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
        Options({{fault, "no such channel"}, {"FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH}}));
    EXPECT_EQ(result.out, kVariableLine + FAKEJVM_PATH + "\n");
  }
}

TEST(LauncherDiscovery, AnEmptyConfiguredPathCountsAsNone) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  const CaseResult result = ExpectReport("initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
                                         Options({{"JAVA_HOME", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, "");
}

TEST(LauncherDiscovery, TheVariableMayNameTheLibraryFile) {
  const InstallationTree tree;
  const CaseResult result = ExpectReport(
      "initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
      Options({{"FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH}, {"JAVA_HOME", "/nowhere"}}));
  EXPECT_EQ(result.out, kVariableLine + FAKEJVM_PATH + "\n");
  EXPECT_EQ(result.err, "");
}

TEST(LauncherDiscovery, TheVariableMayNameAHomeOfEitherLayout) {
  for (const std::string& layout : {kInJre, kInJdk}) {
    const InstallationTree tree;
    const std::string home = tree.Root().string();
    Install(FAKEJVM_PATH, home + layout);
    Texts expected = {"(nothing thrown)", home, home + kInJre};
    if (layout == kInJdk) {
      expected.push_back(home + kInJdk);
    }
    ExpectReport("initialize", expected, tree, Options({{"FERROLINK_JVM_RUNTIME_PATH", home}}));
  }
}

TEST(LauncherDiscovery, WithBothLayoutsTheJreIsTaken) {
  const InstallationTree tree;
  const std::string home = tree.Root().string();
  Install(FAKEJVM_PATH, home + kInJre);
  Install(FAKEJVM_PATH, home + kInJdk);
  ExpectReport("initialize", {"(nothing thrown)", home, home + kInJre}, tree,
               Options({{"JAVA_HOME", home}}));
}

TEST(LauncherDiscovery, AnEmptyVariableIsAnnouncedAndJavaHomeIsUsed) {
  const InstallationTree tree;
  const CaseResult result =
      ExpectReport("initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
                   Options({{"FERROLINK_JVM_RUNTIME_PATH", ""}, {"JAVA_HOME", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, kVariableLine + "\n");
}

TEST(LauncherDiscovery, JavaHomeAloneIsUsedWithoutALine) {
  const InstallationTree tree;
  const CaseResult result = ExpectReport("initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
                                         Options({{"JAVA_HOME", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, "");
}

TEST(LauncherDiscovery, AnEmptyJavaHomeLeadsToTheProcessItselfWhichHasNoEntryPoints) {
  const InstallationTree tree;
  ExpectReport("initialize", {NoEntryPoint(""), ""}, tree, Options({{"JAVA_HOME", ""}}));
}

TEST(LauncherDiscovery, WithNowhereToLookCode001IsRaised) {
  const InstallationTree tree;
  const std::string error = LauncherError("001. \nSet JAVA_HOME environment variable", "", "");
  EXPECT_EQ(ExpectReport("initialize", {error}, tree, Options({})).out, "");
  EXPECT_EQ(
      ExpectReport("initialize", {error}, tree, Options({{"FERROLINK_JVM_RUNTIME_PATH", ""}})).out,
      kVariableLine + "\n");
}

TEST(LauncherDiscovery, WhereNoCandidateLoadsCode002IsRaisedAndLogged) {
  const InstallationTree tree;
  CaseOptions logged = LoggedOptions(tree);
  logged.environment["FERROLINK_JVM_RUNTIME_PATH"] = "/nowhere";
  ExpectReport("initialize",
               {NoLibrary("/nowhere"), "/nowhere", "/nowhere" + kInJre, "/nowhere" + kInJdk}, tree,
               logged);
  const Texts errors = LoggedErrors(tree);
  ASSERT_EQ(errors.size(), 2U);
  EXPECT_EQ(errors[0], "JVM Launcher: Exception code 002. \n" + kHint + "(libjvm.so)");
  EXPECT_EQ(errors[1], NoLibrary("/nowhere"));
}

TEST(LauncherDiscovery, RepeatedSeparatorsCollapseAndATrailingOneStays) {
  const InstallationTree tree;
  const std::string root = tree.Root().string();
  ExpectReport("initialize",
               {NoLibrary(root + "/no/where/"), root + "/no/where/", root + "/no/where/" + kInJre,
                root + "/no/where/" + kInJdk},
               tree, Options({{"JAVA_HOME", "/" + root + "//no///where//"}}));
  Install(FAKEJVM_PATH, root + "/jdk" + kInJdk);
  ExpectReport("initialize",
               {"(nothing thrown)", root + "/jdk", root + "/jdk" + kInJre, root + "/jdk" + kInJdk},
               tree, Options({{"JAVA_HOME", root + "//jdk"}}));
  ExpectReport("initialize", {NoLibrary("/"), "/", "/" + kInJre, "/" + kInJdk}, tree,
               Options({{"JAVA_HOME", "///"}}));
}

TEST(LauncherDiscovery, ALibraryThatLacksAnEntryPointRaises003) {
  for (const std::string library : {FAKEJVMWITHOUTCREATE_PATH, FAKEJVMWITHOUTCREATED_PATH}) {
    const InstallationTree tree;
    ExpectReport("initialize", {NoEntryPoint(library), library}, tree,
                 Options({{"JAVA_HOME", library}}));
  }
}

PROCESS_CASE(globalJvm) {
  FakeJvmClient jvm(FAKEJVM_PATH, RTLD_NOW | RTLD_GLOBAL);
  LoaderRecorder::SilenceErrors();
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  Report(ThrownBy([&] { launcher.Initialize(0); }));
  Bytes bytes = Command();
  Report(launcher.SendCommand(bytes.data(), 14));
  Report(launcher.GetRuntimeInfo());
}

TEST(LauncherDiscovery, WithoutALoaderErrorTheProcesssGlobalScopeIsAsked) {
  const InstallationTree tree;
  ExpectReport("globalJvm",
               {"(nothing thrown)", "14", RuntimeInfo("Fake JVM\n", "/nowhere" + kInJdk)}, tree,
               Options({{"JAVA_HOME", "/nowhere"}}));
}

PROCESS_CASE(noGlobalJvm) {
  LoaderRecorder::SilenceErrors();
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  Report(ThrownBy([&] { launcher.Initialize(0); }));
}

TEST(LauncherDiscovery, WithoutALoaderErrorAndWithoutAGlobalJvmCode003IsRaised) {
  const InstallationTree tree;
  ExpectReport("noGlobalJvm", {NoEntryPoint("/nowhere" + kInJdk)}, tree,
               Options({{"JAVA_HOME", "/nowhere"}}));
}

PROCESS_CASE(flags) {
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  launcher.Initialize(0);
  for (const LoaderRecorder::Opening& opening : LoaderRecorder::Openings()) {
    Report(opening.flags);
  }
}

// 10 everywhere but under the sanitizers, which refuse deep binding.
TEST(LauncherDiscovery, TheJvmLibraryIsOpenedDeeplyBound) {
#if defined(FERROLINK_SANITIZED)
  const std::string deep = std::to_string(RTLD_NOW);
#else
  const std::string deep = "10";
#endif
  EXPECT_EQ(std::to_string(Loader::kBindDeep), deep);
  const InstallationTree tree;
  Install(FAKEJVM_PATH, tree.Root() / "lib/server/libjvm.so");
  ExpectReport("flags", {deep, deep, deep}, tree, Options({{"JAVA_HOME", tree.Root().string()}}));
}

PROCESS_CASE(initializeBinding) {
  JvmLauncher launcher(RuntimeOperationMode::CallingRuntime);
  ReportInitialize(launcher);
}

TEST(LauncherDiscovery, ABindingLauncherLooksForNothing) {
  const InstallationTree tree;
  const CaseResult result = ExpectReport("initializeBinding", {"(nothing thrown)"}, tree,
                                         Options({{"FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, "");
}

PROCESS_CASE(failedThenFound) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  Report(ThrownBy([&] { launcher.Initialize(0); }).substr(0, 32));
  setenv("FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH, 1);
  Report(ThrownBy([&] { launcher.Initialize(0); }));
  Bytes bytes = Command();
  Report(launcher.SendCommand(bytes.data(), 14));
}

TEST(LauncherDiscovery, AfterAFailureInitializeMayBeTriedAgain) {
  const InstallationTree tree;
  ExpectReport("failedThenFound", {"JVM Launcher: Exception code 002", "(nothing thrown)", "14"},
               tree, Options({{"FERROLINK_JVM_RUNTIME_PATH", "/nowhere"}}));
}

}  // namespace Ferrolink::Tests
