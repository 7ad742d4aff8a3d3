// The error log under conditions that a host brings about: signals, locales, many threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <cwchar>
#include <locale>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "native/FerrolinkNativeException.h"
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

namespace {

constexpr int kThreads = 8;
constexpr int kErrorsEach = 20;
constexpr std::time_t kLateEvening = 1794699005;

CaseOptions withFakes(const InstallationTree& tree, const std::string& level) {
  tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = fakeSettings(tree);
  options.environment["FAKE_CONFIGS_GetLoggingLevel"] = level;
  options.environment["TZ"] = "UTC0";
  return options;
}

void reportPauses() {
  for (const std::string& pause : ClockProbe::pauses()) {
    report(pause);
  }
}

std::vector<std::string> sortedLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::string errorText(int thread, int error) {
  return "thread " + std::to_string(thread) + " error " + std::to_string(error) + " " +
         std::string(2000, static_cast<char>('a' + thread));
}

}  // namespace

PROCESS_CASE(pauseOnce) {
  const FerrolinkNativeException error("once", "Unknown");
  reportPauses();
}

TEST(ErrorLog, PausesFiftyMillisecondsAfterALine) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("pauseOnce", tree, withFakes(tree, "off")).report, Texts{"0 s 50000000 ns"});
}

PROCESS_CASE(pauseInterrupted) {
  ClockProbe::interruptNextPause(12345);
  const FerrolinkNativeException error("interrupted", "Unknown");
  reportPauses();
}

TEST(ErrorLog, ResumesAPauseThatASignalInterrupted) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("pauseInterrupted", tree, withFakes(tree, "off")).report,
            (Texts{"0 s 50000000 ns", "0 s 12345 ns"}));
}

PROCESS_CASE(pauseRefused) {
  ClockProbe::failPauses(ENOSYS);
  const FerrolinkNativeException error("refused", "Unknown");
  reportPauses();
}

TEST(ErrorLog, GivesUpAPauseThatFailsOtherwise) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("pauseRefused", tree, withFakes(tree, "off")).report, Texts{"0 s 50000000 ns"});
}

PROCESS_CASE(orderAroundThePause) {
  ClockProbe::onPause([] {
    std::string line = FerrolinkTest::fileText(FerrolinkTest::caseArguments().at(0));
    report(line.substr(line.find_last_of('\t') + 1));
    report(FerrolinkTest::fileText(FerrolinkTest::caseRoot() / "calls"));
    report(FerrolinkTest::fileText(FerrolinkTest::caseRoot() / "events"));
  });
  ClockProbe::setTime(kLateEvening);
  const FerrolinkNativeException error("in order", "Unknown");
}

TEST(ErrorLog, HasTheWholeLineBeforeThePauseAndTelemetryAfterIt) {
  const InstallationTree tree;
  CaseOptions options = withFakes(tree, "off");
  options.arguments = {
      (tree.workDirectory() / "_FerrolinkNativeErrorLogger_2026-11-14.txt").string()};
  const CaseResult result = runCase("orderAroundThePause", tree, options);
  EXPECT_EQ(result.report, (Texts{"in order\n", "GetLoggingLevel()\nGetWorkingDirectory()\n", ""}));
  EXPECT_EQ(events(tree), "Native exception|in order|Unknown\n");
}

namespace {

class GroupedNumbers : public std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

class OtherCalendar : public std::time_put<char> {
  iter_type do_put(iter_type out, std::ios_base& /*stream*/, char /*fill*/, const std::tm* /*time*/,
                   char /*format*/, char /*modifier*/) const override {
    *out = '?';
    return ++out;
  }
};

class OtherBytes : public std::codecvt<char, char, std::mbstate_t> {
  bool do_always_noconv() const noexcept override { return false; }
  result do_out(std::mbstate_t& /*state*/, const char* from, const char* /*end*/, const char*& next,
                char* /*to*/, char* /*toEnd*/, char*& /*toNext*/) const override {
    next = from;
    return error;
  }
};

}  // namespace

PROCESS_CASE(raiseUnderHostLocale) {
  ClockProbe::setTime(kLateEvening);
  const std::locale numbers(std::locale::classic(), new GroupedNumbers);
  std::locale::global(std::locale(std::locale(numbers, new OtherCalendar), new OtherBytes));
  std::ostringstream grouped;
  grouped << 1234567;
  report(grouped.str());
  const FerrolinkNativeException error("elsewhere", "Unknown");
  std::ostringstream thread;
  thread.imbue(std::locale::classic());
  thread << std::this_thread::get_id();
  report(thread.str());
}

TEST(ErrorLog, KeepsStampsAndThreadIdsUnderTheHostsLocale) {
  const InstallationTree tree;
  const CaseResult result = runCase("raiseUnderHostLocale", tree, withFakes(tree, "all"));
  ASSERT_EQ(result.report.size(), 2u) << result.err;
  EXPECT_EQ(result.report[0], "1.234.567");
  const std::string start = "2026-11-14 23:30:05\tThread ID: " + result.report[1] + "\t";
  EXPECT_EQ(
      FerrolinkTest::fileText(tree.workDirectory() / "_FerrolinkNativeErrorLogger_2026-11-14.txt"),
      start + "elsewhere\n");
  EXPECT_EQ(result.err, start + "elsewhere" + kSupportHint + "\n");
}

PROCESS_CASE(raiseShortAndLong) {
  FileProbe::recordWrites();
  const FerrolinkNativeException brief("brief", "Unknown");
  const FerrolinkNativeException lengthy(std::string(20000, 'x'), "Unknown");
  const Texts writes = FileProbe::writes();
  for (const std::string& text : writes) {
    report(FerrolinkTest::withoutStamps(text));
  }
}

TEST(ErrorLog, WritesEachLineInOnePiece) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("raiseShortAndLong", tree, withFakes(tree, "off")).report,
            (Texts{"# brief\n", "# " + std::string(20000, 'x') + "\n"}));
}

PROCESS_CASE(raiseOnManyThreads) {
  ClockProbe::setTime(kLateEvening);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      for (int error = 0; error < kErrorsEach; ++error) {
        const FerrolinkNativeException raised(errorText(thread, error), "Unknown");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  report(static_cast<long>(ClockProbe::pauses().size()));
}

TEST(ErrorLog, KeepsTheLinesOfConcurrentWritersWhole) {
  const InstallationTree tree;
  const CaseResult result = runCase("raiseOnManyThreads", tree, withFakes(tree, "all"));
  EXPECT_EQ(result.report, Texts{"160"});
  std::vector<std::string> expected;
  for (int thread = 0; thread < kThreads; ++thread) {
    for (int error = 0; error < kErrorsEach; ++error) {
      expected.push_back("# " + errorText(thread, error));
    }
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(sortedLines(withoutStamps(tree.errorLog())), expected);
  expected.insert(expected.end(), expected.size(), std::string(kSupportHint).substr(1));
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(sortedLines(withoutStamps(result.err)), expected);
}
