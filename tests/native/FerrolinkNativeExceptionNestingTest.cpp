// Errors that arise while an error is being reported: by the configuration that the report asks, by
// the telemetry that it goes to.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "native/FerrolinkNativeException.h"
#include "tests/native/FakeCompanions.h"

using FerrolinkTest::CaseOptions;
using FerrolinkTest::CaseResult;
using FerrolinkTest::InstallationTree;
using FerrolinkTest::kSupportHint;
using FerrolinkTest::report;
using FerrolinkTest::runCase;
using FerrolinkTest::Texts;
using FerrolinkTest::withoutStamps;

namespace {

std::string event(const std::string& message) {
  return "Native exception|" + message + "|Unknown\n";
}

std::string withoutLineBreaks(std::string text) {
  std::erase(text, '\n');
  return text;
}

std::string cannotOpenConfigs(const InstallationTree& tree) {
  return withoutLineBreaks("Ferrolink Native Exception: Exception code 001. \nCannot load: " +
                           (tree.nativeDirectory() / "libConfigs.so").string() +
                           ". \nError: File not found.");
}

std::string lines(const Texts& messages) {
  std::string text;
  for (const std::string& message : messages) {
    text += "# " + message + "\n";
  }
  return text;
}

template <class Function>
Function* functionOf(const char* library, const char* name) {
  void* handle =
      dlopen((FerrolinkTest::caseNativeDirectory() / library).c_str(), RTLD_NOW | RTLD_LOCAL);
  return reinterpret_cast<Function*>(dlsym(handle, name));
}

}  // namespace

PROCESS_CASE(raiseOuter) {
  try {
    throw FerrolinkNativeException("outer", "Unknown");
  } catch (const std::exception& error) {
    report(error.what());
  }
}

TEST(NestedException, WorksWithNeitherConfigurationNorUtilities) {
  const InstallationTree tree;
  const CaseResult result = runCase("raiseOuter", tree);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(withoutStamps(result.err), lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(tree.errorLog(), "");
}

TEST(NestedException, IsForwardedButNeitherEchoedNorLogged) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  const CaseResult result = runCase("raiseOuter", tree, fakeSettings(tree));
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(withoutStamps(result.err), lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(events(tree),
            event(cannotOpenConfigs(tree)) + event(cannotOpenConfigs(tree)) + event("outer"));
}

TEST(NestedException, ArisesOnceWhereTheEnvironmentGivesTheLevel) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = fakeSettings(tree);
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  const CaseResult result = runCase("raiseOuter", tree, options);
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(events(tree), event(cannotOpenConfigs(tree)) + event("outer"));
}

TEST(NestedException, LeavesTheOuterOneItsEchoAndLogWhereTheLevelFunctionIsMissing) {
  const InstallationTree tree;
  tree.addLibrary(FAKECONFIGSWITHOUTLOGGINGLEVEL_PATH, "libConfigs.so");
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  const CaseResult result = runCase("raiseOuter", tree, fakeSettings(tree));
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(withoutStamps(result.err), lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(withoutStamps(tree.errorLog()), lines({"outer"}));
  EXPECT_EQ(calls(tree), "GetWorkingDirectory()\n");
  EXPECT_EQ(events(tree),
            event("GetLoggingLevel function not found in Utils library") + event("outer"));
}

TEST(NestedException, LeavesTheOuterOneItsEchoAndLogWhereTheLevelFunctionFails) {
  for (const std::string kind : {"FAIL", "THROW"}) {
    const InstallationTree tree;
    tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
    CaseOptions options = fakeSettings(tree);
    options.environment["FAKE_CONFIGS_" + kind + "_GetLoggingLevel"] = "no level today";
    const CaseResult result = runCase("raiseOuter", tree, options);
    EXPECT_EQ(result.report, Texts{"outer"});
    EXPECT_EQ(withoutStamps(result.err), lines({"outer" + std::string(kSupportHint)}));
    EXPECT_EQ(withoutStamps(tree.errorLog()), lines({"outer"}));
    const std::string nested = kind == "FAIL" ? event("no level today") : "";
    EXPECT_EQ(events(tree), nested + event("outer"));
  }
}

TEST(NestedException, CostsTheOuterOneItsLogLineWhereTheDirectoryFunctionFails) {
  for (const std::string kind : {"FAIL", "THROW"}) {
    const InstallationTree tree;
    tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
    CaseOptions options = fakeSettings(tree);
    options.environment["FAKE_CONFIGS_" + kind + "_GetWorkingDirectory"] = "no place";
    const CaseResult result = runCase("raiseOuter", tree, options);
    EXPECT_EQ(result.report, Texts{"outer"});
    EXPECT_EQ(withoutStamps(result.err), lines({"outer" + std::string(kSupportHint)}));
    EXPECT_EQ(tree.errorLog(), "");
    EXPECT_EQ(calls(tree), "GetLoggingLevel()\nGetWorkingDirectory()\n");
    const int nested = kind == "FAIL" ? 2 : 1;
    EXPECT_EQ(events(tree), FerrolinkTest::repeated(event("no place"), nested) + event("outer"));
  }
}

TEST(NestedException, CostsTheOuterOneItsLogLineWhereTheConfigurationIsEmpty) {
  const InstallationTree tree;
  tree.addLibrary(FAKECONFIGSEMPTY_PATH, "libConfigs.so");
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  const CaseResult result = runCase("raiseOuter", tree, fakeSettings(tree));
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(withoutStamps(result.err), lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(tree.errorLog(), "");
  const std::string noDirectory = event("GetWorkingDirectory function not found in Utils library");
  EXPECT_EQ(events(tree), event("GetLoggingLevel function not found in Utils library") +
                              noDirectory + noDirectory + event("outer"));
}

PROCESS_CASE(raiseBeforeAndAfterConfigsAppear) {
  const FerrolinkNativeException without("without", "Unknown");
  FerrolinkTest::addLibraryNow(FerrolinkTest::caseArguments().at(0), "libConfigs.so");
  const FerrolinkNativeException with("with", "Unknown");
}

TEST(NestedException, LeavesNoTraceInLaterExceptionsOfTheThread) {
  const InstallationTree tree;
  CaseOptions options = fakeSettings(tree);
  options.arguments = {FAKECONFIGS_PATH};
  options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "off";
  const CaseResult result = runCase("raiseBeforeAndAfterConfigsAppear", tree, options);
  EXPECT_EQ(withoutStamps(result.err), lines({"without" + std::string(kSupportHint)}));
  EXPECT_EQ(withoutStamps(tree.errorLog()), lines({"with"}));
}

namespace {

using ConfigsHook = void(const char* function);
bool hookRan = false;

void raiseInConfiguration(const char* function) {
  if (std::string(function) == "GetWorkingDirectory" && !hookRan) {
    hookRan = true;
    const FerrolinkNativeException inner("inner", "Unknown");
    report(inner.what());
  }
}

void raiseOnAnotherThread(const char* function) {
  if (std::string(function) == "GetWorkingDirectory" && !hookRan) {
    hookRan = true;
    std::thread([] { const FerrolinkNativeException other("other", "Unknown"); }).join();
  }
}

void raiseUnderHook(ConfigsHook* hook) {
  functionOf<void(ConfigsHook*)>("libConfigs.so", "SetFakeConfigsHook")(hook);
  const FerrolinkNativeException error("outer", "Unknown");
  report(error.what());
}

CaseResult runUnderHook(const InstallationTree& tree, const std::string& name) {
  tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  return runCase(name, tree, fakeSettings(tree));
}

}  // namespace

PROCESS_CASE(configurationRaises) {
  raiseUnderHook(raiseInConfiguration);
}

TEST(NestedException, AsksTheConfigurationNothing) {
  const InstallationTree tree;
  const CaseResult result = runUnderHook(tree, "configurationRaises");
  EXPECT_EQ(result.report, (Texts{"inner", "outer"}));
  EXPECT_EQ(withoutStamps(result.err), lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(withoutStamps(tree.errorLog()), lines({"outer"}));
  EXPECT_EQ(calls(tree), "GetLoggingLevel()\nGetWorkingDirectory()\n");
  EXPECT_EQ(events(tree), event("inner") + event("outer"));
}

PROCESS_CASE(otherThreadRaises) {
  raiseUnderHook(raiseOnAnotherThread);
}

TEST(NestedException, IsAMatterOfOneThread) {
  const InstallationTree tree;
  const CaseResult result = runUnderHook(tree, "otherThreadRaises");
  const std::string hint = kSupportHint;
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(withoutStamps(result.err), lines({"outer" + hint, "other" + hint}));
  EXPECT_EQ(withoutStamps(tree.errorLog()), lines({"other", "outer"}));
  EXPECT_EQ(events(tree), event("other") + event("outer"));
}

PROCESS_CASE(telemetryRaises) {
  functionOf<void(void (*)())>("libUtils.so", "SetFakeUtilsHook")([] {
    const FerrolinkNativeException inner("inner", "Unknown");
    report(inner.what());
  });
  const FerrolinkNativeException error("outer", "Unknown");
  report(error.what());
}

TEST(NestedException, IsDroppedByTheTelemetryThatItArisesIn) {
  const InstallationTree tree;
  const CaseResult result = runUnderHook(tree, "telemetryRaises");
  EXPECT_EQ(result.report, (Texts{"inner", "outer"}));
  EXPECT_EQ(withoutStamps(result.err), lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(withoutStamps(tree.errorLog()), lines({"outer"}));
  EXPECT_EQ(calls(tree), "GetLoggingLevel()\nGetWorkingDirectory()\n");
  EXPECT_EQ(events(tree), event("outer"));
}
