// Finding and opening the JVM library.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "native/Loader.h"
#include "tests/jvm/LauncherFixture.h"
#include "tests/jvm/LoaderProbe.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;
namespace fs = std::filesystem;
namespace Loader = Ferrolink::Native::Loader;

namespace FerrolinkTest {
namespace {

const std::string kVariableLine =
    "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: ";
const std::string kHint =
    "Check JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
    "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file ";
const std::string kInJre = "/jre/lib/server/libjvm.so";
const std::string kInJdk = "/lib/server/libjvm.so";

std::string noLibrary(const std::string& path) {
  return launcherError("002. \n" + kHint + "(libjvm.so)", "", path + kInJdk);
}

std::string noEntryPoint(const std::string& path) {
  return launcherError("003. \n" + kHint + "(jvm.dll or libjvm.so or libjvm.dylib)", "", path);
}

void install(const fs::path& library, const fs::path& target) {
  fs::create_directories(target.parent_path());
  fs::copy_file(library, target);
}

CaseOptions options(const std::map<std::string, std::string>& environment) {
  CaseOptions result;
  result.environment = environment;
  result.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  return result;
}

// What Initialize throws, then the JVM library candidates that were opened.
void reportInitialize(JvmLauncher& launcher) {
  report(thrownBy([&] { launcher.Initialize(0); }));
  for (const LoaderProbe::Opening& opening : LoaderProbe::openings()) {
    if (opening.path.find("libConfigs.so") == std::string::npos) {
      report(opening.path);
    }
  }
}

}  // namespace

PROCESS_CASE(initialize) {
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  reportInitialize(launcher);
}

TEST(LauncherDiscovery, AConfiguredPathWinsOverBothVariables) {
  const InstallationTree tree;
  tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  const std::string home = (tree.root() / "jdk").string();
  install(FAKEJVM_PATH, home + kInJdk);
  const std::string calls = (tree.root() / "calls").string();
  const CaseResult result =
      expectReport("initialize", {"(nothing thrown)", home, home + kInJre, home + kInJdk}, tree,
                   options({{"FAKE_CONFIGS_GetChannelRuntimePath", home},
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
  tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  const std::string home = (tree.root() / "wrong").string();
  const CaseResult result =
      expectReport("initialize", {noLibrary(home), home, home + kInJre, home + kInJdk}, tree,
                   options({{"FAKE_CONFIGS_GetChannelRuntimePath", home},
                            {"FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH},
                            {"JAVA_HOME", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, "Looking for JVM runtime in path: " + home + "\n");
}

TEST(LauncherDiscovery, AConfigurationThatCannotBeAskedIsSkipped) {
  for (const char* fault :
       {"FAKE_CONFIGS_FAIL_GetChannelRuntimePath", "FAKE_CONFIGS_THROW_GetChannelRuntimePath"}) {
    const InstallationTree tree;
    tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    const CaseResult result = expectReport(
        "initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
        options({{fault, "no such channel"}, {"FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH}}));
    EXPECT_EQ(result.out, kVariableLine + FAKEJVM_PATH + "\n");
  }
}

TEST(LauncherDiscovery, AnEmptyConfiguredPathCountsAsNone) {
  const InstallationTree tree;
  tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  const CaseResult result = expectReport("initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
                                         options({{"JAVA_HOME", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, "");
}

TEST(LauncherDiscovery, TheVariableMayNameTheLibraryFile) {
  const InstallationTree tree;
  const CaseResult result = expectReport(
      "initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
      options({{"FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH}, {"JAVA_HOME", "/nowhere"}}));
  EXPECT_EQ(result.out, kVariableLine + FAKEJVM_PATH + "\n");
  EXPECT_EQ(result.err, "");
}

TEST(LauncherDiscovery, TheVariableMayNameAHomeOfEitherLayout) {
  for (const std::string& layout : {kInJre, kInJdk}) {
    const InstallationTree tree;
    const std::string home = tree.root().string();
    install(FAKEJVM_PATH, home + layout);
    Texts expected = {"(nothing thrown)", home, home + kInJre};
    if (layout == kInJdk) {
      expected.push_back(home + kInJdk);
    }
    expectReport("initialize", expected, tree, options({{"FERROLINK_JVM_RUNTIME_PATH", home}}));
  }
}

TEST(LauncherDiscovery, WithBothLayoutsTheJreIsTaken) {
  const InstallationTree tree;
  const std::string home = tree.root().string();
  install(FAKEJVM_PATH, home + kInJre);
  install(FAKEJVM_PATH, home + kInJdk);
  expectReport("initialize", {"(nothing thrown)", home, home + kInJre}, tree,
               options({{"JAVA_HOME", home}}));
}

TEST(LauncherDiscovery, AnEmptyVariableIsAnnouncedAndJavaHomeIsUsed) {
  const InstallationTree tree;
  const CaseResult result =
      expectReport("initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
                   options({{"FERROLINK_JVM_RUNTIME_PATH", ""}, {"JAVA_HOME", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, kVariableLine + "\n");
}

TEST(LauncherDiscovery, JavaHomeAloneIsUsedWithoutALine) {
  const InstallationTree tree;
  const CaseResult result = expectReport("initialize", {"(nothing thrown)", FAKEJVM_PATH}, tree,
                                         options({{"JAVA_HOME", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, "");
}

TEST(LauncherDiscovery, AnEmptyJavaHomeLeadsToTheProcessItselfWhichHasNoEntryPoints) {
  const InstallationTree tree;
  expectReport("initialize", {noEntryPoint(""), ""}, tree, options({{"JAVA_HOME", ""}}));
}

TEST(LauncherDiscovery, WithNowhereToLookCode001IsRaised) {
  const InstallationTree tree;
  const std::string error = launcherError("001. \nSet JAVA_HOME environment variable", "", "");
  EXPECT_EQ(expectReport("initialize", {error}, tree, options({})).out, "");
  EXPECT_EQ(
      expectReport("initialize", {error}, tree, options({{"FERROLINK_JVM_RUNTIME_PATH", ""}})).out,
      kVariableLine + "\n");
}

TEST(LauncherDiscovery, WhereNoCandidateLoadsCode002IsRaisedAndLogged) {
  const InstallationTree tree;
  CaseOptions logged = loggedOptions(tree);
  logged.environment["FERROLINK_JVM_RUNTIME_PATH"] = "/nowhere";
  expectReport("initialize",
               {noLibrary("/nowhere"), "/nowhere", "/nowhere" + kInJre, "/nowhere" + kInJdk}, tree,
               logged);
  const Texts errors = loggedErrors(tree);
  ASSERT_EQ(errors.size(), 2U);
  EXPECT_EQ(errors[0], "JVM Launcher: Exception code 002. \n" + kHint + "(libjvm.so)");
  EXPECT_EQ(errors[1], noLibrary("/nowhere"));
}

TEST(LauncherDiscovery, RepeatedSeparatorsCollapseAndATrailingOneStays) {
  const InstallationTree tree;
  const std::string root = tree.root().string();
  expectReport("initialize",
               {noLibrary(root + "/no/where/"), root + "/no/where/", root + "/no/where/" + kInJre,
                root + "/no/where/" + kInJdk},
               tree, options({{"JAVA_HOME", "/" + root + "//no///where//"}}));
  install(FAKEJVM_PATH, root + "/jdk" + kInJdk);
  expectReport("initialize",
               {"(nothing thrown)", root + "/jdk", root + "/jdk" + kInJre, root + "/jdk" + kInJdk},
               tree, options({{"JAVA_HOME", root + "//jdk"}}));
  expectReport("initialize", {noLibrary("/"), "/", "/" + kInJre, "/" + kInJdk}, tree,
               options({{"JAVA_HOME", "///"}}));
}

TEST(LauncherDiscovery, ALibraryThatLacksAnEntryPointRaises003) {
  for (const std::string library : {FAKEJVMWITHOUTCREATE_PATH, FAKEJVMWITHOUTCREATED_PATH}) {
    const InstallationTree tree;
    expectReport("initialize", {noEntryPoint(library), library}, tree,
                 options({{"JAVA_HOME", library}}));
  }
}

PROCESS_CASE(globalJvm) {
  FakeJvmClient jvm(FAKEJVM_PATH, RTLD_NOW | RTLD_GLOBAL);
  LoaderProbe::silenceErrors();
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  report(thrownBy([&] { launcher.Initialize(0); }));
  Bytes bytes = command();
  report(launcher.SendCommand(bytes.data(), 14));
  report(launcher.GetRuntimeInfo());
}

TEST(LauncherDiscovery, WithoutALoaderErrorTheProcesssGlobalScopeIsAsked) {
  const InstallationTree tree;
  expectReport("globalJvm",
               {"(nothing thrown)", "14", runtimeInfo("Fake JVM\n", "/nowhere" + kInJdk)}, tree,
               options({{"JAVA_HOME", "/nowhere"}}));
}

PROCESS_CASE(noGlobalJvm) {
  LoaderProbe::silenceErrors();
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  report(thrownBy([&] { launcher.Initialize(0); }));
}

TEST(LauncherDiscovery, WithoutALoaderErrorAndWithoutAGlobalJvmCode003IsRaised) {
  const InstallationTree tree;
  expectReport("noGlobalJvm", {noEntryPoint("/nowhere" + kInJdk)}, tree,
               options({{"JAVA_HOME", "/nowhere"}}));
}

PROCESS_CASE(flags) {
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  launcher.Initialize(0);
  for (const LoaderProbe::Opening& opening : LoaderProbe::openings()) {
    report(opening.flags);
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
  install(FAKEJVM_PATH, tree.root() / "lib/server/libjvm.so");
  expectReport("flags", {deep, deep, deep}, tree, options({{"JAVA_HOME", tree.root().string()}}));
}

PROCESS_CASE(initializeBinding) {
  JvmLauncher launcher(RuntimeOperationMode::CallingRuntime);
  reportInitialize(launcher);
}

TEST(LauncherDiscovery, ABindingLauncherLooksForNothing) {
  const InstallationTree tree;
  const CaseResult result = expectReport("initializeBinding", {"(nothing thrown)"}, tree,
                                         options({{"FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH}}));
  EXPECT_EQ(result.out, "");
}

PROCESS_CASE(failedThenFound) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  report(thrownBy([&] { launcher.Initialize(0); }).substr(0, 32));
  setenv("FERROLINK_JVM_RUNTIME_PATH", FAKEJVM_PATH, 1);
  report(thrownBy([&] { launcher.Initialize(0); }));
  Bytes bytes = command();
  report(launcher.SendCommand(bytes.data(), 14));
}

TEST(LauncherDiscovery, AfterAFailureInitializeMayBeTriedAgain) {
  const InstallationTree tree;
  expectReport("failedThenFound", {"JVM Launcher: Exception code 002", "(nothing thrown)", "14"},
               tree, options({{"FERROLINK_JVM_RUNTIME_PATH", "/nowhere"}}));
}

}  // namespace FerrolinkTest
