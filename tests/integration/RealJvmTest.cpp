// The built library, the built archive and a real JVM, end to end.
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "tests/integration/Support.h"

using namespace FerrolinkTest;
using Ferrolink::Host::Host;
using Ferrolink::Host::Options;
using Ferrolink::Host::RemoteError;
using Ferrolink::Host::ThreadAttachment;
using Ferrolink::Host::ToText;

namespace {

CaseOptions onFirstJdk(const InstallationTree& tree, const std::string& javaOptions = "") {
  return onJdk(tree, installedJdks().front(), javaOptions);
}

void installWithArchive(const InstallationTree& tree) {
  installLibrary(tree);
  installArchive(tree, FERROLINK_JAR);
}

// For bodies: a host of the tree's installation.
Options inTree() {
  return {caseNativeDirectory(), ""};
}

void expectReport(const CaseResult& result, const std::vector<std::string>& expected) {
  EXPECT_EQ(result.signal, 0) << result.err;
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, expected) << result.err;
}

std::string firstLine(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

}  // namespace

PROCESS_CASE(callEcho) {
  Host host(inTree());
  host.Heartbeat();
  report(ToText(host.Call("echo", "sixty-four bytes or fewer")));
  report(ToText(host.Call("echo", "")));
}

TEST(RealJvm, AHostCallsAHandlerAndReadsItsBytes) {
  const InstallationTree tree;
  installWithArchive(tree);
  expectReport(runCase("callEcho", tree, onFirstJdk(tree)), {"sixty-four bytes or fewer", ""});
  EXPECT_EQ(tree.errorLog(), "");
}

PROCESS_CASE(callUnknown) {
  Host host(inTree());
  report(firstLine(thrownBy([&] { host.Call("no-such-handler", "x"); })).find("no-such-handler") !=
                 std::string::npos
             ? "named"
             : "not named");
  report(ToText(host.Call("echo", "still here")));
}

TEST(RealJvm, AnExceptionInJavaArrivesAsTextAndTheProcessGoesOn) {
  const InstallationTree tree;
  installWithArchive(tree);
  expectReport(runCase("callUnknown", tree, onFirstJdk(tree)), {"named", "still here"});
}

PROCESS_CASE(loadBeforeStart) {
  Host host(inTree());
  host.LoadLibrary(caseArguments().at(0));
  report(Ferrolink::Host::JvmLibraryPath().empty() ? "opened later" : "opened");
  report(ToText(host.Call("word-count", "one two\nthree\n")));
}

PROCESS_CASE(loadAfterStart) {
  Host host(inTree());
  host.Heartbeat();
  host.Start();
  host.LoadLibrary(caseArguments().at(0));
  report(ToText(host.Call("word-count", "one two\nthree\n")));
}

TEST(RealJvm, AnArchiveAddedBeforeOrAfterTheStartBringsItsHandlers) {
  const InstallationTree tree;
  installWithArchive(tree);
  CaseOptions options = onFirstJdk(tree);
  options.arguments = {WORD_COUNT_JAR};
  const CaseResult before = runCase("loadBeforeStart", tree, options);
  const CaseResult after = runCase("loadAfterStart", tree, options);
  ASSERT_EQ(before.report.size(), 2U) << before.err;
  ASSERT_EQ(after.report.size(), 1U) << after.err;
  EXPECT_EQ(before.report.at(1), after.report.at(0));
  EXPECT_NE(after.report.at(0).find('3'), std::string::npos) << after.report.at(0);
}

PROCESS_CASE(recoverFromMissingArchive) {
  IReceiver* receiver = openReceiver();
  const std::string archive = caseArguments().at(0);
  const auto attempt = [&] {
    return thrownBy([&] { exchange(receiver, command(11, "12")); }).substr(0, 56);
  };
  report(attempt());
  report(attempt());
  std::filesystem::copy_file(archive, caseRoot() / "Binaries/Jvm/FerrolinkJvmRuntime.jar");
  report(attempt());
}

TEST(RealJvm, AMissingArchiveIsAnErrorOfEveryCommandAndNeverACrash) {
  const InstallationTree tree;
  installLibrary(tree);
  CaseOptions options = onFirstJdk(tree, "-Xcheck:jni");
  options.arguments = {FERROLINK_JAR};
  const std::string text = "JVM Launcher: Exception code 033. JVM exception occurred";
  // The class path of a running JVM is fixed: an archive that appears later is not seen.
  expectReport(runCase("recoverFromMissingArchive", tree, options), {text, text, text});
}

PROCESS_CASE(adoptRunningJvm) {
  Host first(inTree());
  first.Heartbeat();
  // A second copy of the library in the process, as a second member of the family would bring.
  const auto copy = caseRoot() / "copy/Binaries/Native/Linux/X64";
  std::filesystem::create_directories(copy);
  std::filesystem::copy(caseNativeDirectory(), copy);
  Host second({copy, ""});
  report(ToText(second.Call("echo", "from the starting thread")));
  std::thread([&] { report(ToText(second.Call("echo", "from another thread"))); }).join();
}

TEST(RealJvm, ALauncherThatAdoptsARunningJvmFindsTheReceiverWithItsNextCommand) {
  const InstallationTree tree;
  installWithArchive(tree);
  expectReport(runCase("adoptRunningJvm", tree, onFirstJdk(tree, "-Xcheck:jni")),
               {"from the starting thread", "from another thread"});
}

PROCESS_CASE(attachPoolThread) {
  Host host(inTree());
  report(thrownBy([] { const ThreadAttachment early; }));
  host.Start();
  std::thread([&] {
    const ThreadAttachment attachment;
    const ThreadAttachment nested;
    for (int call = 0; call < 1000; ++call) {
      host.Call("echo", "x");
    }
    report("1000 calls");
  }).join();
}

TEST(RealJvm, AnAttachmentKeepsAPoolThreadAttachedAndRefusesWithoutAJvm) {
  const InstallationTree tree;
  installWithArchive(tree);
  expectReport(runCase("attachPoolThread", tree, onFirstJdk(tree, "-Xcheck:jni")),
               {"No JVM runs in this process yet: send a command (Host::Heartbeat) before "
                "attaching threads.",
                "1000 calls"});
}

PROCESS_CASE(surviveJavaErrors) {
  IReceiver* receiver = openReceiver();
  const std::string expected = "JVM Launcher: Exception code 023. JVM exception occurred";
  for (const char* body : {"s", "o", "t"}) {
    report(thrownBy([&] { exchange(receiver, command(2, body)); }).substr(0, expected.size()));
  }
  report(thrownBy([&] { exchange(receiver, command(2, "n")); }).substr(0, 57));
  report(static_cast<long>(exchange(receiver, command(2, "z")).size()));
  report(ToText(exchange(receiver, command(2, "efine"))).substr(11));
}

TEST(RealJvm, StackOverflowAndOutOfMemoryInJavaAreErrorsOfOneCommand) {
  const InstallationTree tree;
  installWithTestReceiver(tree);
  const std::string code023 = "JVM Launcher: Exception code 023. JVM exception occurred";
  expectReport(runCase("surviveJavaErrors", tree, onFirstJdk(tree, "-Xmx64m")),
               {code023, code023, code023,
                "JVM Launcher: Exception code 024. Null response from JVM\n", "0", "efine"});
}

PROCESS_CASE(exitFromJava) {
  IReceiver* receiver = openReceiver();
  exchange(receiver, command(2, std::string("x\x09")));
}

TEST(RealJvm, SystemExitInJavaEndsTheProcessWithItsStatus) {
  for (const auto& jdk : installedJdks()) {
    const InstallationTree tree;
    installWithTestReceiver(tree);
    const CaseResult result = runCase("exitFromJava", tree, onJdk(tree, jdk));
    EXPECT_EQ(result.signal, 0) << jdk << result.err;
    EXPECT_EQ(result.exitCode, 9) << jdk << result.err;
  }
}
