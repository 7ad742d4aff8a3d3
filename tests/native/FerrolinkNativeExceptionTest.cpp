#include "native/FerrolinkNativeException.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <locale>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "tests/native/ClockProbe.h"
#include "tests/native/FakeCompanions.h"
#include "tests/native/FileProbe.h"

namespace ClockProbe = FerrolinkTest::ClockProbe;
namespace FileProbe = FerrolinkTest::FileProbe;

using FerrolinkTest::CaseOptions;
using FerrolinkTest::CaseResult;
using FerrolinkTest::InstallationTree;
using FerrolinkTest::kSupportHint;
using FerrolinkTest::report;
using FerrolinkTest::runCase;
using FerrolinkTest::Texts;
using FerrolinkTest::withoutStamps;

static_assert(std::is_base_of_v<std::runtime_error, FerrolinkNativeException>);
static_assert(std::has_virtual_destructor_v<FerrolinkNativeException>);
static_assert(std::is_copy_constructible_v<FerrolinkNativeException>);

namespace {

// 23:30:05 UTC; two hours further east the next day has begun.
constexpr std::time_t kLateEvening = 1794699005;
constexpr std::time_t kDay = 86400;
constexpr const char* kZone = "TST-02";
constexpr const char* kStamp = "2026-11-15 01:30:05";
constexpr const char* kLogName = "_FerrolinkNativeErrorLogger_2026-11-15.txt";

std::string threadIdText() {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::this_thread::get_id();
  return text.str();
}

std::string line(const std::string& stamp, const std::string& thread, const std::string& message) {
  return stamp + "\tThread ID: " + thread + "\t" + message + "\n";
}

/// A tree with both fakes, and settings for a process with a fixed clock.
struct Workplace {
  Workplace() {
    tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
    options = fakeSettings(tree);
    options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "off";
    options.environment["TZ"] = kZone;
  }

  [[nodiscard]] CaseResult run(const std::string& name) const {
    return runCase(name, tree, options);
  }

  [[nodiscard]] std::string log(const std::string& name) const {
    return FerrolinkTest::fileText(tree.workDirectory() / name);
  }

  InstallationTree tree;
  CaseOptions options;
};

}  // namespace

PROCESS_CASE(raiseOne) {
  ClockProbe::setTime(kLateEvening);
  const FerrolinkNativeException error("Code 1. \nDo\tthis\r\n\n", "Context");
  report(error.what());
  report(threadIdText());
}

TEST(FerrolinkNativeException, KeepsItsMessageEchoesLogsAndForwardsIt) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  const CaseResult result = workplace.run("raiseOne");
  ASSERT_EQ(result.report.size(), 2u) << result.err;
  EXPECT_EQ(result.report[0], "Code 1. \nDo\tthis\r\n\n");
  const std::string& thread = result.report[1];
  EXPECT_EQ(result.err,
            line(kStamp, thread, "Code 1. \nDo\tthis\r\n\n" + std::string(kSupportHint)));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(workplace.log(kLogName), line(kStamp, thread, "Code 1. \nDo\tthis\r\n\n"));
  EXPECT_EQ(events(workplace.tree), "Native exception|Code 1. Do\tthis\r|Context\n");
}

TEST(FerrolinkNativeException, AsksForTheLevelThenForTheDirectoryAndNothingElse) {
  const Workplace workplace;
  EXPECT_EQ(workplace.run("raiseOne").exitCode, 0);
  EXPECT_EQ(calls(workplace.tree), "GetLoggingLevel()\nGetWorkingDirectory()\n");
}

TEST(FerrolinkNativeException, EchoesNothingAtLevelOffButLogsAndForwards) {
  const Workplace workplace;
  const CaseResult result = workplace.run("raiseOne");
  ASSERT_EQ(result.report.size(), 2u);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(workplace.log(kLogName), line(kStamp, result.report[1], "Code 1. \nDo\tthis\r\n\n"));
  EXPECT_EQ(events(workplace.tree), "Native exception|Code 1. Do\tthis\r|Context\n");
}

TEST(FerrolinkNativeException, EchoesAtLevelRuntimeInfo) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "runtimeinfo";
  const CaseResult result = workplace.run("raiseOne");
  ASSERT_EQ(result.report.size(), 2u);
  EXPECT_EQ(result.err,
            line(kStamp, result.report[1], "Code 1. \nDo\tthis\r\n\n" + std::string(kSupportHint)));
}

TEST(FerrolinkNativeException, LetsTheEnvironmentDecideOverTheConfiguredLevel) {
  Workplace workplace;
  workplace.options.environment["FERROLINK_LOGGING_LEVEL"] = "All";
  const CaseResult echoing = workplace.run("raiseOne");
  ASSERT_EQ(echoing.report.size(), 2u);
  EXPECT_EQ(echoing.err, line(kStamp, echoing.report[1],
                              "Code 1. \nDo\tthis\r\n\n" + std::string(kSupportHint)));
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  workplace.options.environment["FERROLINK_LOGGING_LEVEL"] = "OFF";
  EXPECT_EQ(workplace.run("raiseOne").err, "");
}

PROCESS_CASE(raiseOnTwoDays) {
  ClockProbe::setTime(kLateEvening);
  const FerrolinkNativeException first("first", "Unknown");
  const FerrolinkNativeException second("second", "Unknown");
  ClockProbe::setTime(kLateEvening + kDay);
  const FerrolinkNativeException third("third", "Unknown");
  report(threadIdText());
}

TEST(FerrolinkNativeException, WritesOneFileALocalDayAndAppendsToIt) {
  const Workplace workplace;
  const CaseResult before = workplace.run("raiseOne");
  const CaseResult result = workplace.run("raiseOnTwoDays");
  ASSERT_EQ(before.report.size(), 2u);
  ASSERT_EQ(result.report.size(), 1u);
  const std::string& thread = result.report[0];
  EXPECT_EQ(workplace.log(kLogName), line(kStamp, before.report[1], "Code 1. \nDo\tthis\r\n\n") +
                                         line(kStamp, thread, "first") +
                                         line(kStamp, thread, "second"));
  EXPECT_EQ(workplace.log("_FerrolinkNativeErrorLogger_2026-11-16.txt"),
            line("2026-11-16 01:30:05", thread, "third"));
  int files = 0;
  for ([[maybe_unused]] const auto& file :
       std::filesystem::directory_iterator(workplace.tree.workDirectory())) {
    ++files;
  }
  EXPECT_EQ(files, 2);
}

// Hosts do catch by value, whatever the compiler thinks of it.
#if !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wcatch-value"
#endif
PROCESS_CASE(copyAndCatch) {
  try {
    throw FerrolinkNativeException("copied", "Unknown");
  } catch (FerrolinkNativeException byValue) {
    const FerrolinkNativeException copy(byValue);
    report(copy.what());
    report(byValue.what());
  }
  try {
    throw FerrolinkNativeException("as its base", "Unknown");
  } catch (const std::runtime_error& error) {
    report(error.what());
  }
  try {
    throw FerrolinkNativeException("as the common base", "Unknown");
  } catch (const std::exception& error) {
    report(error.what());
  }
}
#if !defined(__clang__)
#pragma GCC diagnostic pop
#endif

TEST(FerrolinkNativeException, ReportsNothingWhenCopiedOrCaughtByValue) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  const CaseResult result = workplace.run("copyAndCatch");
  EXPECT_EQ(result.report, (Texts{"copied", "copied", "as its base", "as the common base"}));
  EXPECT_EQ(events(workplace.tree),
            "Native exception|copied|Unknown\nNative exception|as its base|Unknown\n"
            "Native exception|as the common base|Unknown\n");
  EXPECT_EQ(withoutStamps(workplace.tree.errorLog()),
            "# copied\n# as its base\n# as the common base\n");
  const std::string hint = std::string(kSupportHint) + "\n";
  EXPECT_EQ(withoutStamps(result.err),
            "# copied" + hint + "# as its base" + hint + "# as the common base" + hint);
}

TEST(FerrolinkNativeException, KeepsItsMessageWhereTheWorkingDirectoryIsMissing) {
  Workplace workplace;
  const auto missing = workplace.tree.root() / "missing";
  workplace.options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = missing.string();
  const CaseResult result = workplace.run("raiseOne");
  EXPECT_EQ(result.report.at(0), "Code 1. \nDo\tthis\r\n\n");
  EXPECT_EQ(events(workplace.tree), "Native exception|Code 1. Do\tthis\r|Context\n");
  EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST(FerrolinkNativeException, KeepsItsMessageWhereTheLogFileIsADirectory) {
  const Workplace workplace;
  std::filesystem::create_directory(workplace.tree.workDirectory() / kLogName);
  const CaseResult result = workplace.run("raiseOne");
  EXPECT_EQ(result.report.at(0), "Code 1. \nDo\tthis\r\n\n");
  EXPECT_EQ(events(workplace.tree), "Native exception|Code 1. Do\tthis\r|Context\n");
}

PROCESS_CASE(raiseOneOnAFullDisk) {
  FileProbe::leaveRoomFor(0);
  const FerrolinkNativeException error("no room", "Context");
  FileProbe::leaveRoom();
  report(error.what());
}

TEST(FerrolinkNativeException, KeepsItsMessageWhereTheLogFileTakesNothing) {
  const Workplace workplace;
  const CaseResult result = workplace.run("raiseOneOnAFullDisk");
  EXPECT_EQ(result.report, Texts{"no room"});
  EXPECT_EQ(events(workplace.tree), "Native exception|no room|Context\n");
}

PROCESS_CASE(raiseWithoutPermission) {
  ClockProbe::setTime(kLateEvening);
  const std::string directory = (FerrolinkTest::caseRoot() / "work").string();
  FileProbe::fail(directory, EACCES);
  const FerrolinkNativeException error("denied", "Context");
  report(error.what());
  report(static_cast<long>(ClockProbe::pauses().size()));
}

TEST(FerrolinkNativeException, NeitherRaisesNorPausesWhereItMayNotWriteTheLog) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  const CaseResult result = workplace.run("raiseWithoutPermission");
  EXPECT_EQ(result.report, (Texts{"denied", "0"}));
  EXPECT_NE(result.err.find("\tdenied" + std::string(kSupportHint) + "\n"), std::string::npos);
  EXPECT_EQ(events(workplace.tree), "Native exception|denied|Context\n");
  EXPECT_EQ(workplace.log(kLogName), "");
}

PROCESS_CASE(raiseWithoutDirectory) {
  ClockProbe::setTime(kLateEvening);
  FileProbe::redirect("/_Ferrolink", FerrolinkTest::caseRoot().string());
  const FerrolinkNativeException error("at the root", "Unknown");
  for (const std::string& opening : FileProbe::openings()) {
    report(opening);
  }
  report(threadIdText());
}

TEST(FerrolinkNativeException, LogsAtTheFileSystemRootWhereTheDirectoryIsEmpty) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = "";
  const CaseResult result = workplace.run("raiseWithoutDirectory");
  ASSERT_EQ(result.report.size(), 2u) << result.err;
  EXPECT_EQ(result.report[0].substr(0, result.report[0].find(' ')), "/" + std::string(kLogName));
  EXPECT_EQ(FerrolinkTest::fileText(workplace.tree.root() / kLogName),
            line(kStamp, result.report[1], "at the root"));
}

PROCESS_CASE(raiseWithoutConsole) {
  close(STDERR_FILENO);
  const FerrolinkNativeException error("unheard", "Unknown");
  report(error.what());
}

TEST(FerrolinkNativeException, SurvivesAClosedConsole) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  EXPECT_EQ(workplace.run("raiseWithoutConsole").report, Texts{"unheard"});
  EXPECT_EQ(events(workplace.tree), "Native exception|unheard|Unknown\n");
}
