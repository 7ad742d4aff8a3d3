// Threads that send one command and end: each is attached and detached by it.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/Counts.h"
#include "tests/verify/Support.h"

using namespace FerrolinkTest;
using Ferrolink::Host::Host;
using Ferrolink::Host::ToBytes;
using Ferrolink::Host::ToText;

namespace {

constexpr int kAtATime = 4;
constexpr long kWarmUp = 10'000;
constexpr long kEightMebibytes = 8L << 10;  // in KiB

long shortLivedThreads() {
  return countOr("TEST_SHORT_LIVED_THREADS", 10'000);
}

long residentKilobytes() {
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

long entriesOf(const std::filesystem::path& directory) {
  return std::distance(std::filesystem::directory_iterator(directory),
                       std::filesystem::directory_iterator());
}

long javaThreads(Host& host) {
  return std::stol(ToText(host.Call("thread-count", "")));
}

long sendFromThreads(Host& host, long threads) {
  std::atomic<long> right = 0;
  onThreads(kAtATime, [&](int) {
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
  Host& host = startHost();
  sendFromThreads(host, kWarmUp);
  const long memory = residentKilobytes();
  const long descriptors = entriesOf("/proc/self/fd");
  const long threads = javaThreads(host);
  reportFigure("threads", shortLivedThreads());
  reportFigure("answered_right", sendFromThreads(host, shortLivedThreads()));
  reportFigure("memory_grown_kib", residentKilobytes() - memory);
  reportFigure("descriptors_grown", entriesOf("/proc/self/fd") - descriptors);
  reportFigure("java_threads_grown", javaThreads(host) - threads);
}

// A heap that is touched before, so that it does not grow.
TEST(ShortLivedThreads, LeaveMemoryDescriptorsAndJavaThreadsAsTheyWere) {
  const std::string heap = "-Xms64m -Xmx64m -XX:+AlwaysPreTouch -XX:+UseSerialGC";
  proveOnEveryJdk("sendAndEnd", heap, [](const Figures& figures) {
    EXPECT_EQ(figures.at("answered_right"), shortLivedThreads() / kAtATime * kAtATime);
    EXPECT_LE(figures.at("memory_grown_kib"), kEightMebibytes);
    EXPECT_EQ(figures.at("descriptors_grown"), 0);
    EXPECT_EQ(figures.at("java_threads_grown"), 0);
  });
}
