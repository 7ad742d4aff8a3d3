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

namespace LoaderProbe = Ferrolink::Tests::LoaderProbe;

using Ferrolink::Native::AppInsightLogger::AppInsightLogger;
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

std::string Utils() {
  return (Ferrolink::Tests::CaseNativeDirectory() / "libUtils.so").string();
}

void SetUtilsHook(void (*hook)()) {
  using Setter = void(void (*)());
  void* library = dlopen(Utils().c_str(), RTLD_NOW | RTLD_LOCAL);
  reinterpret_cast<Setter*>(dlsym(library, "SetFakeUtilsHook"))(hook);
}

void ReportLoads() {
  Report(static_cast<long>(LoaderProbe::Openings().size()));
  Report(LoaderProbe::Lookups("LogMessage"));
}

}  // namespace

PROCESS_CASE(logThree) {
  Report(AppInsightLogger::LogMessage("one", "two", "three"));
  Report(AppInsightLogger::LogMessage("", "line\nline", "\ttab"));
  Report(AppInsightLogger::initialize());
  Report(AppInsightLogger::LogMessage("again", "", ""));
  ReportLoads();
}

TEST(AppInsightLogger, HandsItsTextsOnUnchangedAndInOrder) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(RunCase("logThree", tree, FakeSettings(tree)).report,
            (Texts{"0", "0", "0", "0", "1", "1"}));
  EXPECT_EQ(Events(tree), "one|two|three\n|line\nline|\ttab\nagain||\n");
}

TEST(AppInsightLogger, DropsEventsInSilenceWithoutTheLibrary) {
  const InstallationTree tree;
  const CaseResult result = RunCase("logThree", tree, FakeSettings(tree));
  EXPECT_EQ(result.report, (Texts{"0", "0", "1", "0", "0", "0"}));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
}

TEST(AppInsightLogger, LooksForAMissingEntryAgainButOpensTheLibraryOnce) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILSEMPTY_PATH, "libUtils.so");
  const CaseResult result = RunCase("logThree", tree, FakeSettings(tree));
  EXPECT_EQ(result.report, (Texts{"0", "0", "0", "0", "1", "4"}));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
}

PROCESS_CASE(utilsAppear) {
  Report(AppInsightLogger::initialize());
  Report(AppInsightLogger::LogMessage("too", "early", ""));
  Ferrolink::Tests::AddLibraryNow(Argument(0), "libUtils.so");
  Report(AppInsightLogger::LogMessage("in", "good", "time"));
  Report(AppInsightLogger::initialize());
  std::filesystem::remove(Utils());
  Report(AppInsightLogger::LogMessage("still", "there", ""));
  ReportLoads();
}

TEST(AppInsightLogger, FindsALibraryThatAppearsLater) {
  const InstallationTree tree;
  CaseOptions options = FakeSettings(tree);
  options.arguments = {FAKEUTILS_PATH};
  EXPECT_EQ(RunCase("utilsAppear", tree, options).report,
            (Texts{"1", "0", "0", "0", "0", "1", "1"}));
  EXPECT_EQ(Events(tree), "in|good|time\nstill|there|\n");
}

TEST(AppInsightLogger, LetsNothingEscapeThatTheLibraryThrows) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = FakeSettings(tree);
  options.environment["FAKE_UTILS_THROW"] = "no telemetry";
  const CaseResult result = RunCase("logThree", tree, options);
  EXPECT_EQ(result.report, (Texts{"0", "0", "0", "0", "1", "1"}));
  EXPECT_EQ(Events(tree), "one|two|three\n|line\nline|\ttab\nagain||\n");
  EXPECT_EQ(result.err, "");
}

PROCESS_CASE(logWhatIsNoException) {
  SetUtilsHook([] { throw 1; });
  Report(AppInsightLogger::LogMessage("one", "two", "three"));
  SetUtilsHook(nullptr);
  Report(AppInsightLogger::LogMessage("four", "five", "six"));
}

TEST(AppInsightLogger, LetsNothingEscapeThatIsNoStandardException) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(RunCase("logWhatIsNoException", tree, FakeSettings(tree)).report, (Texts{"0", "0"}));
  EXPECT_EQ(Events(tree), "one|two|three\nfour|five|six\n");
}

PROCESS_CASE(endThreadWhileLogging) {
  SetUtilsHook([] { pthread_exit(nullptr); });
  std::thread([] {
    AppInsightLogger::LogMessage("last", "words", "");
    Report("went on");
  }).join();
  SetUtilsHook(nullptr);
  Report(AppInsightLogger::LogMessage("life", "goes", "on"));
}

TEST(AppInsightLogger, LetsAThreadEndInTheLibrary) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(RunCase("endThreadWhileLogging", tree, FakeSettings(tree)).report, Texts{"0"});
  EXPECT_EQ(Events(tree), "last|words|\nlife|goes|on\n");
}

PROCESS_CASE(logWhileLogging) {
  SetUtilsHook([] {
    Report(AppInsightLogger::LogMessage("inner", "", ""));
    Report(ThrownBy([] {
      Ferrolink::Native::LibrariesFinder::LibrariesFinder::loadLibrary("/missing", true, false);
    }));
  });
  Report(AppInsightLogger::LogMessage("outer", "", ""));
  SetUtilsHook(nullptr);
  Report(AppInsightLogger::LogMessage("later", "", ""));
}

TEST(AppInsightLogger, DropsEventsThatArisePassingOneOn) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  const CaseResult result = RunCase("logWhileLogging", tree, FakeSettings(tree));
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.report,
            (Texts{"0",
                   "Ferrolink Native Exception: Exception code 001. \nCannot load: /missing. "
                   "\nError: File not found.",
                   "0", "0"}));
  EXPECT_EQ(Events(tree), "outer||\nlater||\n");
}

PROCESS_CASE(logOnOtherThreadWhileLogging) {
  static bool hookRan = false;
  SetUtilsHook([] {
    if (!hookRan) {
      hookRan = true;
      std::thread([] { AppInsightLogger::LogMessage("other", "thread", ""); }).join();
    }
  });
  Report(AppInsightLogger::LogMessage("outer", "", ""));
}

TEST(AppInsightLogger, DropsNoEventOfAnotherThread) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(RunCase("logOnOtherThreadWhileLogging", tree, FakeSettings(tree)).report, Texts{"0"});
  EXPECT_EQ(Events(tree), "outer||\nother|thread|\n");
}

PROCESS_CASE(logWithoutOwnDirectory) {
  LoaderProbe::FailAddressLookups(true);
  LoaderProbe::SetErrorText(nullptr);
  Report(AppInsightLogger::LogMessage("one", "two", "three"));
  Report(AppInsightLogger::initialize());
}

TEST(AppInsightLogger, RaisesNothingWhereTheLibraryDirectoryIsUnknown) {
  const InstallationTree tree;
  const CaseResult result = RunCase("logWithoutOwnDirectory", tree);
  EXPECT_EQ(result.report, (Texts{"0", "1"}));
  EXPECT_EQ(result.exitCode, 0);
}

PROCESS_CASE(logFirstOnManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { Report(AppInsightLogger::LogMessage("one", "two", "three")); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(AppInsightLogger, ServesThreadsThatOpenTheLibraryAtTheSameTime) {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  EXPECT_EQ(RunCase("logFirstOnManyThreads", tree, FakeSettings(tree)).report, Texts(8, "0"));
  EXPECT_EQ(Events(tree), Ferrolink::Tests::Repeated("one|two|three\n", 8));
}
