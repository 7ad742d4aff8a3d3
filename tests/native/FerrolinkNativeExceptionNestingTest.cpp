// Errors that arise while an error is being reported: by the configuration that the report asks, by
// the telemetry that it goes to.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "native/FerrolinkNativeException.h"
#include "tests/native/FakeCompanions.h"

using Ferrolink::Tests::CaseOptions;
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::kSupportHint;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Ferrolink::Tests::Texts;
using Ferrolink::Tests::WithoutStamps;

namespace {

std::string Event(const std::string& message) {
  return "Native exception|" + message + "|Unknown\n";
}

std::string WithoutLineBreaks(std::string text) {
  std::erase(text, '\n');
  return text;
}

std::string CannotOpenConfigs(const InstallationTree& tree) {
  return WithoutLineBreaks("Ferrolink Native Exception: Exception code 001. \nCannot load: " +
                           (tree.NativeDirectory() / "libConfigs.so").string() +
                           ". \nError: File not found.");
}

std::string Lines(const Texts& messages) {
  std::string text;
  for (const std::string& message : messages) {
    text += "# " + message + "\n";
  }
  return text;
}

template <class Function>
Function* FunctionOf(const char* library, const char* name) {
  void* handle =
      dlopen((Ferrolink::Tests::CaseNativeDirectory() / library).c_str(), RTLD_NOW | RTLD_LOCAL);
  return reinterpret_cast<Function*>(dlsym(handle, name));
}

}  // namespace

PROCESS_CASE(raiseOuter) {
  try {
    throw FerrolinkNativeException("outer", "Unknown");
  } catch (const std::exception& error) {
    Report(error.what());
  }
}

TEST(NestedException, WorksWithNeitherConfigurationNorUtilities) {
  const InstallationTree tree;
  const CaseResult result = RunCase("raiseOuter", tree);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(WithoutStamps(result.err), Lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(tree.ErrorLog(), "");
}

TEST(NestedException, IsForwardedButNeitherEchoedNorLogged) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  const CaseResult result = RunCase("raiseOuter", tree, FakeSettings(tree));
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(WithoutStamps(result.err), Lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(Events(tree),
            Event(CannotOpenConfigs(tree)) + Event(CannotOpenConfigs(tree)) + Event("outer"));
}

TEST(NestedException, ArisesOnceWhereTheEnvironmentGivesTheLevel) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = FakeSettings(tree);
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  const CaseResult result = RunCase("raiseOuter", tree, options);
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(Events(tree), Event(CannotOpenConfigs(tree)) + Event("outer"));
}

TEST(NestedException, LeavesTheOuterOneItsEchoAndLogWhereTheLevelFunctionIsMissing) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGSWITHOUTLOGGINGLEVEL_PATH, "libConfigs.so");
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  const CaseResult result = RunCase("raiseOuter", tree, FakeSettings(tree));
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(WithoutStamps(result.err), Lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(WithoutStamps(tree.ErrorLog()), Lines({"outer"}));
  EXPECT_EQ(Calls(tree), "GetWorkingDirectory()\n");
  EXPECT_EQ(Events(tree),
            Event("GetLoggingLevel function not found in Utils library") + Event("outer"));
}

TEST(NestedException, LeavesTheOuterOneItsEchoAndLogWhereTheLevelFunctionFails) {
  for (const std::string kind : {"FAIL", "THROW"}) {
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
    CaseOptions options = FakeSettings(tree);
    options.environment["FAKE_CONFIGS_" + kind + "_GetLoggingLevel"] = "no level today";
    const CaseResult result = RunCase("raiseOuter", tree, options);
    EXPECT_EQ(result.report, Texts{"outer"});
    EXPECT_EQ(WithoutStamps(result.err), Lines({"outer" + std::string(kSupportHint)}));
    EXPECT_EQ(WithoutStamps(tree.ErrorLog()), Lines({"outer"}));
    const std::string nested = kind == "FAIL" ? Event("no level today") : "";
    EXPECT_EQ(Events(tree), nested + Event("outer"));
  }
}

TEST(NestedException, CostsTheOuterOneItsLogLineWhereTheDirectoryFunctionFails) {
  for (const std::string kind : {"FAIL", "THROW"}) {
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
    CaseOptions options = FakeSettings(tree);
    options.environment["FAKE_CONFIGS_" + kind + "_GetWorkingDirectory"] = "no place";
    const CaseResult result = RunCase("raiseOuter", tree, options);
    EXPECT_EQ(result.report, Texts{"outer"});
    EXPECT_EQ(WithoutStamps(result.err), Lines({"outer" + std::string(kSupportHint)}));
    EXPECT_EQ(tree.ErrorLog(), "");
    EXPECT_EQ(Calls(tree), "GetLoggingLevel()\nGetWorkingDirectory()\n");
    const int nested = kind == "FAIL" ? 2 : 1;
    EXPECT_EQ(Events(tree), Ferrolink::Tests::Repeated(Event("no place"), nested) + Event("outer"));
  }
}

TEST(NestedException, CostsTheOuterOneItsLogLineWhereTheConfigurationIsEmpty) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGSEMPTY_PATH, "libConfigs.so");
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  const CaseResult result = RunCase("raiseOuter", tree, FakeSettings(tree));
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(WithoutStamps(result.err), Lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(tree.ErrorLog(), "");
  const std::string noDirectory = Event("GetWorkingDirectory function not found in Utils library");
  EXPECT_EQ(Events(tree), Event("GetLoggingLevel function not found in Utils library") +
                              noDirectory + noDirectory + Event("outer"));
}

PROCESS_CASE(raiseBeforeAndAfterConfigsAppear) {
  const FerrolinkNativeException without("without", "Unknown");
  Ferrolink::Tests::AddLibraryNow(Ferrolink::Tests::CaseArguments().at(0), "libConfigs.so");
  const FerrolinkNativeException with("with", "Unknown");
}

TEST(NestedException, LeavesNoTraceInLaterExceptionsOfTheThread) {
  const InstallationTree tree;
  CaseOptions options = FakeSettings(tree);
  options.arguments = {FAKECONFIGS_PATH};
  options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "off";
  const CaseResult result = RunCase("raiseBeforeAndAfterConfigsAppear", tree, options);
  EXPECT_EQ(WithoutStamps(result.err), Lines({"without" + std::string(kSupportHint)}));
  EXPECT_EQ(WithoutStamps(tree.ErrorLog()), Lines({"with"}));
}

namespace {

using ConfigsHook = void(const char* function);
bool hookRan = false;

void RaiseInConfiguration(const char* function) {
  if (std::string(function) == "GetWorkingDirectory" && !hookRan) {
    hookRan = true;
    const FerrolinkNativeException inner("inner", "Unknown");
    Report(inner.what());
  }
}

void RaiseOnAnotherThread(const char* function) {
  if (std::string(function) == "GetWorkingDirectory" && !hookRan) {
    hookRan = true;
    std::thread([] { const FerrolinkNativeException other("other", "Unknown"); }).join();
  }
}

void RaiseUnderHook(ConfigsHook* hook) {
  FunctionOf<void(ConfigsHook*)>("libConfigs.so", "SetFakeConfigsHook")(hook);
  const FerrolinkNativeException error("outer", "Unknown");
  Report(error.what());
}

CaseResult RunUnderHook(const InstallationTree& tree, const std::string& name) {
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  return RunCase(name, tree, FakeSettings(tree));
}

}  // namespace

PROCESS_CASE(configurationRaises) {
  RaiseUnderHook(RaiseInConfiguration);
}

TEST(NestedException, AsksTheConfigurationNothing) {
  const InstallationTree tree;
  const CaseResult result = RunUnderHook(tree, "configurationRaises");
  EXPECT_EQ(result.report, (Texts{"inner", "outer"}));
  EXPECT_EQ(WithoutStamps(result.err), Lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(WithoutStamps(tree.ErrorLog()), Lines({"outer"}));
  EXPECT_EQ(Calls(tree), "GetLoggingLevel()\nGetWorkingDirectory()\n");
  EXPECT_EQ(Events(tree), Event("inner") + Event("outer"));
}

PROCESS_CASE(otherThreadRaises) {
  RaiseUnderHook(RaiseOnAnotherThread);
}

TEST(NestedException, IsAMatterOfOneThread) {
  const InstallationTree tree;
  const CaseResult result = RunUnderHook(tree, "otherThreadRaises");
  const std::string hint = kSupportHint;
  EXPECT_EQ(result.report, Texts{"outer"});
  EXPECT_EQ(WithoutStamps(result.err), Lines({"outer" + hint, "other" + hint}));
  EXPECT_EQ(WithoutStamps(tree.ErrorLog()), Lines({"other", "outer"}));
  EXPECT_EQ(Events(tree), Event("other") + Event("outer"));
}

PROCESS_CASE(telemetryRaises) {
  FunctionOf<void(void (*)())>("libUtils.so", "SetFakeUtilsHook")([] {
    const FerrolinkNativeException inner("inner", "Unknown");
    Report(inner.what());
  });
  const FerrolinkNativeException error("outer", "Unknown");
  Report(error.what());
}

TEST(NestedException, IsDroppedByTheTelemetryThatItArisesIn) {
  const InstallationTree tree;
  const CaseResult result = RunUnderHook(tree, "telemetryRaises");
  EXPECT_EQ(result.report, (Texts{"inner", "outer"}));
  EXPECT_EQ(WithoutStamps(result.err), Lines({"outer" + std::string(kSupportHint)}));
  EXPECT_EQ(WithoutStamps(tree.ErrorLog()), Lines({"outer"}));
  EXPECT_EQ(Calls(tree), "GetLoggingLevel()\nGetWorkingDirectory()\n");
  EXPECT_EQ(Events(tree), Event("outer"));
}
