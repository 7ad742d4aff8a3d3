#include "jvm/JvmFinder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/jvm/LauncherParts.h"

namespace fs = std::filesystem;

namespace FerrolinkTest {
namespace {

const std::string kHint =
    "Check JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
    "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file ";

CaseOptions variables(const std::map<std::string, std::string>& environment) {
  CaseOptions options;
  options.environment = environment;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  return options;
}

void reportPaths(const JvmFinder& finder) {
  report("runtime: " + finder.runtimePath());
  report("library: " + finder.libraryPath());
}

void reportEntryPoints(const JvmFinder& finder) {
  report(finder.getCreatedJavaVMs() != nullptr);
  report(finder.createJavaVM() != nullptr);
}

}  // namespace

PROCESS_CASE(takesTheStepsOfFinding) {
  const LauncherErrors errors([] { return std::string("the information"); });
  JvmFinder finder(errors);
  reportPaths(finder);
  reportEntryPoints(finder);
  report(thrownBy([&] { finder.setRuntimePath(); }));
  reportPaths(finder);
  report(thrownBy([&] { finder.openLibrary(); }));
  reportPaths(finder);
  report(thrownBy([&] { finder.findEntryPoints(); }));
  reportEntryPoints(finder);
}

TEST(JvmFinder, ALibraryThatTheVariableNamesIsOpened) {
  const InstallationTree tree;
  const CaseResult result = expectReport(
      "takesTheStepsOfFinding",
      {"runtime: ", "library: ", "0", "0", "(nothing thrown)", "runtime: " FAKEJVM_PATH,
       "library: ", "(nothing thrown)", "runtime: " FAKEJVM_PATH, "library: " FAKEJVM_PATH,
       "(nothing thrown)", "1", "1"},
      tree, fakeJvmOptions());
  EXPECT_EQ(
      result.out,
      "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " FAKEJVM_PATH
      "\n");
}

TEST(JvmFinder, AHomeIsTriedItselfThenInTheTwoLayoutsAndItsPathIsMadeGeneric) {
  const InstallationTree tree;
  const fs::path home = tree.root() / "jdk";
  fs::create_directories(home / "lib/server");
  fs::copy_file(FAKEJVM_PATH, home / "lib/server/libjvm.so");
  const std::string doubled = tree.root().string() + "//jdk";
  expectReport(
      "takesTheStepsOfFinding",
      {"runtime: ", "library: ", "0", "0", "(nothing thrown)", "runtime: " + doubled,
       "library: ", "(nothing thrown)", "runtime: " + home.string(),
       "library: " + home.string() + "/lib/server/libjvm.so", "(nothing thrown)", "1", "1"},
      tree, variables({{"JAVA_HOME", doubled}}));
}

TEST(JvmFinder, AHomeWithoutALibraryIsRaisedByTheStepsThatNeedTheLibrary) {
  const InstallationTree tree;
  expectReport("takesTheStepsOfFinding",
               {"runtime: ", "library: ", "0", "0", "(nothing thrown)", "runtime: /missing",
                "library: ", raised("002. \n" + kHint + "(libjvm.so)"), "runtime: /missing",
                "library: /missing/lib/server/libjvm.so",
                raised("003. \n" + kHint + "(jvm.dll or libjvm.so or libjvm.dylib)"), "0", "0"},
               tree, variables({{"JAVA_HOME", "/missing"}}));
}

PROCESS_CASE(looksForAPath) {
  const LauncherErrors errors([] { return std::string("the information"); });
  JvmFinder finder(errors);
  report(thrownBy([&] { finder.setRuntimePath(); }));
}

TEST(JvmFinder, WithoutAnyPathTheFirstStepRaises) {
  const InstallationTree tree;
  expectReport("looksForAPath", {raised("001. \nSet JAVA_HOME environment variable")}, tree,
               variables({}));
}

PROCESS_CASE(endsAFinder) {
  const auto isLoaded = [] {
    Ferrolink::Native::Loader::OwnedLibrary library;
    library.adopt(dlopen(FAKEJVM_PATH, RTLD_NOW | RTLD_NOLOAD));
    return library.get() != nullptr;
  };
  const LauncherErrors errors([] { return std::string("the information"); });
  {
    JvmFinder finder(errors);
    finder.setRuntimePath();
    report(isLoaded());
    finder.openLibrary();
    report(isLoaded());
  }
  report(isLoaded());
}

TEST(JvmFinder, ItsLibraryIsClosedWithIt) {
  expectReport("endsAFinder", {"0", "1", "0"});
}

}  // namespace FerrolinkTest
