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

namespace {

constexpr int kThreads = 8;
constexpr int kErrorsEach = 20;
constexpr std::time_t kLateEvening = 1794699005;

CaseOptions WithFakes(const InstallationTree& tree, const std::string& level) {
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = FakeSettings(tree);
  options.environment["FAKE_CONFIGS_GetLoggingLevel"] = level;
  options.environment["TZ"] = "UTC0";
  return options;
}

void ReportPauses() {
  for (const std::string& pause : ClockProbe::Pauses()) {
    Report(pause);
  }
}

std::vector<std::string> SortedLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::string ErrorText(int thread, int error) {
  return "thread " + std::to_string(thread) + " error " + std::to_string(error) + " " +
         std::string(2000, static_cast<char>('a' + thread));
}

}  // namespace

PROCESS_CASE(pauseOnce) {
  const FerrolinkNativeException error("once", "Unknown");
  ReportPauses();
}

TEST(ErrorLog, PausesFiftyMillisecondsAfterALine) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("pauseOnce", tree, WithFakes(tree, "off")).report, Texts{"0 s 50000000 ns"});
}

PROCESS_CASE(pauseInterrupted) {
  ClockProbe::InterruptNextPause(12345);
  const FerrolinkNativeException error("interrupted", "Unknown");
  ReportPauses();
}

TEST(ErrorLog, ResumesAPauseThatASignalInterrupted) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("pauseInterrupted", tree, WithFakes(tree, "off")).report,
            (Texts{"0 s 50000000 ns", "0 s 12345 ns"}));
}

PROCESS_CASE(pauseRefused) {
  ClockProbe::FailPauses(ENOSYS);
  const FerrolinkNativeException error("refused", "Unknown");
  ReportPauses();
}

TEST(ErrorLog, GivesUpAPauseThatFailsOtherwise) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("pauseRefused", tree, WithFakes(tree, "off")).report, Texts{"0 s 50000000 ns"});
}

PROCESS_CASE(orderAroundThePause) {
  ClockProbe::OnPause([] {
    std::string line = Ferrolink::Tests::FileText(Ferrolink::Tests::CaseArguments().at(0));
    Report(line.substr(line.find_last_of('\t') + 1));
    Report(Ferrolink::Tests::FileText(Ferrolink::Tests::CaseRoot() / "calls"));
    Report(Ferrolink::Tests::FileText(Ferrolink::Tests::CaseRoot() / "events"));
  });
  ClockProbe::SetTime(kLateEvening);
  const FerrolinkNativeException error("in order", "Unknown");
}

TEST(ErrorLog, HasTheWholeLineBeforeThePauseAndTelemetryAfterIt) {
  const InstallationTree tree;
  CaseOptions options = WithFakes(tree, "off");
  options.arguments = {
      (tree.WorkDirectory() / "_FerrolinkNativeErrorLogger_2026-11-14.txt").string()};
  const CaseResult result = RunCase("orderAroundThePause", tree, options);
  EXPECT_EQ(result.report, (Texts{"in order\n", "GetLoggingLevel()\nGetWorkingDirectory()\n", ""}));
  EXPECT_EQ(Events(tree), "Native exception|in order|Unknown\n");
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
  ClockProbe::SetTime(kLateEvening);
  const std::locale numbers(std::locale::classic(), new GroupedNumbers);
  std::locale::global(std::locale(std::locale(numbers, new OtherCalendar), new OtherBytes));
  std::ostringstream grouped;
  grouped << 1234567;
  Report(grouped.str());
  const FerrolinkNativeException error("elsewhere", "Unknown");
  std::ostringstream thread;
  thread.imbue(std::locale::classic());
  thread << std::this_thread::get_id();
  Report(thread.str());
}

TEST(ErrorLog, KeepsStampsAndThreadIdsUnderTheHostsLocale) {
  const InstallationTree tree;
  const CaseResult result = RunCase("raiseUnderHostLocale", tree, WithFakes(tree, "all"));
  ASSERT_EQ(result.report.size(), 2u) << result.err;
  EXPECT_EQ(result.report[0], "1.234.567");
  const std::string start = "2026-11-14 23:30:05\tThread ID: " + result.report[1] + "\t";
  EXPECT_EQ(Ferrolink::Tests::FileText(tree.WorkDirectory() /
                                       "_FerrolinkNativeErrorLogger_2026-11-14.txt"),
            start + "elsewhere\n");
  EXPECT_EQ(result.err, start + "elsewhere" + kSupportHint + "\n");
}

PROCESS_CASE(raiseShortAndLong) {
  FileProbe::RecordWrites();
  const FerrolinkNativeException brief("brief", "Unknown");
  const FerrolinkNativeException lengthy(std::string(20000, 'x'), "Unknown");
  const Texts writes = FileProbe::Writes();
  for (const std::string& text : writes) {
    Report(Ferrolink::Tests::WithoutStamps(text));
  }
}

TEST(ErrorLog, WritesEachLineInOnePiece) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("raiseShortAndLong", tree, WithFakes(tree, "off")).report,
            (Texts{"# brief\n", "# " + std::string(20000, 'x') + "\n"}));
}

PROCESS_CASE(raiseOnManyThreads) {
  ClockProbe::SetTime(kLateEvening);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      for (int error = 0; error < kErrorsEach; ++error) {
        const FerrolinkNativeException raised(ErrorText(thread, error), "Unknown");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  Report(static_cast<long>(ClockProbe::Pauses().size()));
}

TEST(ErrorLog, KeepsTheLinesOfConcurrentWritersWhole) {
  const InstallationTree tree;
  const CaseResult result = RunCase("raiseOnManyThreads", tree, WithFakes(tree, "all"));
  EXPECT_EQ(result.report, Texts{"160"});
  std::vector<std::string> expected;
  for (int thread = 0; thread < kThreads; ++thread) {
    for (int error = 0; error < kErrorsEach; ++error) {
      expected.push_back("# " + ErrorText(thread, error));
    }
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(SortedLines(WithoutStamps(tree.ErrorLog())), expected);
  expected.insert(expected.end(), expected.size(), std::string(kSupportHint).substr(1));
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(SortedLines(WithoutStamps(result.err)), expected);
}
