// Hosts whose standard output and standard error nobody reads, with a real JVM, on every JDK.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "tests/integration/RealJvmCases.h"
#include "tests/support/Pipes.h"

using namespace Ferrolink::Tests;
using Ferrolink::Host::Host;
using Ferrolink::Host::ToText;

namespace {

constexpr const char* kNoSuchFile = "JVM Launcher: Exception code 004.";

std::string FailedLoad(Host& host) {
  return ThrownBy([&] { host.LoadLibrary("/no/such/archive.jar"); })
      .substr(0, std::string_view(kNoSuchFile).size());
}

}  // namespace

PROCESS_CASE(callWithoutConsole) {
  ClosePipeBehind(STDOUT_FILENO);
  ClosePipeBehind(STDERR_FILENO);
  Host host({CaseNativeDirectory(), ""});  // prints the runtime's information
  Report(FailedLoad(host));                // echoes an error, before there is a JVM
  Report(ToText(host.Call("echo", "no console")));
  // The JVM handles the signal from its start on; a host may take that back.
  std::signal(SIGPIPE, SIG_DFL);
  Report(FailedLoad(host));
  Report(ToText(host.Call("echo", "still here")));
}

TEST(RealJvmConsole, AHostWhoseOutputNobodyReadsCallsAndFailsAndEndsInOrder) {
  for (const auto& jdk : InstalledJdks()) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    InstallLibrary(tree);
    InstallArchive(tree, FERROLINK_JAR);
    CaseOptions options = OnJdk(tree, jdk);
    // The JVM says on standard error that it found these options, before it handles any signal.
    options.environment.erase("JAVA_TOOL_OPTIONS");
    options.unset = {"JAVA_TOOL_OPTIONS"};
    options.environment["FERROLINK_LOGGING_LEVEL"] = "all";
    const CaseResult result = RunCase("callWithoutConsole", tree, options);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.report,
              (std::vector<std::string>{kNoSuchFile, "no console", kNoSuchFile, "still here"}));
  }
}
