// Interrupt flags of threads that Java and native code share, on every JDK of the machine.
#include <ferrolink/Host.h>
#include <gtest/gtest.h>

#include <thread>

#include "tests/calls/Support.h"

using namespace FerrolinkTest;
using Ferrolink::Host::Host;
using Ferrolink::Host::ThreadAttachment;
using Ferrolink::Host::ToText;

namespace {

// The parameter is an option of the JVM.
class Interrupt : public testing::TestWithParam<std::string> {};

void reportCall(Host& host, const char* payload) {
  report(ToText(host.Call("interrupt", payload)));
}

}  // namespace

PROCESS_CASE(interruptNativeThread) {
  Host host({caseNativeDirectory(), ""});
  host.LoadLibrary(casePrograms());
  host.Start();
  std::thread([&] {
    const ThreadAttachment attachment;
    reportCall(host, "set");
    reportCall(host, "");
    reportCall(host, "remember");
    std::thread([&] { host.Call("interrupt", "set remembered"); }).join();
    reportCall(host, "");
    reportCall(host, "set");
    reportCall(host, "");
  }).join();
}

TEST_P(Interrupt, ByAHandlerEndsWithItsCommandAndOneFromBeforeStays) {
  onEveryJdk("interruptNativeThread", {}, GetParam(), [](const CaseResult& result) {
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.report,
              (std::vector<std::string>{"false", "false", "false", "true", "true", "true"}));
  });
}

PROCESS_CASE(interruptInListener) {
  startJava().runMain("InterruptingCalls", {caseHandlers().string()});
}

TEST_P(Interrupt, ByAListenerEndsOnThreadsOfCppAndStaysOnThreadsOfJava) {
  onEveryJdk("interruptInListener", {}, GetParam(), [](const CaseResult& result) {
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(linesOf(result.out),
              (std::vector<std::string>{"thread of C++: false", "thread of Java: false",
                                        "afterwards: true"}));
  });
}

INSTANTIATE_TEST_SUITE_P(Plain, Interrupt, testing::Values(""));
INSTANTIATE_TEST_SUITE_P(CheckedJni, Interrupt, testing::Values("-Xcheck:jni"));
