// How the configuration bridge finds its library, and that it keeps nothing else.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "native/ConfigHandler.h"
#include "tests/native/FakeCompanions.h"
#include "tests/native/LoaderProbe.h"

namespace LoaderProbe = Ferrolink::Tests::LoaderProbe;

using Ferrolink::Native::ConfigHandler::ConfigHandler;
using Ferrolink::Tests::CaseOptions;
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Ferrolink::Tests::Texts;
using Ferrolink::Tests::ThrownBy;

namespace {

const std::string& Argument(std::size_t index) {
  return Ferrolink::Tests::CaseArguments().at(index);
}

std::string CannotOpen(const InstallationTree& tree) {
  return "Ferrolink Native Exception: Exception code 001. \nCannot load: " +
         (tree.NativeDirectory() / "libConfigs.so").string() + ". \nError: File not found.";
}

}  // namespace

PROCESS_CASE(askMissingConfigs) {
  Report(ThrownBy([] { ConfigHandler::initializeConfigsLibrary(); }));
  Report(ThrownBy([] { ConfigHandler::SetConfigSource("source"); }));
  Report(ThrownBy([] { ConfigHandler::GetChannelRuntimePath("jvm", "default"); }));
  Report(ConfigHandler::GetLoggingLevel());
}

TEST(ConfigHandlerLibrary, RaisesItsAbsenceOnceForEveryOperation) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = FakeSettings(tree);
  options.environment["FERROLINK_LOGGING_LEVEL"] = "verbose";
  const CaseResult result = RunCase("askMissingConfigs", tree, options);
  const std::string message = CannotOpen(tree);
  EXPECT_EQ(result.report, (Texts{message, message, message, "1"}));
  EXPECT_EQ(result.exitCode, 0);
  // One echo for each of the four; each constructs two more while it asks for level and directory.
  std::string event = "Native exception|" + message + "|Unknown\n";
  std::erase(event, '\n');
  EXPECT_EQ(Events(tree), Ferrolink::Tests::Repeated(event + "\n", 12));
  int echoes = 0;
  for (auto at = result.err.find(message); at != std::string::npos;
       at = result.err.find(message, at + 1)) {
    ++echoes;
  }
  EXPECT_EQ(echoes, 4);
}

PROCESS_CASE(askWithoutOwnDirectory) {
  LoaderProbe::FailAddressLookups(true);
  LoaderProbe::SetErrorText("gone");
  Report(ThrownBy([] { ConfigHandler::ProxyExists(); }));
  Report(ConfigHandler::GetLoggingLevel());
}

TEST(ConfigHandlerLibrary, RaisesTheLossOfTheLibraryDirectory) {
  const InstallationTree tree;
  const CaseResult result = RunCase("askWithoutOwnDirectory", tree);
  EXPECT_EQ(result.report,
            (Texts{"Ferrolink Native Exception: Exception code 002. \nError: gone", "1"}));
  EXPECT_EQ(result.exitCode, 0);
}

PROCESS_CASE(configsAppear) {
  Report(ThrownBy([] { ConfigHandler::GetProxyHost(); }));
  Ferrolink::Tests::AddLibraryNow(Argument(0), "libConfigs.so");
  Report(ConfigHandler::GetProxyHost());
  setenv("FAKE_CONFIGS_GetProxyHost", "second", 1);
  Report(ConfigHandler::GetProxyHost());
  unsetenv("FAKE_CONFIGS_GetProxyHost");
  Report(ConfigHandler::GetProxyHost());
  ConfigHandler::initializeConfigsLibrary();
  Report(static_cast<long>(LoaderProbe::Openings().size()));
  Report(LoaderProbe::Lookups("GetProxyHost"));
}

TEST(ConfigHandlerLibrary, IsOpenedOnceItAppearsAndAskedAnewEachTime) {
  const InstallationTree tree;
  CaseOptions options = FakeSettings(tree);
  options.arguments = {FAKECONFIGS_PATH};
  options.environment["FAKE_CONFIGS_GetProxyHost"] = "first";
  const CaseResult result = RunCase("configsAppear", tree, options);
  EXPECT_EQ(result.report, (Texts{CannotOpen(tree), "first", "second", "", "1", "3"}));
  EXPECT_EQ(Calls(tree), Ferrolink::Tests::Repeated("GetProxyHost()\n", 3));
}

PROCESS_CASE(askFirstOnManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { Report(ConfigHandler::GetProxyHost()); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(ConfigHandlerLibrary, ServesThreadsThatOpenItAtTheSameTime) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  CaseOptions options = FakeSettings(tree);
  options.environment["FAKE_CONFIGS_GetProxyHost"] = "the host";
  EXPECT_EQ(RunCase("askFirstOnManyThreads", tree, options).report, Texts(8, "the host"));
}
