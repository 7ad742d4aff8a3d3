// How processes end while eight threads call across the border: as they were told to, at once, and
// without a crash. A case that hangs is ended by SIGALRM.
#include <ferrolink/Host.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <latch>
#include <ostream>
#include <thread>

#include "tests/calls/Support.h"

using namespace FerrolinkTest;

namespace {

constexpr unsigned kLimitSeconds = 10;
constexpr int kRuns = 20;
constexpr int kThreads = 8;
constexpr int kCallsBeforeTheEnd = 200;

void execJava(const std::vector<std::string>& arguments) {
  const std::string java = std::string(std::getenv("JAVA_HOME")) + "/bin/java";
  std::vector<std::string> texts = {java,
                                    "-XX:-UsePerfData",
                                    "-XX:+IgnoreUnrecognizedVMOptions",
                                    "--enable-native-access=ALL-UNNAMED",
                                    "-cp",
                                    caseArchive().string() + ":" + casePrograms().string()};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  execv(java.c_str(), pointers.data());
}

void callForEver(Ferrolink::Host::Host& host, std::latch& busy) {
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
};

void PrintTo(const End& end, std::ostream* out) {
  *out << end.way;
}

class Exit : public testing::TestWithParam<End> {
 protected:
  void endsTwentyTimes(const std::string& name) {
    const auto jdks = installedJdks();
    ASSERT_FALSE(jdks.empty());
    for (const auto& jdk : jdks) {
      SCOPED_TRACE(jdk.string());
      const InstallationTree tree;
      installEverything(tree);
      CaseOptions options = onJdk(tree, jdk);
      options.arguments = {GetParam().way};
      for (int run = 0; run < kRuns; ++run) {
        const CaseResult result = runCase(name, tree, options);
        ASSERT_EQ(result.signal, 0) << "run " << run << "\n" << result.out << result.err;
        ASSERT_EQ(result.exitCode, GetParam().exitCode) << result.out << result.err;
        ASSERT_TRUE(result.out.ends_with("busy\n")) << result.out << result.err;
      }
    }
  }
};

}  // namespace

PROCESS_CASE(endJavaProgram) {
  alarm(kLimitSeconds);
  execJava({"BusyCallers", caseHandlers().string(), caseArguments().at(0)});
}

TEST_P(Exit, OfAJavaProgramWhoseThreadsCallCpp) {
  endsTwentyTimes("endJavaProgram");
}

PROCESS_CASE(endCppProgram) {
  alarm(kLimitSeconds);
  // The threads use both until the very end.
  static Ferrolink::Host::Host& host = *new Ferrolink::Host::Host({caseNativeDirectory(), ""});
  static std::latch& busy = *new std::latch(kThreads);
  host.LoadLibrary(casePrograms());
  host.Heartbeat();
  for (int thread = 0; thread < kThreads; ++thread) {
    std::thread([] { callForEver(host, busy); }).detach();
  }
  busy.wait();
  std::fputs("busy\n", stdout);
  std::fflush(stdout);
  const std::string way = caseArguments().at(0);
  if (way == "exit") {
    std::exit(42);
  } else if (way == "_exit") {
    _exit(43);
  } else if (way == "System.exit") {
    host.Call("System.exit", "");
  } else if (way == "SIGTERM") {
    kill(getpid(), SIGTERM);
    pause();
  }
}

TEST_P(Exit, OfACppProgramWhoseThreadsCallJava) {
  endsTwentyTimes("endCppProgram");
}

std::string nameOf(const testing::TestParamInfo<End>& end) {
  return end.param.name;
}

// 143 is how a JVM ends on SIGTERM.
INSTANTIATE_TEST_SUITE_P(By, Exit,
                         testing::Values(End{"return", "Return", 0}, End{"exit", "Exit", 42},
                                         End{"_exit", "QuickExit", 43},
                                         End{"System.exit", "SystemExit", 44},
                                         End{"SIGTERM", "Sigterm", 143}),
                         nameOf);
