// How processes end while eight threads call across the border: as requested, at once, and without
// a crash. SIGALRM ends a case that hangs.
#include <ferrolink/Host.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <latch>
#include <ostream>
#include <thread>

#include "tests/calls/Endings.h"
#include "tests/calls/JavaProgramCases.h"
#include "tests/support/Counts.h"

using namespace Ferrolink::Tests;

namespace {

constexpr unsigned kLimitSeconds = 10;
constexpr int kThreads = 8;
constexpr int kCallsBeforeTheEnd = 200;

void ExecJava(const std::vector<std::string>& arguments) {
  const std::string java = std::string(std::getenv("JAVA_HOME")) + "/bin/java";
  std::vector<std::string> texts = {java,
                                    "-XX:-UsePerfData",
                                    "-XX:+IgnoreUnrecognizedVMOptions",
                                    "--enable-native-access=ALL-UNNAMED",
                                    "-cp",
                                    CaseArchive().string() + ":" + CasePrograms().string()};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  execv(java.c_str(), pointers.data());
}

// Children inherit ignored signals, so the tests may run with some of them ignored.
void BeginToEnd() {
  alarm(kLimitSeconds);
  for (const int signal : {SIGHUP, SIGINT}) {
    std::signal(signal, SIG_DFL);
  }
}

void CallForEver(Ferrolink::Host::Host& host, std::latch& busy) {
  const Ferrolink::Host::ThreadAttachment attachment;
  const Ferrolink::Host::Bytes payload(64);
  for (int call = 0;; ++call) {
    host.Call("echo", payload);
    if (call == kCallsBeforeTheEnd) {
      busy.count_down();
    }
  }
}

// One end of a process, and what its parent sees of it.
struct End {
  const char* way;
  const char* name;
  int exitCode;
  int signal = 0;
};

void PrintTo(const End& end, std::ostream* out) {
  *out << end.way;
}

// The outcomes of the runs of one ending.
struct Tally {
  int runs = 0;
  int hung = 0;
  int crashed = 0;
  int otherwise = 0;
  std::chrono::milliseconds slowest{0};
  std::string firstFailure;

  void Add(const End& told, const CaseResult& result, std::chrono::milliseconds took) {
    ++runs;
    slowest = std::max(slowest, took);
    if (result.signal == told.signal && result.exitCode == told.exitCode &&
        result.out.ends_with("busy\n")) {
      return;
    }
    if (result.signal == SIGALRM || result.exitCode == kForkedChildHung) {
      ++hung;
    } else if (result.signal != 0 || result.exitCode == kForkedChildCrashed) {
      ++crashed;
    } else {
      ++otherwise;
    }
    if (firstFailure.empty()) {
      firstFailure = "run " + std::to_string(runs) + ": signal " + std::to_string(result.signal) +
                     ", exit code " + std::to_string(result.exitCode) + "\n" +
                     result.out.substr(0, 2000) + result.err.substr(0, 2000);
    }
  }
};

class Exit : public testing::TestWithParam<End> {
 protected:
  static void IsAsTold(const std::string& name) {
    const auto jdks = InstalledJdks();
    ASSERT_FALSE(jdks.empty());
    Tally tally;
    for (const auto& jdk : jdks) {
      const InstallationTree tree;
      InstallEverything(tree);
      CaseOptions options = OnJdk(tree, jdk);
      options.arguments = {GetParam().way};
      for (long run = CountOr("TEST_RUNS", 10); run > 0; --run) {
        const auto begin = std::chrono::steady_clock::now();
        const CaseResult result = RunCase(name, tree, options);
        const auto took = std::chrono::steady_clock::now() - begin;
        tally.Add(GetParam(), result, std::chrono::duration_cast<std::chrono::milliseconds>(took));
      }
    }
    RecordProperty("runs", tally.runs);
    RecordProperty("hung", tally.hung);
    RecordProperty("crashed", tally.crashed);
    RecordProperty("not_as_told", tally.otherwise);
    RecordProperty("slowest_ms", static_cast<int>(tally.slowest.count()));
    EXPECT_EQ(tally.hung + tally.crashed + tally.otherwise, 0)
        << tally.hung << " hung, " << tally.crashed << " crashed, " << tally.otherwise
        << " ended otherwise of " << tally.runs << "; " << tally.firstFailure;
  }
};

}  // namespace

PROCESS_CASE(endJavaProgram) {
  BeginToEnd();
  ExecJava({"BusyCallers", CaseHandlers().string(), CaseArguments().at(0)});
}

TEST_P(Exit, OfAJavaProgramWhoseThreadsCallCpp) {
  IsAsTold("endJavaProgram");
}

PROCESS_CASE(endCppProgram) {
  BeginToEnd();
  // The threads use both until the very end.
  static Ferrolink::Host::Host& host = *new Ferrolink::Host::Host({CaseNativeDirectory(), ""});
  static std::latch& busy = *new std::latch(kThreads);
  host.LoadLibrary(CasePrograms());
  host.Heartbeat();
  for (int thread = 0; thread < kThreads; ++thread) {
    std::thread([] { CallForEver(host, busy); }).detach();
  }
  busy.wait();
  std::fputs("busy\n", stdout);
  std::fflush(stdout);
  const std::string way = CaseArguments().at(0);
  if (way == "System.exit") {
    host.Call("System.exit", "");
  } else if (way != "return") {
    EndProcess(way);
    pause();
  }
}

TEST_P(Exit, OfACppProgramWhoseThreadsCallJava) {
  IsAsTold("endCppProgram");
}

std::string NameOf(const testing::TestParamInfo<End>& end) {
  return end.param.name;
}

// A JVM ends with 128 and the number of the signal on those that it handles.
INSTANTIATE_TEST_SUITE_P(
    By, Exit,
    testing::Values(End{"return", "Return", 0}, End{"exit", "Exit", 42},
                    End{"_exit", "QuickExit", 43}, End{"System.exit", "SystemExit", 44},
                    End{"SIGTERM", "Sigterm", 128 + SIGTERM}, End{"SIGINT", "Sigint", 128 + SIGINT},
                    End{"SIGHUP", "Sighup", 128 + SIGHUP}, End{"SIGUSR1", "Sigusr1", -1, SIGUSR1}),
    NameOf);

// A child that was forked meanwhile ends, and the process after it.
INSTANTIATE_TEST_SUITE_P(AfterAForkWhoseChildCalls, Exit,
                         testing::Values(End{"fork, _exit", "QuickExit", kForkedChildEnded},
                                         End{"fork, exit", "Exit", kForkedChildEnded},
                                         End{"fork, exec", "Exec", kForkedChildEnded}),
                         NameOf);
