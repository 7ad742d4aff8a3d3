// The built library, the built archive and a real JVM, end to end.
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "tests/integration/RealJvmCases.h"

using namespace Ferrolink::Tests;
using Ferrolink::Host::Host;
using Ferrolink::Host::Options;
using Ferrolink::Host::RemoteError;
using Ferrolink::Host::ThreadAttachment;
using Ferrolink::Host::ToText;

namespace {

CaseOptions OnFirstJdk(const InstallationTree& tree, const std::string& javaOptions = "") {
  return OnJdk(tree, InstalledJdks().front(), javaOptions);
}

void InstallWithArchive(const InstallationTree& tree) {
  InstallLibrary(tree);
  InstallArchive(tree, FERROLINK_JAR);
}

// For bodies: a host of the tree's installation.
Options InTree() {
  return {CaseNativeDirectory(), ""};
}

void ExpectReport(const CaseResult& result, const std::vector<std::string>& expected) {
  EXPECT_EQ(result.signal, 0) << result.err;
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, expected) << result.err;
}

std::string FirstLine(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

}  // namespace

PROCESS_CASE(callEcho) {
  Host host(InTree());
  host.Heartbeat();
  Report(ToText(host.Call("echo", "sixty-four bytes or fewer")));
  Report(ToText(host.Call("echo", "")));
}

TEST(RealJvm, AHostCallsAHandlerAndReadsItsBytes) {
  const InstallationTree tree;
  InstallWithArchive(tree);
  ExpectReport(RunCase("callEcho", tree, OnFirstJdk(tree)), {"sixty-four bytes or fewer", ""});
  EXPECT_EQ(tree.ErrorLog(), "");
}

PROCESS_CASE(callUnknown) {
  Host host(InTree());
  Report(FirstLine(ThrownBy([&] { host.Call("no-such-handler", "x"); })).find("no-such-handler") !=
                 std::string::npos
             ? "named"
             : "not named");
  Report(ToText(host.Call("echo", "still here")));
}

TEST(RealJvm, AnExceptionInJavaArrivesAsTextAndTheProcessGoesOn) {
  const InstallationTree tree;
  InstallWithArchive(tree);
  ExpectReport(RunCase("callUnknown", tree, OnFirstJdk(tree)), {"named", "still here"});
}

PROCESS_CASE(loadBeforeStart) {
  Host host(InTree());
  host.LoadLibrary(CaseArguments().at(0));
  Report(Ferrolink::Host::JvmLibraryPath().empty() ? "opened later" : "opened");
  Report(ToText(host.Call("word-count", "one two\nthree\n")));
}

PROCESS_CASE(loadAfterStart) {
  Host host(InTree());
  host.Heartbeat();
  host.Start();
  host.LoadLibrary(CaseArguments().at(0));
  Report(ToText(host.Call("word-count", "one two\nthree\n")));
}

TEST(RealJvm, AnArchiveAddedBeforeOrAfterTheStartBringsItsHandlers) {
  const InstallationTree tree;
  InstallWithArchive(tree);
  CaseOptions options = OnFirstJdk(tree);
  options.arguments = {WORD_COUNT_JAR};
  const CaseResult before = RunCase("loadBeforeStart", tree, options);
  const CaseResult after = RunCase("loadAfterStart", tree, options);
  ASSERT_EQ(before.report.size(), 2U) << before.err;
  ASSERT_EQ(after.report.size(), 1U) << after.err;
  EXPECT_EQ(before.report.at(1), after.report.at(0));
  EXPECT_NE(after.report.at(0).find('3'), std::string::npos) << after.report.at(0);
}

PROCESS_CASE(recoverFromMissingArchive) {
  IReceiver* receiver = OpenReceiver();
  const std::string archive = CaseArguments().at(0);
  const auto attempt = [&] {
    return ThrownBy([&] { Exchange(receiver, Command(11, "12")); }).substr(0, 56);
  };
  Report(attempt());
  Report(attempt());
  std::filesystem::copy_file(archive, CaseRoot() / "Binaries/Jvm/FerrolinkJvmRuntime.jar");
  Report(attempt());
}

TEST(RealJvm, AMissingArchiveIsAnErrorOfEveryCommandAndNeverACrash) {
  const InstallationTree tree;
  InstallLibrary(tree);
  CaseOptions options = OnFirstJdk(tree, "-Xcheck:jni");
  options.arguments = {FERROLINK_JAR};
  const std::string text = "JVM Launcher: Exception code 033. JVM exception occurred";
  // The class path of a running JVM is fixed: an archive that appears later is not seen.
  ExpectReport(RunCase("recoverFromMissingArchive", tree, options), {text, text, text});
}

PROCESS_CASE(adoptRunningJvm) {
  Host first(InTree());
  first.Heartbeat();
  // A second copy of the library in the process, as a second member of the family would bring.
  const auto copy = CaseRoot() / "copy/Binaries/Native/Linux/X64";
  std::filesystem::create_directories(copy);
  std::filesystem::copy(CaseNativeDirectory(), copy);
  Host second({copy, ""});
  Report(ToText(second.Call("echo", "from the starting thread")));
  std::thread([&] { Report(ToText(second.Call("echo", "from another thread"))); }).join();
}

TEST(RealJvm, ALauncherThatAdoptsARunningJvmFindsTheReceiverWithItsNextCommand) {
  const InstallationTree tree;
  InstallWithArchive(tree);
  ExpectReport(RunCase("adoptRunningJvm", tree, OnFirstJdk(tree, "-Xcheck:jni")),
               {"from the starting thread", "from another thread"});
}

PROCESS_CASE(attachPoolThread) {
  Host host(InTree());
  Report(ThrownBy([] { const ThreadAttachment early; }));
  host.Start();
  std::thread([&] {
    const ThreadAttachment attachment;
    const ThreadAttachment nested;
    for (int call = 0; call < 1000; ++call) {
      host.Call("echo", "x");
    }
    Report("1000 calls");
  }).join();
}

TEST(RealJvm, AnAttachmentKeepsAPoolThreadAttachedAndRefusesWithoutAJvm) {
  const InstallationTree tree;
  InstallWithArchive(tree);
  ExpectReport(RunCase("attachPoolThread", tree, OnFirstJdk(tree, "-Xcheck:jni")),
               {"No JVM runs in this process yet: send a command (Host::Heartbeat) before "
                "attaching threads.",
                "1000 calls"});
}

PROCESS_CASE(surviveJavaErrors) {
  IReceiver* receiver = OpenReceiver();
  const std::string expected = "JVM Launcher: Exception code 023. JVM exception occurred";
  for (const char* body : {"s", "o", "t"}) {
    Report(ThrownBy([&] { Exchange(receiver, Command(2, body)); }).substr(0, expected.size()));
  }
  Report(ThrownBy([&] { Exchange(receiver, Command(2, "n")); }).substr(0, 57));
  Report(static_cast<long>(Exchange(receiver, Command(2, "z")).size()));
  Report(ToText(Exchange(receiver, Command(2, "efine"))).substr(11));
}

TEST(RealJvm, StackOverflowAndOutOfMemoryInJavaAreErrorsOfOneCommand) {
  const InstallationTree tree;
  InstallWithTestReceiver(tree);
  const std::string code023 = "JVM Launcher: Exception code 023. JVM exception occurred";
  ExpectReport(RunCase("surviveJavaErrors", tree, OnFirstJdk(tree, "-Xmx64m")),
               {code023, code023, code023,
                "JVM Launcher: Exception code 024. Null response from JVM\n", "0", "efine"});
}

PROCESS_CASE(exitFromJava) {
  IReceiver* receiver = OpenReceiver();
  Exchange(receiver, Command(2, std::string("x\x09")));
}

TEST(RealJvm, SystemExitInJavaEndsTheProcessWithItsStatus) {
  for (const auto& jdk : InstalledJdks()) {
    const InstallationTree tree;
    InstallWithTestReceiver(tree);
    const CaseResult result = RunCase("exitFromJava", tree, OnJdk(tree, jdk));
    EXPECT_EQ(result.signal, 0) << jdk << result.err;
    EXPECT_EQ(result.exitCode, 9) << jdk << result.err;
  }
}
