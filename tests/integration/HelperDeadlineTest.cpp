// Calls with time limits through the C++ helper into a real JVM, on every JDK of the machine.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "tests/integration/Support.h"

using namespace FerrolinkTest;
using namespace std::chrono_literals;
using Ferrolink::Host::Deadline;
using Ferrolink::Host::DeadlineError;
using Ferrolink::Host::Host;
using Ferrolink::Host::ThreadAttachment;
using Ferrolink::Host::ToText;

namespace {

void expectOnEveryJdk(const std::string& name, const std::vector<std::string>& expected) {
  const auto jdks = installedJdks();
  ASSERT_FALSE(jdks.empty());
  for (const auto& jdk : jdks) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    installLibrary(tree);
    installArchive(tree, FERROLINK_JAR);
    const CaseResult result = runCase(name, tree, onJdk(tree, jdk, "-Xcheck:jni"));
    EXPECT_EQ(result.signal, 0) << result.err;
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.report, expected) << result.out << result.err;
  }
}

std::string outcome(Host& host, const std::string& handler, const std::string& payload,
                    Deadline deadline) {
  try {
    return ToText(host.Call(handler, payload, deadline));
  } catch (const DeadlineError& error) {
    return error.MayHaveExecuted() ? "given up" : "not sent";
  }
}

// On a busy machine the time may be over before a thread has begun the call: then again.
std::string giveUp(Host& host, const std::string& pipe) {
  std::string result;
  do {
    result = outcome(host, "read-file", pipe, 100ms);
  } while (result == "not sent");
  return result;
}

std::string makePipe(const char* name) {
  std::string path = (caseRoot() / name).string();
  mkfifo(path.c_str(), 0600);
  return path;
}

// Waits for the reader, whose file then ends.
void writeTo(const std::string& pipe, std::string_view text) {
  const int file = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);
  report(write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size())
             ? "written"
             : "not written");
  close(file);
}

}  // namespace

PROCESS_CASE(callWithin) {
  Host host({caseNativeDirectory(), ""});
  host.LoadLibrary(WAITING_HANDLER_JAR);
  report(outcome(host, "echo", "x", 0ms));
  report(thrownBy([] { const ThreadAttachment early; }).substr(0, 11));
  report(outcome(host, "echo", "first", 1h));
  const std::string pipe = makePipe("pipe");
  report(giveUp(host, pipe));
  report(outcome(host, "echo", "second", 1h));
  writeTo(pipe, "late");
  for (int i = 0; i < 100; ++i) {
    const std::string payload = std::to_string(i);
    if (outcome(host, "echo", payload, 1h) != payload ||
        ToText(host.Call("echo", payload)) != payload) {
      report("another answer");
    }
  }
  std::thread writer([&] { writeTo(pipe, "in time"); });
  report(outcome(host, "read-file", pipe, 1h));
  writer.join();
  const ThreadAttachment attachment;
  report(outcome(host, "echo", "attached", 1h));
  report(giveUp(host, makePipe("never written to")));
}

// The process ends while the last call goes on.
TEST(HelperDeadlines, ACallerOfJavaGivesUpAndNobodyGetsTheLateAnswer) {
  expectOnEveryJdk("callWithin", {"not sent", "No JVM runs", "first", "given up", "second",
                                  "written", "written", "in time", "attached", "given up"});
}

PROCESS_CASE(startWithin) {
  Host host({caseNativeDirectory(), ""});
  std::thread([&] { report(outcome(host, "echo", "on a thread that ends", 1h)); }).join();
  for (int i = 0; i < 100; ++i) {
    if (outcome(host, "echo", "x", 1h) != "x") {
      report("another answer");
    }
  }
  report(ToText(host.Call("echo", "without a limit")));
}

TEST(HelperDeadlines, TheFirstCommandOfAllMayHaveATimeLimit) {
  expectOnEveryJdk("startWithin", {"on a thread that ends", "without a limit"});
}
