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

#include "tests/calls/JavaProgramCases.h"

using namespace Ferrolink::Tests;

namespace {

using Ferrolink::Native::Interfaces::IReceiver;

constexpr unsigned kLimitSeconds = 20;
constexpr int kThreads = 4;
constexpr int kCallsBeforeTheForks = 200;
constexpr const char* kForksVariable = "TEST_FORKS";  // for long runs: forks of each case

std::string Forks() {
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

void CallJavaForEver(Ferrolink::Host::Host& host, std::latch& busy) {
  const Ferrolink::Host::Bytes payload(64);
  for (int call = 0;; ++call) {
    host.Call("echo", payload);
    if (call == kCallsBeforeTheForks) {
      busy.count_down();
    }
  }
}

// Whether the member's thread-local data, locks and responses are in use changes nothing.
void CallCppForEver(IReceiver& receiver, std::latch& busy) {
  for (int call = 0;; ++call) {
    std::vector<std::uint8_t> heartBeat = {8, 0, 0, 0, 0, 0, 0, 0, 0, 8, 11, 0x31, 0x32};
    const int length = receiver.SendCommand(heartBeat.data(), 13);
    receiver.ReadResponse(heartBeat.data(), length);
    if (call == kCallsBeforeTheForks) {
      busy.count_down();
    }
  }
}

[[noreturn]] void EndChild(const std::string& way) {
  alarm(kLimitSeconds);
  if (way == "exec") {
    execl("/bin/true", "true", nullptr);
    _exit(127);
  }
  std::exit(0);
}

// Forks as often as the case says and reports how the children ended, each way once.
void ForkChildren() {
  const std::string& way = CaseArguments().at(0);
  std::vector<pid_t> children;
  for (int count = std::stoi(CaseArguments().at(2)); count > 0; --count) {
    children.push_back(fork());
    if (children.back() == 0) {
      EndChild(way);
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
    Report(end + ": " + std::to_string(count));
  }
}

// The process goes on afterwards: the parent has noticed nothing.
[[noreturn]] void ForkOnTheThreadAndEnd(const std::function<void()>& last) {
  if (CaseArguments().at(1) == std::string("starting thread")) {
    ForkChildren();
  } else {
    std::thread(ForkChildren).join();
  }
  last();
  _exit(0);
}

class Fork : public testing::TestWithParam<Child> {
 protected:
  static void EndsEachChild(const std::string& name) {
    OnEveryJdk(name, {GetParam().way, GetParam().thread, Forks()}, "",
               [](const CaseResult& result) {
                 EXPECT_EQ(result.report,
                           (std::vector<std::string>{"exited 0: " + Forks(), "parent goes on"}))
                     << result.err.substr(0, 4000);
                 EXPECT_EQ(result.exitCode, 0) << result.err.substr(0, 4000);
               });
  }
};

}  // namespace

PROCESS_CASE(forkCppProgram) {
  static auto& host = *new Ferrolink::Host::Host({CaseNativeDirectory(), ""});
  static auto& cpp =
      *Ferrolink::Host::OpenReceiver(CaseNativeDirectory() / "libFerrolinkCppRuntimeNative.so");
  static auto& busy = *new std::latch(kThreads);
  host.Heartbeat();
  for (int thread = 0; thread < kThreads; ++thread) {
    std::thread([thread] {
      thread == 0 ? CallCppForEver(cpp, busy) : CallJavaForEver(host, busy);
    }).detach();
  }
  busy.wait();
  ForkOnTheThreadAndEnd([] {
    host.Heartbeat();
    Report("parent goes on");
  });
}

TEST_P(Fork, OfACppProgramWhoseThreadsCallJava) {
  EndsEachChild("forkCppProgram");
}

PROCESS_CASE(forkJavaProgram) {
  StartJava().RunMain("BusyCallers", {CaseHandlers().string(), "return"});
  ForkOnTheThreadAndEnd([] { Report("parent goes on"); });
}

TEST_P(Fork, OfAJavaProgramWhoseThreadsCallCpp) {
  EndsEachChild("forkJavaProgram");
}

INSTANTIATE_TEST_SUITE_P(
    InTraffic, Fork,
    testing::Values(Child{"exit", "starting thread", "ExitOnTheStartingThread"},
                    Child{"exit", "another thread", "ExitOnAnotherThread"},
                    Child{"exec", "starting thread", "ExecOnTheStartingThread"},
                    Child{"exec", "another thread", "ExecOnAnotherThread"}),
    [](const auto& each) { return std::string(each.param.name); });
