// How the configuration bridge finds its library, and that it keeps nothing else.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "native/ConfigHandler.h"
#include "tests/native/FakeCompanions.h"
#include "tests/native/LoaderProbe.h"

namespace LoaderProbe = FerrolinkTest::LoaderProbe;

using Ferrolink::Native::ConfigHandler::ConfigHandler;
using FerrolinkTest::CaseOptions;
using FerrolinkTest::CaseResult;
using FerrolinkTest::InstallationTree;
using FerrolinkTest::report;
using FerrolinkTest::runCase;
using FerrolinkTest::Texts;
using FerrolinkTest::thrownBy;

namespace {

const std::string& argument(std::size_t index) {
  return FerrolinkTest::caseArguments().at(index);
}

std::string cannotOpen(const InstallationTree& tree) {
  return "Ferrolink Native Exception: Exception code 001. \nCannot load: " +
         (tree.nativeDirectory() / "libConfigs.so").string() + ". \nError: File not found.";
}

}  // namespace

PROCESS_CASE(askMissingConfigs) {
  report(thrownBy([] { ConfigHandler::initializeConfigsLibrary(); }));
  report(thrownBy([] { ConfigHandler::SetConfigSource("source"); }));
  report(thrownBy([] { ConfigHandler::GetChannelRuntimePath("jvm", "default"); }));
  report(ConfigHandler::GetLoggingLevel());
}

TEST(ConfigHandlerLibrary, RaisesItsAbsenceOnceForEveryOperation) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = fakeSettings(tree);
  options.environment["FERROLINK_LOGGING_LEVEL"] = "verbose";
  const CaseResult result = runCase("askMissingConfigs", tree, options);
  const std::string message = cannotOpen(tree);
  EXPECT_EQ(result.report, (Texts{message, message, message, "1"}));
  EXPECT_EQ(result.exitCode, 0);
  // One echo for each of the four; each constructs two more while it asks for level and directory.
  std::string event = "Native exception|" + message + "|Unknown\n";
  std::erase(event, '\n');
  EXPECT_EQ(events(tree), FerrolinkTest::repeated(event + "\n", 12));
  int echoes = 0;
  for (auto at = result.err.find(message); at != std::string::npos;
       at = result.err.find(message, at + 1)) {
    ++echoes;
  }
  EXPECT_EQ(echoes, 4);
}

PROCESS_CASE(askWithoutOwnDirectory) {
  LoaderProbe::failAddressLookups(true);
  LoaderProbe::setErrorText("gone");
  report(thrownBy([] { ConfigHandler::ProxyExists(); }));
  report(ConfigHandler::GetLoggingLevel());
}

TEST(ConfigHandlerLibrary, RaisesTheLossOfTheLibraryDirectory) {
  const InstallationTree tree;
  const CaseResult result = runCase("askWithoutOwnDirectory", tree);
  EXPECT_EQ(result.report,
            (Texts{"Ferrolink Native Exception: Exception code 002. \nError: gone", "1"}));
  EXPECT_EQ(result.exitCode, 0);
}

PROCESS_CASE(configsAppear) {
  report(thrownBy([] { ConfigHandler::GetProxyHost(); }));
  FerrolinkTest::addLibraryNow(argument(0), "libConfigs.so");
  report(ConfigHandler::GetProxyHost());
  setenv("FAKE_CONFIGS_GetProxyHost", "second", 1);
  report(ConfigHandler::GetProxyHost());
  unsetenv("FAKE_CONFIGS_GetProxyHost");
  report(ConfigHandler::GetProxyHost());
  ConfigHandler::initializeConfigsLibrary();
  report(static_cast<long>(LoaderProbe::openings().size()));
  report(LoaderProbe::lookups("GetProxyHost"));
}

TEST(ConfigHandlerLibrary, IsOpenedOnceItAppearsAndAskedAnewEachTime) {
  const InstallationTree tree;
  CaseOptions options = fakeSettings(tree);
  options.arguments = {FAKECONFIGS_PATH};
  options.environment["FAKE_CONFIGS_GetProxyHost"] = "first";
  const CaseResult result = runCase("configsAppear", tree, options);
  EXPECT_EQ(result.report, (Texts{cannotOpen(tree), "first", "second", "", "1", "3"}));
  EXPECT_EQ(calls(tree), FerrolinkTest::repeated("GetProxyHost()\n", 3));
}

PROCESS_CASE(askFirstOnManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { report(ConfigHandler::GetProxyHost()); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(ConfigHandlerLibrary, ServesThreadsThatOpenItAtTheSameTime) {
  const InstallationTree tree;
  tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  CaseOptions options = fakeSettings(tree);
  options.environment["FAKE_CONFIGS_GetProxyHost"] = "the host";
  EXPECT_EQ(runCase("askFirstOnManyThreads", tree, options).report, Texts(8, "the host"));
}
