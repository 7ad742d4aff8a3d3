// Hosts whose standard output and standard error nobody reads, with a real JVM, on every JDK.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "tests/integration/Support.h"
#include "tests/support/Pipes.h"

using namespace FerrolinkTest;
using Ferrolink::Host::Host;
using Ferrolink::Host::ToText;

namespace {

constexpr const char* kNoSuchFile = "JVM Launcher: Exception code 004.";

std::string failedLoad(Host& host) {
  return thrownBy([&] { host.LoadLibrary("/no/such/archive.jar"); })
      .substr(0, std::string_view(kNoSuchFile).size());
}

}  // namespace

PROCESS_CASE(callWithoutConsole) {
  closePipeBehind(STDOUT_FILENO);
  closePipeBehind(STDERR_FILENO);
  Host host({caseNativeDirectory(), ""});  // prints the runtime's information
  report(failedLoad(host));                // echoes an error, before there is a JVM
  report(ToText(host.Call("echo", "no console")));
  // The JVM handles the signal from its start on; a host may take that back.
  std::signal(SIGPIPE, SIG_DFL);
  report(failedLoad(host));
  report(ToText(host.Call("echo", "still here")));
}

TEST(RealJvmConsole, AHostWhoseOutputNobodyReadsCallsAndFailsAndEndsInOrder) {
  for (const auto& jdk : installedJdks()) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    installLibrary(tree);
    installArchive(tree, FERROLINK_JAR);
    CaseOptions options = onJdk(tree, jdk);
    // The JVM says on standard error that it found these options, before it handles any signal.
    options.environment.erase("JAVA_TOOL_OPTIONS");
    options.unset = {"JAVA_TOOL_OPTIONS"};
    options.environment["FERROLINK_LOGGING_LEVEL"] = "all";
    const CaseResult result = runCase("callWithoutConsole", tree, options);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.report,
              (std::vector<std::string>{kNoSuchFile, "no console", kNoSuchFile, "still here"}));
  }
}
