// Interrupt flags of threads that Java and native code share, on every JDK of the machine.
#include <ferrolink/Host.h>
#include <gtest/gtest.h>

#include <thread>

#include "tests/calls/JavaProgramCases.h"

using namespace Ferrolink::Tests;
using Ferrolink::Host::Host;
using Ferrolink::Host::ThreadAttachment;
using Ferrolink::Host::ToText;

namespace {

// The parameter is an option of the JVM.
class Interrupt : public testing::TestWithParam<std::string> {};

void ReportCall(Host& host, const char* payload) {
  Report(ToText(host.Call("interrupt", payload)));
}

}  // namespace

PROCESS_CASE(interruptNativeThread) {
  Host host({CaseNativeDirectory(), ""});
  host.LoadLibrary(CasePrograms());
  host.Start();
  std::thread([&] {
    const ThreadAttachment attachment;
    ReportCall(host, "set");
    ReportCall(host, "");
    ReportCall(host, "remember");
    std::thread([&] { host.Call("interrupt", "set remembered"); }).join();
    ReportCall(host, "");
    ReportCall(host, "set");
    ReportCall(host, "");
  }).join();
}

TEST_P(Interrupt, ByAHandlerEndsWithItsCommandAndOneFromBeforeStays) {
  OnEveryJdk("interruptNativeThread", {}, GetParam(), [](const CaseResult& result) {
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.report,
              (std::vector<std::string>{"false", "false", "false", "true", "true", "true"}));
  });
}

PROCESS_CASE(interruptInListener) {
  StartJava().RunMain("InterruptingCalls", {CaseHandlers().string()});
}

TEST_P(Interrupt, ByAListenerEndsOnThreadsOfCppAndStaysOnThreadsOfJava) {
  OnEveryJdk("interruptInListener", {}, GetParam(), [](const CaseResult& result) {
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(LinesOf(result.out),
              (std::vector<std::string>{"thread of C++: false", "thread of Java: false",
                                        "afterwards: true"}));
  });
}

INSTANTIATE_TEST_SUITE_P(Plain, Interrupt, testing::Values(""));
INSTANTIATE_TEST_SUITE_P(CheckedJni, Interrupt, testing::Values("-Xcheck:jni"));
