// Many threads whose commands are answered, or fail, one by one.
#include <gtest/gtest.h>

#include <atomic>
#include <optional>

#include "tests/support/Counts.h"
#include "tests/verify/ProofCases.h"

using namespace Ferrolink::Tests;
using Ferrolink::Host::Bytes;
using Ferrolink::Host::Host;
using Ferrolink::Host::RemoteError;
using Ferrolink::Host::ThreadAttachment;
using Ferrolink::Host::ToBytes;

namespace {

constexpr int kThreads = 16;
constexpr long kCommandsToAFailure = 100;

int CommandsOfAThread() {
  return static_cast<int>(CountOr("TEST_COMMANDS", 2'000));
}

std::string FailureOf(Host& host, const std::string& text) {
  try {
    host.Call("refuse", text);
    return "(no failure)";
  } catch (const RemoteError& failure) {
    return failure.what();
  }
}

// Parses the whole report of a refusal: class, text, frames. The frames are the same for every
// thread without a Java frame of its own.
class Refusal {
 public:
  explicit Refusal(Host& host) : m_sample(FailureOf(host, kMark)), m_mark(m_sample.find(kMark)) {
    if (m_mark == std::string::npos ||
        m_sample.find("\n    at RefusingHandler.handle") == std::string::npos) {
      throw std::runtime_error("no report of a refusal: " + m_sample);
    }
  }

  [[nodiscard]] std::string Of(const std::string& text) const {
    return std::string(m_sample).replace(m_mark, kMark.size(), text);
  }

 private:
  static inline const std::string kMark = "(the text)";
  std::string m_sample;
  std::size_t m_mark;
};

}  // namespace

// Every second thread stays attached; the others are attached for each command.
PROCESS_CASE(answerOrRefuse) {
  Host& host = StartHost();
  const Refusal refusal(host);
  const int commands = CommandsOfAThread();
  std::atomic<long> right = 0;
  std::atomic<long> reported = 0;
  OnThreads(kThreads, [&](int thread) {
    std::optional<ThreadAttachment> attachment;
    if (thread % 2 == 0) {
      attachment.emplace();
    }
    for (int number = 0; number < commands; ++number) {
      const std::string text = std::to_string(thread) + "/" + std::to_string(number);
      if (number % kCommandsToAFailure == kCommandsToAFailure - 1) {
        reported += FailureOf(host, text) == refusal.Of(text) ? 1 : 0;
      } else {
        right += host.Call("echo", text) == ToBytes(text) ? 1 : 0;
      }
    }
  });
  ReportFigure("commands", long{kThreads} * commands);
  ReportFigure("answered_right", right);
  ReportFigure("failed_right", reported);
}

TEST(Commands, OfSixteenThreadsAreAnsweredOrFailWithTheirOwnWholeText) {
  ProveOnEveryJdk("answerOrRefuse", "", [](const Figures& figures) {
    const long commands = CommandsOfAThread();
    const long failures = commands / kCommandsToAFailure;
    EXPECT_EQ(figures.at("answered_right"), kThreads * (commands - failures));
    EXPECT_EQ(figures.at("failed_right"), kThreads * failures);
  });
}
