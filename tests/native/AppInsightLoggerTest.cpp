#include "native/AppInsightLogger.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <thread>
#include <vector>

#include "native/LibrariesFinder.h"
#include "tests/native/FakeCompanions.h"
#include "tests/native/LoaderProbe.h"

namespace LoaderProbe = FerrolinkTest::LoaderProbe;

using Ferrolink::Native::AppInsightLogger::AppInsightLogger;
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

std::string utils() {
  return (FerrolinkTest::caseNativeDirectory() / "libUtils.so").string();
}

void setUtilsHook(void (*hook)()) {
  using Setter = void(void (*)());
  void* library = dlopen(utils().c_str(), RTLD_NOW | RTLD_LOCAL);
  reinterpret_cast<Setter*>(dlsym(library, "SetFakeUtilsHook"))(hook);
}

void reportLoads() {
  report(static_cast<long>(LoaderProbe::openings().size()));
  report(LoaderProbe::lookups("LogMessage"));
}

}  // namespace

PROCESS_CASE(logThree) {
  report(AppInsightLogger::LogMessage("one", "two", "three"));
  report(AppInsightLogger::LogMessage("", "line\nline", "\ttab"));
  report(AppInsightLogger::initialize());
  report(AppInsightLogger::LogMessage("again", "", ""));
  reportLoads();
}

TEST(AppInsightLogger, HandsItsTextsOnUnchangedAndInOrder) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(runCase("logThree", tree, fakeSettings(tree)).report,
            (Texts{"0", "0", "0", "0", "1", "1"}));
  EXPECT_EQ(events(tree), "one|two|three\n|line\nline|\ttab\nagain||\n");
}

TEST(AppInsightLogger, DropsEventsInSilenceWithoutTheLibrary) {
  const InstallationTree tree;
  const CaseResult result = runCase("logThree", tree, fakeSettings(tree));
  EXPECT_EQ(result.report, (Texts{"0", "0", "1", "0", "0", "0"}));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
}

TEST(AppInsightLogger, LooksForAMissingEntryAgainButOpensTheLibraryOnce) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILSEMPTY_PATH, "libUtils.so");
  const CaseResult result = runCase("logThree", tree, fakeSettings(tree));
  EXPECT_EQ(result.report, (Texts{"0", "0", "0", "0", "1", "4"}));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
}

PROCESS_CASE(utilsAppear) {
  report(AppInsightLogger::initialize());
  report(AppInsightLogger::LogMessage("too", "early", ""));
  FerrolinkTest::addLibraryNow(argument(0), "libUtils.so");
  report(AppInsightLogger::LogMessage("in", "good", "time"));
  report(AppInsightLogger::initialize());
  std::filesystem::remove(utils());
  report(AppInsightLogger::LogMessage("still", "there", ""));
  reportLoads();
}

TEST(AppInsightLogger, FindsALibraryThatAppearsLater) {
  const InstallationTree tree;
  CaseOptions options = fakeSettings(tree);
  options.arguments = {FAKEUTILS_PATH};
  EXPECT_EQ(runCase("utilsAppear", tree, options).report,
            (Texts{"1", "0", "0", "0", "0", "1", "1"}));
  EXPECT_EQ(events(tree), "in|good|time\nstill|there|\n");
}

TEST(AppInsightLogger, LetsNothingEscapeThatTheLibraryThrows) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = fakeSettings(tree);
  options.environment["FAKE_UTILS_THROW"] = "no telemetry";
  const CaseResult result = runCase("logThree", tree, options);
  EXPECT_EQ(result.report, (Texts{"0", "0", "0", "0", "1", "1"}));
  EXPECT_EQ(events(tree), "one|two|three\n|line\nline|\ttab\nagain||\n");
  EXPECT_EQ(result.err, "");
}

PROCESS_CASE(logWhatIsNoException) {
  setUtilsHook([] { throw 1; });
  report(AppInsightLogger::LogMessage("one", "two", "three"));
  setUtilsHook(nullptr);
  report(AppInsightLogger::LogMessage("four", "five", "six"));
}

TEST(AppInsightLogger, LetsNothingEscapeThatIsNoStandardException) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(runCase("logWhatIsNoException", tree, fakeSettings(tree)).report, (Texts{"0", "0"}));
  EXPECT_EQ(events(tree), "one|two|three\nfour|five|six\n");
}

PROCESS_CASE(endThreadWhileLogging) {
  setUtilsHook([] { pthread_exit(nullptr); });
  std::thread([] {
    AppInsightLogger::LogMessage("last", "words", "");
    report("went on");
  }).join();
  setUtilsHook(nullptr);
  report(AppInsightLogger::LogMessage("life", "goes", "on"));
}

TEST(AppInsightLogger, LetsAThreadEndInTheLibrary) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(runCase("endThreadWhileLogging", tree, fakeSettings(tree)).report, Texts{"0"});
  EXPECT_EQ(events(tree), "last|words|\nlife|goes|on\n");
}

PROCESS_CASE(logWhileLogging) {
  setUtilsHook([] {
    report(AppInsightLogger::LogMessage("inner", "", ""));
    report(thrownBy([] {
      Ferrolink::Native::LibrariesFinder::LibrariesFinder::loadLibrary("/missing", true, false);
    }));
  });
  report(AppInsightLogger::LogMessage("outer", "", ""));
  setUtilsHook(nullptr);
  report(AppInsightLogger::LogMessage("later", "", ""));
}

TEST(AppInsightLogger, DropsEventsThatArisePassingOneOn) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  const CaseResult result = runCase("logWhileLogging", tree, fakeSettings(tree));
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.report,
            (Texts{"0",
                   "Ferrolink Native Exception: Exception code 001. \nCannot load: /missing. "
                   "\nError: File not found.",
                   "0", "0"}));
  EXPECT_EQ(events(tree), "outer||\nlater||\n");
}

PROCESS_CASE(logOnOtherThreadWhileLogging) {
  static bool hookRan = false;
  setUtilsHook([] {
    if (!hookRan) {
      hookRan = true;
      std::thread([] { AppInsightLogger::LogMessage("other", "thread", ""); }).join();
    }
  });
  report(AppInsightLogger::LogMessage("outer", "", ""));
}

TEST(AppInsightLogger, DropsNoEventOfAnotherThread) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(runCase("logOnOtherThreadWhileLogging", tree, fakeSettings(tree)).report, Texts{"0"});
  EXPECT_EQ(events(tree), "outer||\nother|thread|\n");
}

PROCESS_CASE(logWithoutOwnDirectory) {
  LoaderProbe::failAddressLookups(true);
  LoaderProbe::setErrorText(nullptr);
  report(AppInsightLogger::LogMessage("one", "two", "three"));
  report(AppInsightLogger::initialize());
}

TEST(AppInsightLogger, RaisesNothingWhereTheLibraryDirectoryIsUnknown) {
  const InstallationTree tree;
  const CaseResult result = runCase("logWithoutOwnDirectory", tree);
  EXPECT_EQ(result.report, (Texts{"0", "1"}));
  EXPECT_EQ(result.exitCode, 0);
}

PROCESS_CASE(logFirstOnManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { report(AppInsightLogger::LogMessage("one", "two", "three")); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(AppInsightLogger, ServesThreadsThatOpenTheLibraryAtTheSameTime) {
  const InstallationTree tree;
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(runCase("logFirstOnManyThreads", tree, fakeSettings(tree)).report, Texts(8, "0"));
  EXPECT_EQ(events(tree), FerrolinkTest::repeated("one|two|three\n", 8));
}
