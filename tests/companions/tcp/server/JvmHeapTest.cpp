// The heap of a real JVM, on every JDK.
#include "companions/tcp/server/JvmHeap.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "ferrolink/Host.h"
#include "tests/support/Jdks.h"
#include "tests/support/ProcessCase.h"

namespace Ferrolink::Tests {
namespace {

using Ferrolink::Companions::Tcp::Server::JvmHeap;

constexpr std::uint64_t kMebibyte = 1U << 20U;

}  // namespace

PROCESS_CASE(asksForTheHeapOfAJvm) {
  Report(JvmHeap().has_value() ? "a heap without a JVM" : "none");
  Ferrolink::Host::Host host;
  host.Heartbeat();
  // Runs on a thread that the JVM does not know, and that may end.
  std::thread([] {
    const auto heap = JvmHeap().value();
    Report(static_cast<long>(heap.most / kMebibyte));
    Report(static_cast<long>(heap.committed / kMebibyte));
    Report(heap.used > 100'000 && heap.used < heap.committed ? "plausible" : "odd");
  }).join();
  for (int i = 0; i < 1'000; ++i) {
    JvmHeap().value();
  }
}

TEST(JvmHeap, IsThatOfTheProcessesJvm) {
  ASSERT_FALSE(InstalledJdks().empty());
  const InstallationTree tree;
  for (const auto& jdk : InstalledJdks()) {
    SCOPED_TRACE(jdk.string());
    CaseOptions options;
    options.environment = {{"JAVA_HOME", jdk.string()},
                           {"FERROLINK_HOME", FERROLINK_INSTALLATION},
                           {"FERROLINK_LOGGING_LEVEL", "off"},
                           {"JAVA_TOOL_OPTIONS", "-Xms48m -Xmx96m -XX:+UseParallelGC"}};
    const CaseResult result = RunCase("asksForTheHeapOfAJvm", tree, options);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    // One survivor space of the 96 MiB cannot be used.
    ASSERT_EQ(result.report.size(), 4U);
    EXPECT_EQ(result.report[0], "none");
    EXPECT_GE(std::stol(result.report[1]), 80);
    EXPECT_LE(std::stol(result.report[1]), 96);
    EXPECT_GE(std::stol(result.report[2]), 32);
    EXPECT_LE(std::stol(result.report[2]), 48);
    EXPECT_EQ(result.report[3], "plausible");
  }
}

}  // namespace Ferrolink::Tests
