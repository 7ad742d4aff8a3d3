// Threads that send one command and end: each is attached and detached for it.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/Counts.h"
#include "tests/verify/ProofCases.h"

using namespace Ferrolink::Tests;
using Ferrolink::Host::Host;
using Ferrolink::Host::ToBytes;
using Ferrolink::Host::ToText;

namespace {

constexpr int kAtATime = 4;
constexpr long kWarmUp = 10'000;
constexpr long kEightMebibytes = 8L << 10;  // in KiB

long ShortLivedThreads() {
  return CountOr("TEST_SHORT_LIVED_THREADS", 10'000);
}

long ResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (word == "VmRSS:") {
      long kilobytes = 0;
      status >> kilobytes;
      return kilobytes;
    }
  }
  throw std::runtime_error("no VmRSS");
}

long EntriesOf(const std::filesystem::path& directory) {
  return std::distance(std::filesystem::directory_iterator(directory),
                       std::filesystem::directory_iterator());
}

long JavaThreads(Host& host) {
  return std::stol(ToText(host.Call("thread-count", "")));
}

long SendFromThreads(Host& host, long threads) {
  std::atomic<long> right = 0;
  OnThreads(kAtATime, [&](int) {
    for (long number = 0; number < threads / kAtATime; ++number) {
      std::thread([&] {
        const std::string text = std::to_string(number);
        right += host.Call("echo", text) == ToBytes(text) ? 1 : 0;
      }).join();
    }
  });
  return right;
}

}  // namespace

PROCESS_CASE(sendAndEnd) {
  Host& host = StartHost();
  SendFromThreads(host, kWarmUp);
  const long memory = ResidentKilobytes();
  const long descriptors = EntriesOf("/proc/self/fd");
  const long threads = JavaThreads(host);
  ReportFigure("threads", ShortLivedThreads());
  ReportFigure("answered_right", SendFromThreads(host, ShortLivedThreads()));
  ReportFigure("memory_grown_kib", ResidentKilobytes() - memory);
  ReportFigure("descriptors_grown", EntriesOf("/proc/self/fd") - descriptors);
  ReportFigure("java_threads_grown", JavaThreads(host) - threads);
}

// Uses a heap that is touched at the start, so that it does not grow.
TEST(ShortLivedThreads, LeaveMemoryDescriptorsAndJavaThreadsAsTheyWere) {
  const std::string heap = "-Xms64m -Xmx64m -XX:+AlwaysPreTouch -XX:+UseSerialGC";
  ProveOnEveryJdk("sendAndEnd", heap, [](const Figures& figures) {
    EXPECT_EQ(figures.at("answered_right"), ShortLivedThreads() / kAtATime * kAtATime);
    EXPECT_LE(figures.at("memory_grown_kib"), kEightMebibytes);
    EXPECT_EQ(figures.at("descriptors_grown"), 0);
    EXPECT_EQ(figures.at("java_threads_grown"), 0);
  });
}
