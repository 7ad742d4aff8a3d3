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

namespace ClockProbe = Ferrolink::Tests::ClockProbe;
namespace FileProbe = Ferrolink::Tests::FileProbe;

using Ferrolink::Tests::CaseOptions;
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::kSupportHint;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Ferrolink::Tests::Texts;
using Ferrolink::Tests::WithoutStamps;

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

std::string ThreadIdText() {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::this_thread::get_id();
  return text.str();
}

std::string Line(const std::string& stamp, const std::string& thread, const std::string& message) {
  return stamp + "\tThread ID: " + thread + "\t" + message + "\n";
}

/// A tree with both fakes, and settings for a process with a fixed clock.
struct Workplace {
  Workplace() {
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
    options = FakeSettings(tree);
    options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "off";
    options.environment["TZ"] = kZone;
  }

  [[nodiscard]] CaseResult Run(const std::string& name) const {
    return RunCase(name, tree, options);
  }

  [[nodiscard]] std::string Log(const std::string& name) const {
    return Ferrolink::Tests::FileText(tree.WorkDirectory() / name);
  }

  InstallationTree tree;
  CaseOptions options;
};

}  // namespace

PROCESS_CASE(raiseOne) {
  ClockProbe::SetTime(kLateEvening);
  const FerrolinkNativeException error("Code 1. \nDo\tthis\r\n\n", "Context");
  Report(error.what());
  Report(ThreadIdText());
}

TEST(FerrolinkNativeException, KeepsItsMessageEchoesLogsAndForwardsIt) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  const CaseResult result = workplace.Run("raiseOne");
  ASSERT_EQ(result.report.size(), 2u) << result.err;
  EXPECT_EQ(result.report[0], "Code 1. \nDo\tthis\r\n\n");
  const std::string& thread = result.report[1];
  EXPECT_EQ(result.err,
            Line(kStamp, thread, "Code 1. \nDo\tthis\r\n\n" + std::string(kSupportHint)));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(workplace.Log(kLogName), Line(kStamp, thread, "Code 1. \nDo\tthis\r\n\n"));
  EXPECT_EQ(Events(workplace.tree), "Native exception|Code 1. Do\tthis\r|Context\n");
}

TEST(FerrolinkNativeException, AsksForTheLevelThenForTheDirectoryAndNothingElse) {
  const Workplace workplace;
  EXPECT_EQ(workplace.Run("raiseOne").exitCode, 0);
  EXPECT_EQ(Calls(workplace.tree), "GetLoggingLevel()\nGetWorkingDirectory()\n");
}

TEST(FerrolinkNativeException, EchoesNothingAtLevelOffButLogsAndForwards) {
  const Workplace workplace;
  const CaseResult result = workplace.Run("raiseOne");
  ASSERT_EQ(result.report.size(), 2u);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(workplace.Log(kLogName), Line(kStamp, result.report[1], "Code 1. \nDo\tthis\r\n\n"));
  EXPECT_EQ(Events(workplace.tree), "Native exception|Code 1. Do\tthis\r|Context\n");
}

TEST(FerrolinkNativeException, EchoesAtLevelRuntimeInfo) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "runtimeinfo";
  const CaseResult result = workplace.Run("raiseOne");
  ASSERT_EQ(result.report.size(), 2u);
  EXPECT_EQ(result.err,
            Line(kStamp, result.report[1], "Code 1. \nDo\tthis\r\n\n" + std::string(kSupportHint)));
}

TEST(FerrolinkNativeException, LetsTheEnvironmentDecideOverTheConfiguredLevel) {
  Workplace workplace;
  workplace.options.environment["FERROLINK_LOGGING_LEVEL"] = "All";
  const CaseResult echoing = workplace.Run("raiseOne");
  ASSERT_EQ(echoing.report.size(), 2u);
  EXPECT_EQ(echoing.err, Line(kStamp, echoing.report[1],
                              "Code 1. \nDo\tthis\r\n\n" + std::string(kSupportHint)));
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  workplace.options.environment["FERROLINK_LOGGING_LEVEL"] = "OFF";
  EXPECT_EQ(workplace.Run("raiseOne").err, "");
}

PROCESS_CASE(raiseOnTwoDays) {
  ClockProbe::SetTime(kLateEvening);
  const FerrolinkNativeException first("first", "Unknown");
  const FerrolinkNativeException second("second", "Unknown");
  ClockProbe::SetTime(kLateEvening + kDay);
  const FerrolinkNativeException third("third", "Unknown");
  Report(ThreadIdText());
}

TEST(FerrolinkNativeException, WritesOneFileALocalDayAndAppendsToIt) {
  const Workplace workplace;
  const CaseResult before = workplace.Run("raiseOne");
  const CaseResult result = workplace.Run("raiseOnTwoDays");
  ASSERT_EQ(before.report.size(), 2u);
  ASSERT_EQ(result.report.size(), 1u);
  const std::string& thread = result.report[0];
  EXPECT_EQ(workplace.Log(kLogName), Line(kStamp, before.report[1], "Code 1. \nDo\tthis\r\n\n") +
                                         Line(kStamp, thread, "first") +
                                         Line(kStamp, thread, "second"));
  EXPECT_EQ(workplace.Log("_FerrolinkNativeErrorLogger_2026-11-16.txt"),
            Line("2026-11-16 01:30:05", thread, "third"));
  int files = 0;
  for ([[maybe_unused]] const auto& file :
       std::filesystem::directory_iterator(workplace.tree.WorkDirectory())) {
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
    Report(copy.what());
    Report(byValue.what());
  }
  try {
    throw FerrolinkNativeException("as its base", "Unknown");
  } catch (const std::runtime_error& error) {
    Report(error.what());
  }
  try {
    throw FerrolinkNativeException("as the common base", "Unknown");
  } catch (const std::exception& error) {
    Report(error.what());
  }
}
#if !defined(__clang__)
#pragma GCC diagnostic pop
#endif

TEST(FerrolinkNativeException, ReportsNothingWhenCopiedOrCaughtByValue) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  const CaseResult result = workplace.Run("copyAndCatch");
  EXPECT_EQ(result.report, (Texts{"copied", "copied", "as its base", "as the common base"}));
  EXPECT_EQ(Events(workplace.tree),
            "Native exception|copied|Unknown\nNative exception|as its base|Unknown\n"
            "Native exception|as the common base|Unknown\n");
  EXPECT_EQ(WithoutStamps(workplace.tree.ErrorLog()),
            "# copied\n# as its base\n# as the common base\n");
  const std::string hint = std::string(kSupportHint) + "\n";
  EXPECT_EQ(WithoutStamps(result.err),
            "# copied" + hint + "# as its base" + hint + "# as the common base" + hint);
}

TEST(FerrolinkNativeException, KeepsItsMessageWhereTheWorkingDirectoryIsMissing) {
  Workplace workplace;
  const auto missing = workplace.tree.Root() / "missing";
  workplace.options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = missing.string();
  const CaseResult result = workplace.Run("raiseOne");
  EXPECT_EQ(result.report.at(0), "Code 1. \nDo\tthis\r\n\n");
  EXPECT_EQ(Events(workplace.tree), "Native exception|Code 1. Do\tthis\r|Context\n");
  EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST(FerrolinkNativeException, KeepsItsMessageWhereTheLogFileIsADirectory) {
  const Workplace workplace;
  std::filesystem::create_directory(workplace.tree.WorkDirectory() / kLogName);
  const CaseResult result = workplace.Run("raiseOne");
  EXPECT_EQ(result.report.at(0), "Code 1. \nDo\tthis\r\n\n");
  EXPECT_EQ(Events(workplace.tree), "Native exception|Code 1. Do\tthis\r|Context\n");
}

PROCESS_CASE(raiseOneOnAFullDisk) {
  FileProbe::LeaveRoomFor(0);
  const FerrolinkNativeException error("no room", "Context");
  FileProbe::LeaveRoom();
  Report(error.what());
}

TEST(FerrolinkNativeException, KeepsItsMessageWhereTheLogFileTakesNothing) {
  const Workplace workplace;
  const CaseResult result = workplace.Run("raiseOneOnAFullDisk");
  EXPECT_EQ(result.report, Texts{"no room"});
  EXPECT_EQ(Events(workplace.tree), "Native exception|no room|Context\n");
}

PROCESS_CASE(raiseWithoutPermission) {
  ClockProbe::SetTime(kLateEvening);
  const std::string directory = (Ferrolink::Tests::CaseRoot() / "work").string();
  FileProbe::Fail(directory, EACCES);
  const FerrolinkNativeException error("denied", "Context");
  Report(error.what());
  Report(static_cast<long>(ClockProbe::Pauses().size()));
}

TEST(FerrolinkNativeException, NeitherRaisesNorPausesWhereItMayNotWriteTheLog) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  const CaseResult result = workplace.Run("raiseWithoutPermission");
  EXPECT_EQ(result.report, (Texts{"denied", "0"}));
  EXPECT_NE(result.err.find("\tdenied" + std::string(kSupportHint) + "\n"), std::string::npos);
  EXPECT_EQ(Events(workplace.tree), "Native exception|denied|Context\n");
  EXPECT_EQ(workplace.Log(kLogName), "");
}

PROCESS_CASE(raiseWithoutDirectory) {
  ClockProbe::SetTime(kLateEvening);
  FileProbe::Redirect("/_Ferrolink", Ferrolink::Tests::CaseRoot().string());
  const FerrolinkNativeException error("at the root", "Unknown");
  for (const std::string& opening : FileProbe::Openings()) {
    Report(opening);
  }
  Report(ThreadIdText());
}

TEST(FerrolinkNativeException, LogsAtTheFileSystemRootWhereTheDirectoryIsEmpty) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = "";
  const CaseResult result = workplace.Run("raiseWithoutDirectory");
  ASSERT_EQ(result.report.size(), 2u) << result.err;
  EXPECT_EQ(result.report[0].substr(0, result.report[0].find(' ')), "/" + std::string(kLogName));
  EXPECT_EQ(Ferrolink::Tests::FileText(workplace.tree.Root() / kLogName),
            Line(kStamp, result.report[1], "at the root"));
}

PROCESS_CASE(raiseWithoutConsole) {
  close(STDERR_FILENO);
  const FerrolinkNativeException error("unheard", "Unknown");
  Report(error.what());
}

TEST(FerrolinkNativeException, SurvivesAClosedConsole) {
  Workplace workplace;
  workplace.options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  EXPECT_EQ(workplace.Run("raiseWithoutConsole").report, Texts{"unheard"});
  EXPECT_EQ(Events(workplace.tree), "Native exception|unheard|Unknown\n");
}
