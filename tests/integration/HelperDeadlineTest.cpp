// Calls with time limits through the C++ helper into a real JVM, on every JDK of the machine.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "tests/integration/RealJvmCases.h"

using namespace Ferrolink::Tests;
using namespace std::chrono_literals;
using Ferrolink::Host::Deadline;
using Ferrolink::Host::DeadlineError;
using Ferrolink::Host::Host;
using Ferrolink::Host::ThreadAttachment;
using Ferrolink::Host::ToText;

namespace {

void ExpectOnEveryJdk(const std::string& name, const std::vector<std::string>& expected) {
  const auto jdks = InstalledJdks();
  ASSERT_FALSE(jdks.empty());
  for (const auto& jdk : jdks) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    InstallLibrary(tree);
    InstallArchive(tree, FERROLINK_JAR);
    const CaseResult result = RunCase(name, tree, OnJdk(tree, jdk, "-Xcheck:jni"));
    EXPECT_EQ(result.signal, 0) << result.err;
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.report, expected) << result.out << result.err;
  }
}

std::string Outcome(Host& host, const std::string& handler, const std::string& payload,
                    Deadline deadline) {
  try {
    return ToText(host.Call(handler, payload, deadline));
  } catch (const DeadlineError& error) {
    return error.MayHaveExecuted() ? "given up" : "not sent";
  }
}

// On a busy machine the time may be over before a thread has begun the call: then again.
std::string GiveUp(Host& host, const std::string& pipe) {
  std::string result;
  do {
    result = Outcome(host, "read-file", pipe, 100ms);
  } while (result == "not sent");
  return result;
}

std::string MakePipe(const char* name) {
  std::string path = (CaseRoot() / name).string();
  mkfifo(path.c_str(), 0600);
  return path;
}

// Waits for the reader, whose file then ends.
void WriteTo(const std::string& pipe, std::string_view text) {
  const int file = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);
  Report(write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size())
             ? "written"
             : "not written");
  close(file);
}

}  // namespace

PROCESS_CASE(callWithin) {
  Host host({CaseNativeDirectory(), ""});
  host.LoadLibrary(WAITING_HANDLER_JAR);
  Report(Outcome(host, "echo", "x", 0ms));
  Report(ThrownBy([] { const ThreadAttachment early; }).substr(0, 11));
  Report(Outcome(host, "echo", "first", 1h));
  const std::string pipe = MakePipe("pipe");
  Report(GiveUp(host, pipe));
  Report(Outcome(host, "echo", "second", 1h));
  WriteTo(pipe, "late");
  for (int i = 0; i < 100; ++i) {
    const std::string payload = std::to_string(i);
    if (Outcome(host, "echo", payload, 1h) != payload ||
        ToText(host.Call("echo", payload)) != payload) {
      Report("another answer");
    }
  }
  std::thread writer([&] { WriteTo(pipe, "in time"); });
  Report(Outcome(host, "read-file", pipe, 1h));
  writer.join();
  const ThreadAttachment attachment;
  Report(Outcome(host, "echo", "attached", 1h));
  Report(GiveUp(host, MakePipe("never written to")));
}

// The process ends while the last call goes on.
TEST(HelperDeadlines, ACallerOfJavaGivesUpAndNobodyGetsTheLateAnswer) {
  ExpectOnEveryJdk("callWithin", {"not sent", "No JVM runs", "first", "given up", "second",
                                  "written", "written", "in time", "attached", "given up"});
}

PROCESS_CASE(startWithin) {
  Host host({CaseNativeDirectory(), ""});
  std::thread([&] { Report(Outcome(host, "echo", "on a thread that ends", 1h)); }).join();
  for (int i = 0; i < 100; ++i) {
    if (Outcome(host, "echo", "x", 1h) != "x") {
      Report("another answer");
    }
  }
  Report(ToText(host.Call("echo", "without a limit")));
}

TEST(HelperDeadlines, TheFirstCommandOfAllMayHaveATimeLimit) {
  ExpectOnEveryJdk("startWithin", {"on a thread that ends", "without a limit"});
}
