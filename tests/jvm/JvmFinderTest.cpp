#include "jvm/JvmFinder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/jvm/LauncherParts.h"

namespace fs = std::filesystem;

namespace Ferrolink::Tests {
namespace {

const std::string kHint =
    "Check JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
    "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file ";

CaseOptions Variables(const std::map<std::string, std::string>& environment) {
  CaseOptions options;
  options.environment = environment;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  return options;
}

void ReportPaths(const JvmFinder& finder) {
  Report("runtime: " + finder.RuntimePath());
  Report("library: " + finder.LibraryPath());
}

void ReportEntryPoints(const JvmFinder& finder) {
  Report(finder.GetCreatedJavaVMs() != nullptr);
  Report(finder.CreateJavaVm() != nullptr);
}

}  // namespace

PROCESS_CASE(takesTheStepsOfFinding) {
  const LauncherErrors errors([] { return std::string("the information"); });
  JvmFinder finder(errors);
  ReportPaths(finder);
  ReportEntryPoints(finder);
  Report(ThrownBy([&] { finder.SetRuntimePath(); }));
  ReportPaths(finder);
  Report(ThrownBy([&] { finder.OpenLibrary(); }));
  ReportPaths(finder);
  Report(ThrownBy([&] { finder.FindEntryPoints(); }));
  ReportEntryPoints(finder);
}

TEST(JvmFinder, ALibraryThatTheVariableNamesIsOpened) {
  const InstallationTree tree;
  const CaseResult result = ExpectReport(
      "takesTheStepsOfFinding",
      {"runtime: ", "library: ", "0", "0", "(nothing thrown)", "runtime: " FAKEJVM_PATH,
       "library: ", "(nothing thrown)", "runtime: " FAKEJVM_PATH, "library: " FAKEJVM_PATH,
       "(nothing thrown)", "1", "1"},
      tree, FakeJvmOptions());
  EXPECT_EQ(
      result.out,
      "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " FAKEJVM_PATH
      "\n");
}

TEST(JvmFinder, AHomeIsTriedItselfThenInTheTwoLayoutsAndItsPathIsMadeGeneric) {
  const InstallationTree tree;
  const fs::path home = tree.Root() / "jdk";
  fs::create_directories(home / "lib/server");
  fs::copy_file(FAKEJVM_PATH, home / "lib/server/libjvm.so");
  const std::string doubled = tree.Root().string() + "//jdk";
  ExpectReport(
      "takesTheStepsOfFinding",
      {"runtime: ", "library: ", "0", "0", "(nothing thrown)", "runtime: " + doubled,
       "library: ", "(nothing thrown)", "runtime: " + home.string(),
       "library: " + home.string() + "/lib/server/libjvm.so", "(nothing thrown)", "1", "1"},
      tree, Variables({{"JAVA_HOME", doubled}}));
}

TEST(JvmFinder, AHomeWithoutALibraryIsRaisedByTheStepsThatNeedTheLibrary) {
  const InstallationTree tree;
  ExpectReport("takesTheStepsOfFinding",
               {"runtime: ", "library: ", "0", "0", "(nothing thrown)", "runtime: /missing",
                "library: ", Raised("002. \n" + kHint + "(libjvm.so)"), "runtime: /missing",
                "library: /missing/lib/server/libjvm.so",
                Raised("003. \n" + kHint + "(jvm.dll or libjvm.so or libjvm.dylib)"), "0", "0"},
               tree, Variables({{"JAVA_HOME", "/missing"}}));
}

PROCESS_CASE(looksForAPath) {
  const LauncherErrors errors([] { return std::string("the information"); });
  JvmFinder finder(errors);
  Report(ThrownBy([&] { finder.SetRuntimePath(); }));
}

TEST(JvmFinder, WithoutAnyPathTheFirstStepRaises) {
  const InstallationTree tree;
  ExpectReport("looksForAPath", {Raised("001. \nSet JAVA_HOME environment variable")}, tree,
               Variables({}));
}

PROCESS_CASE(endsAFinder) {
  const auto isLoaded = [] {
    Ferrolink::Native::Loader::OwnedLibrary library;
    library.Adopt(dlopen(FAKEJVM_PATH, RTLD_NOW | RTLD_NOLOAD));
    return library.get() != nullptr;
  };
  const LauncherErrors errors([] { return std::string("the information"); });
  {
    JvmFinder finder(errors);
    finder.SetRuntimePath();
    Report(isLoaded());
    finder.OpenLibrary();
    Report(isLoaded());
  }
  Report(isLoaded());
}

TEST(JvmFinder, ItsLibraryIsClosedWithIt) {
  ExpectReport("endsAFinder", {"0", "1", "0"});
}

}  // namespace Ferrolink::Tests
