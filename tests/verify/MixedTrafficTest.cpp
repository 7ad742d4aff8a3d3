// Eight threads with payloads of all sizes, failures and forced collections at once, in a JVM that
// the library started and in one that calls out. scripts/verify runs it with each collector, with
// checked JNI, and under the sanitizers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>

#include "tests/support/Counts.h"
#include "tests/verify/ProofCases.h"

using namespace Ferrolink::Tests;
using Ferrolink::Host::Bytes;
using Ferrolink::Host::Host;
using Ferrolink::Host::ThreadAttachment;

namespace {

constexpr int kThreads = 8;
constexpr int kCallsToAFailure = 100;
constexpr int kCallsToALargeArray = 250;
constexpr int kCallsToACollection = 500;
constexpr std::size_t kLarge = 4U << 20;
constexpr std::array<std::size_t, 7> kSizes = {0, 1, 64, 1024, 2048, 2049, 65536};

int CallsOfAThread() {
  return static_cast<int>(CountOr("TEST_CALLS", 1'000));
}

Bytes PayloadOf(int thread, int number) {
  const bool large = (number + thread) % kCallsToALargeArray == 0;
  return Bytes(large ? kLarge : kSizes.at(static_cast<std::size_t>(number) % kSizes.size()),
               static_cast<std::uint8_t>(thread * 31 + number));
}

bool IsRefused(Host& host, const std::string& text) {
  const std::string failure = ThrownBy([&] { host.Call("refuse", text); });
  return failure.starts_with("java.lang.IllegalStateException: refuses " + text +
                             "\n    at RefusingHandler.handle");
}

struct Traffic {
  std::atomic<long> calls = 0;
  std::atomic<long> refusals = 0;
  std::atomic<long> collections = 0;
  std::atomic<long> wrong = 0;

  static void Count(std::atomic<long>& counted, std::atomic<long>& wrong, bool right) {
    ++counted;
    wrong += right ? 0 : 1;
  }

  void Call(Host& host, int thread, int number) {
    const Bytes payload = PayloadOf(thread, number);
    Count(calls, wrong, host.Call("echo", payload) == payload);
    const int step = number + thread;
    if (step % kCallsToAFailure == 0) {
      Count(refusals, wrong,
            IsRefused(host, std::to_string(thread) + "/" + std::to_string(number)));
    }
    if (step % kCallsToACollection == 0) {
      host.Call("force-collection", "");
      ++collections;
    }
  }
};

void ExpectRightAnswers(const Figures& figures) {
  EXPECT_EQ(figures.at("calls"), long{kThreads} * CallsOfAThread());
  EXPECT_EQ(figures.at("wrong"), 0);
  EXPECT_GE(figures.at("refusals"), long{kThreads} * (CallsOfAThread() / kCallsToAFailure));
  EXPECT_GE(figures.at("collections"), long{kThreads} * (CallsOfAThread() / kCallsToACollection));
}

}  // namespace

// A thread stays attached for a hundred commands, then is attached for each of a hundred.
PROCESS_CASE(callJavaFromThreads) {
  Host& host = StartHost();
  Traffic traffic;
  const int calls = CallsOfAThread();
  OnThreads(kThreads, [&](int thread) {
    for (int number = 0; number < calls;) {
      std::optional<ThreadAttachment> attachment;
      if (number / 100 % 2 == 0) {
        attachment.emplace();
      }
      for (const int end = std::min(calls, number + 100); number < end; ++number) {
        traffic.Call(host, thread, number);
      }
    }
  });
  ReportFigure("calls", traffic.calls);
  ReportFigure("refusals", traffic.refusals);
  ReportFigure("collections", traffic.collections);
  ReportFigure("wrong", traffic.wrong);
}

TEST(MixedTraffic, OfCppThreadsThatCallJavaIsAnsweredRight) {
  ProveOnEveryJdk("callJavaFromThreads", "-Xmx768m", ExpectRightAnswers);
}

PROCESS_CASE(callOutOfJava) {
  StartedJvm({CaseArchive(), CaseProofs()},
             {"-XX:-UsePerfData", "--enable-native-access=ALL-UNNAMED"})
      .RunMain("MixedCallers", {CaseHandlers().string(), std::to_string(CallsOfAThread())});
}

TEST(MixedTraffic, OfJavaThreadsThatCallCppAndAreCalledBackIsAnsweredRight) {
  ProveOnEveryJdk("callOutOfJava", "-Xmx768m", ExpectRightAnswers);
}
