// Processes that fork while threads call across the border. The child has none of the JVM's
// threads: it can run another program, or end.
#include <ferrolink/Host.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <latch>
#include <map>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/calls/Support.h"

using namespace FerrolinkTest;

namespace {

using Ferrolink::Native::Interfaces::IReceiver;

constexpr unsigned kLimitSeconds = 20;
constexpr int kThreads = 4;
constexpr int kCallsBeforeTheForks = 200;
constexpr const char* kForksVariable = "TEST_FORKS";  // for long runs: forks of each case

std::string forks() {
  const char* count = std::getenv(kForksVariable);
  return count != nullptr ? count : "20";
}

// How the child ends, and on which thread it was forked.
struct Child {
  const char* way;
  const char* thread;
  const char* name;
};

void PrintTo(const Child& child, std::ostream* out) {
  *out << child.way << " on the " << child.thread;
}

void callJavaForEver(Ferrolink::Host::Host& host, std::latch& busy) {
  const Ferrolink::Host::Bytes payload(64);
  for (int call = 0;; ++call) {
    host.Call("echo", payload);
    if (call == kCallsBeforeTheForks) {
      busy.count_down();
    }
  }
}

// Whether the member's thread-local data, locks and responses are in use changes nothing.
void callCppForEver(IReceiver& receiver, std::latch& busy) {
  for (int call = 0;; ++call) {
    std::vector<std::uint8_t> heartBeat = {8, 0, 0, 0, 0, 0, 0, 0, 0, 8, 11, 0x31, 0x32};
    const int length = receiver.SendCommand(heartBeat.data(), 13);
    receiver.ReadResponse(heartBeat.data(), length);
    if (call == kCallsBeforeTheForks) {
      busy.count_down();
    }
  }
}

[[noreturn]] void endChild(const std::string& way) {
  alarm(kLimitSeconds);
  if (way == "exec") {
    execl("/bin/true", "true", nullptr);
    _exit(127);
  }
  std::exit(0);
}

// Forks as often as the case says and reports how the children ended, each way once.
void forkChildren() {
  const std::string& way = caseArguments().at(0);
  std::vector<pid_t> children;
  for (int count = std::stoi(caseArguments().at(2)); count > 0; --count) {
    children.push_back(fork());
    if (children.back() == 0) {
      endChild(way);
    }
  }
  std::map<std::string, int> ends;
  for (const pid_t child : children) {
    int status = 0;
    waitpid(child, &status, 0);
    ++ends[WIFEXITED(status) ? "exited " + std::to_string(WEXITSTATUS(status))
                             : "signal " + std::to_string(WTERMSIG(status))];
  }
  for (const auto& [end, count] : ends) {
    report(end + ": " + std::to_string(count));
  }
}

// The process goes on afterwards: the parent has noticed nothing.
[[noreturn]] void forkOnTheThreadAndEnd(const std::function<void()>& last) {
  if (caseArguments().at(1) == std::string("starting thread")) {
    forkChildren();
  } else {
    std::thread(forkChildren).join();
  }
  last();
  _exit(0);
}

class Fork : public testing::TestWithParam<Child> {
 protected:
  static void endsEachChild(const std::string& name) {
    onEveryJdk(name, {GetParam().way, GetParam().thread, forks()}, "",
               [](const CaseResult& result) {
                 EXPECT_EQ(result.report,
                           (std::vector<std::string>{"exited 0: " + forks(), "parent goes on"}))
                     << result.err.substr(0, 4000);
                 EXPECT_EQ(result.exitCode, 0) << result.err.substr(0, 4000);
               });
  }
};

}  // namespace

PROCESS_CASE(forkCppProgram) {
  static auto& host = *new Ferrolink::Host::Host({caseNativeDirectory(), ""});
  static auto& cpp = *Ferrolink::Host::detail::openReceiver(caseNativeDirectory() /
                                                            "libFerrolinkCppRuntimeNative.so");
  static auto& busy = *new std::latch(kThreads);
  host.Heartbeat();
  for (int thread = 0; thread < kThreads; ++thread) {
    std::thread([thread] {
      thread == 0 ? callCppForEver(cpp, busy) : callJavaForEver(host, busy);
    }).detach();
  }
  busy.wait();
  forkOnTheThreadAndEnd([] {
    host.Heartbeat();
    report("parent goes on");
  });
}

TEST_P(Fork, OfACppProgramWhoseThreadsCallJava) {
  endsEachChild("forkCppProgram");
}

PROCESS_CASE(forkJavaProgram) {
  startJava().runMain("BusyCallers", {caseHandlers().string(), "return"});
  forkOnTheThreadAndEnd([] { report("parent goes on"); });
}

TEST_P(Fork, OfAJavaProgramWhoseThreadsCallCpp) {
  endsEachChild("forkJavaProgram");
}

INSTANTIATE_TEST_SUITE_P(
    InTraffic, Fork,
    testing::Values(Child{"exit", "starting thread", "ExitOnTheStartingThread"},
                    Child{"exit", "another thread", "ExitOnAnotherThread"},
                    Child{"exec", "starting thread", "ExecOnTheStartingThread"},
                    Child{"exec", "another thread", "ExecOnAnotherThread"}),
    [](const auto& each) { return std::string(each.param.name); });
