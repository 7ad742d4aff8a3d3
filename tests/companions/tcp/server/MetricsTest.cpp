// The server's counters as the text for monitors.
#include "companions/tcp/server/Metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <set>
#include <sstream>
#include <thread>

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Companions::Tcp::Server;
using std::chrono::microseconds;
using testing::HasSubstr;
using testing::Not;

// The lines that begin with `start`.
std::vector<std::string> Samples(const Metrics& metrics, const std::string& start) {
  std::vector<std::string> found;
  std::istringstream text(metrics.Text());
  for (std::string line; std::getline(text, line);) {
    if (line.substr(0, start.size()) == start) {
      found.push_back(line);
    }
  }
  return found;
}

void CallOnce(Metrics& metrics, std::string_view handler, CallResult result = CallResult::Answered,
              std::chrono::nanoseconds duration = microseconds(75)) {
  metrics.CallBegan();
  metrics.CallEnded(handler, result, duration);
}

// The distinct "handler" labels.
std::set<std::string> HandlersIn(const Metrics& metrics) {
  std::set<std::string> names;
  for (const std::string& line : Samples(metrics, "ferrolink_server_call_seconds_count{")) {
    const auto begin = line.find('"') + 1;
    EXPECT_TRUE(names.insert(line.substr(begin, line.rfind('"') - begin)).second) << line;
  }
  return names;
}

}  // namespace

TEST(Metrics, CountConnectionsAndBytesAndRefusals) {
  Metrics metrics;
  metrics.ConnectionAccepted();
  metrics.ConnectionAccepted();
  metrics.ConnectionAccepted();
  metrics.ConnectionClosed();
  metrics.Refused(Refusal::Busy);
  metrics.Refused(Refusal::Busy);
  metrics.Refused(Refusal::TimeOver);
  metrics.Received(300);
  metrics.Sent(5'000'000'000);
  metrics.CallBegan();
  const std::string text = metrics.Text();
  for (const char* line : {"# HELP ferrolink_server_connections Connections that are served now.\n"
                           "# TYPE ferrolink_server_connections gauge\n"
                           "ferrolink_server_connections 2\n",
                           "# TYPE ferrolink_server_connections_total counter\n"
                           "ferrolink_server_connections_total 3\n",
                           "# TYPE ferrolink_server_refused_total counter\n"
                           "ferrolink_server_refused_total{reason=\"greeting\"} 0\n"
                           "ferrolink_server_refused_total{reason=\"tls\"} 0\n"
                           "ferrolink_server_refused_total{reason=\"rules\"} 0\n"
                           "ferrolink_server_refused_total{reason=\"command\"} 0\n"
                           "ferrolink_server_refused_total{reason=\"busy\"} 2\n"
                           "ferrolink_server_refused_total{reason=\"goingaway\"} 0\n"
                           "ferrolink_server_refused_total{reason=\"timeover\"} 1\n",
                           "\nferrolink_server_received_bytes_total 300\n",
                           "\nferrolink_server_sent_bytes_total 5000000000\n",
                           "\nferrolink_server_calls_in_flight 1\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
}

TEST(Metrics, CountCallsOfEachHandlerByHowLongTheyTook) {
  Metrics metrics;
  CallOnce(metrics, "echo", CallResult::Answered, microseconds(50));
  CallOnce(metrics, "echo", CallResult::Answered, microseconds(51));
  CallOnce(metrics, "echo", CallResult::Failed, std::chrono::seconds(20));
  CallOnce(metrics, "slow", CallResult::Answered, std::chrono::seconds(2));
  const std::string echo = "ferrolink_server_call_seconds_bucket{handler=\"echo\",le=\"";
  EXPECT_THAT(Samples(metrics, echo),
              testing::ElementsAre(echo + "5e-05\"} 1", echo + "0.0001\"} 2", echo + "0.00025\"} 2",
                                   echo + "0.0005\"} 2", echo + "0.001\"} 2", echo + "0.0025\"} 2",
                                   echo + "0.005\"} 2", echo + "0.01\"} 2", echo + "0.025\"} 2",
                                   echo + "0.05\"} 2", echo + "0.1\"} 2", echo + "0.25\"} 2",
                                   echo + "0.5\"} 2", echo + "1\"} 2", echo + "2.5\"} 2",
                                   echo + "10\"} 2", echo + "+Inf\"} 3"));
  const std::string text = metrics.Text();
  for (const char* line : {"\nferrolink_server_call_seconds_count{handler=\"echo\"} 3\n",
                           "\nferrolink_server_call_seconds_sum{handler=\"echo\"} 20.000101",
                           "\nferrolink_server_call_seconds_count{handler=\"slow\"} 1\n",
                           "\nferrolink_server_call_errors_total{handler=\"echo\"} 1\n",
                           "\nferrolink_server_call_errors_total{handler=\"slow\"} 0\n",
                           "\nferrolink_server_call_errors_total{handler=\"(other)\"} 0\n",
                           "\nferrolink_server_calls_in_flight 0\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
}

TEST(Metrics, TellNoHandlersApartThatNeverAnswered) {
  Metrics metrics;
  CallOnce(metrics, "made-up", CallResult::Failed);
  CallOnce(metrics, "");
  EXPECT_EQ(HandlersIn(metrics), std::set<std::string>{"(other)"});
  CallOnce(metrics, "real");
  CallOnce(metrics, "real", CallResult::Failed);
  EXPECT_THAT(
      Samples(metrics, "ferrolink_server_call_errors_total{"),
      testing::UnorderedElementsAre("ferrolink_server_call_errors_total{handler=\"(other)\"} 1",
                                    "ferrolink_server_call_errors_total{handler=\"real\"} 1"));
}

TEST(Metrics, TellABoundedNumberOfHandlersApart) {
  Metrics metrics;
  for (int i = 0; i < 1'000; ++i) {
    CallOnce(metrics, "handler " + std::to_string(i));
  }
  EXPECT_EQ(HandlersIn(metrics).size(), Metrics::kMostHandlers + 1);
  EXPECT_THAT(metrics.Text(),
              HasSubstr("\nferrolink_server_call_seconds_count{handler=\"(other)\"} 936\n"));
}

TEST(Metrics, TellABoundedNumberOfHandlersApartOnManyThreads) {
  for (int round = 0; round < 50; ++round) {
    Metrics metrics;
    std::latch start(8);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&, t] {
        start.arrive_and_wait();
        for (int i = 0; i < 100; ++i) {
          CallOnce(metrics, "handler " + std::to_string(i * 8 + t));
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_EQ(HandlersIn(metrics).size(), Metrics::kMostHandlers + 1);
  }
}

TEST(Metrics, WriteNoLabelTwiceAndNoneThatBreaksALine) {
  Metrics metrics;
  for (const char* name : {"(other)", "a\xff", "a\xfe", "x\"\n", "\xC3\xA4"}) {
    CallOnce(metrics, name);
  }
  EXPECT_EQ(HandlersIn(metrics),
            (std::set<std::string>{"(other)", "a\xEF\xBF\xBD", R"(x\\\"\\n)", "\xC3\xA4"}));
}

TEST(Metrics, CountRightlyOnManyThreads) {
  Metrics metrics;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&metrics] {
      for (int i = 0; i < 20'000; ++i) {
        CallOnce(metrics, "handler " + std::to_string(i % 16));
        metrics.Received(1);
      }
    });
  }
  std::atomic<bool> done{false};
  std::thread reader([&] {
    do {
      EXPECT_THAT(metrics.Text(), HasSubstr("ferrolink_server_received_bytes_total"));
    } while (!done);
  });
  for (std::thread& thread : threads) {
    thread.join();
  }
  done = true;
  reader.join();
  EXPECT_THAT(metrics.Text(), HasSubstr("\nferrolink_server_received_bytes_total 160000\n"));
  const auto counts = Samples(metrics, "ferrolink_server_call_seconds_count{handler=\"handler ");
  EXPECT_EQ(counts.size(), 16U);
  for (const std::string& line : counts) {
    EXPECT_THAT(line, testing::EndsWith("} 10000"));
  }
}

TEST(Metrics, HaveWhatTheirSourcesSay) {
  std::optional<Metrics::Heap> heap;
  Metrics metrics({.bufferBytes = [] { return 4096; },
                   .logLinesLost = [] { return 3; },
                   .isReady = [] { return true; },
                   .heap = [&] { return heap; }});
  const std::string without = metrics.Text();
  EXPECT_THAT(without, HasSubstr("\nferrolink_server_buffer_bytes 4096\n"));
  EXPECT_THAT(without, HasSubstr("\nferrolink_server_log_lines_lost_total 3\n"));
  EXPECT_THAT(without, HasSubstr("\nferrolink_server_ready 1\n"));
  EXPECT_THAT(without, HasSubstr("\nferrolink_server_info{version=\"" FERROLINK_VERSION "\"} 1\n"));
  EXPECT_THAT(without, testing::ContainsRegex("\nprocess_resident_memory_bytes [1-9][0-9]{5,}\n"));
  EXPECT_THAT(without, testing::ContainsRegex("\nprocess_open_fds [1-9]"));
  EXPECT_THAT(without, Not(HasSubstr("jvm_memory")));
  heap = {10, 20, 30};
  const std::string with = metrics.Text();
  EXPECT_THAT(with, HasSubstr("\njvm_memory_used_bytes{area=\"heap\"} 10\n"));
  EXPECT_THAT(with, HasSubstr("\njvm_memory_committed_bytes{area=\"heap\"} 20\n"));
  EXPECT_THAT(with, HasSubstr("\njvm_memory_max_bytes{area=\"heap\"} 30\n"));
  EXPECT_THAT(Metrics().Text(), Not(HasSubstr("ferrolink_server_ready")));
}

}  // namespace Ferrolink::Tests
