// The server's log, with a pipe as standard error.
#include "companions/tcp/server/ServerLog.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <thread>

#include "tests/companions/tcp/server/LogPipe.h"
#include "tests/support/Pipes.h"
#include "tests/support/ProcessCase.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Companions::Tcp::Server;
using nlohmann::json;
using std::chrono::microseconds;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* kTime = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z";

std::vector<std::string> LinesOf(LogFormat format, const std::vector<LogEvent>& events) {
  LogPipe pipe;
  {
    ServerLog log({.format = format, .descriptor = pipe.WritingEnd()});
    for (const LogEvent& event : events) {
      log.Info(event);
    }
  }
  return pipe.Lines();
}

// The number of lost lines that a text reports.
std::uint64_t LostIn(const std::string& text) {
  std::uint64_t lost = 0;
  constexpr std::string_view kMark = "lost reason=\"";
  for (auto at = text.find(kMark); at != std::string::npos; at = text.find(kMark, at + 1)) {
    lost += std::stoull(text.substr(at + kMark.size()));
  }
  return lost;
}

std::uint64_t EventsIn(const std::string& text) {
  std::uint64_t events = 0;
  for (auto at = text.find(" accepted"); at != std::string::npos;
       at = text.find(" accepted", at + 1)) {
    ++events;
  }
  return events;
}

// Bytes that any peer may send: quotes, backslashes, line ends, terminal escapes, invalid UTF-8.
constexpr const char* kEvil = "\"x\\\n\r\x1b[2J\xff\xc2\x9b\xe2\x80\xae\x7f{}%s";

}  // namespace

TEST(ServerLog, WritesALineOfTextForEachEvent) {
  LogPipe pipe;
  {
    ServerLog log({.descriptor = pipe.WritingEnd()});
    log.Info({.name = "accepted", .peer = "127.0.0.1:4711"});
    log.Warn({.name = "refused",
              .peer = "[::1]:4711",
              .subject = "CN=orders,O=Example",
              .handler = "echo",
              .reason = "why \"not\""});
    log.Fail({.name = "failed"});
    log.Info({.name = "call", .handler = "echo", .duration = microseconds(1002003)});
  }
  const auto lines = pipe.Lines();
  const std::string time = kTime;
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_THAT(lines[0], MatchesRegex(time + " info accepted peer=\"127\\.0\\.0\\.1:4711\""));
  EXPECT_THAT(lines[1], MatchesRegex(time + " warning refused peer=\"\\[::1\\]:4711\" "
                                            "subject=\"CN=orders,O=Example\" handler=\"echo\" "
                                            "reason=\"why \\\\\"not\\\\\"\""));
  EXPECT_THAT(lines[2], MatchesRegex(time + " error failed"));
  EXPECT_THAT(lines[3], MatchesRegex(time + " info call handler=\"echo\" duration-ms=1002\\.003"));
}

TEST(ServerLog, WritesAnObjectOfJsonForEachEvent) {
  const auto lines = LinesOf(LogFormat::Json, {{.name = "call",
                                                .peer = "127.0.0.1:4711",
                                                .subject = "CN=\xC3\xA4",
                                                .handler = kEvil,
                                                .reason = "because",
                                                .duration = microseconds(45)},
                                               {.name = "drained"}});
  ASSERT_EQ(lines.size(), 2U);
  json first = json::parse(lines[0]);
  EXPECT_THAT(first["time"].get<std::string>(), MatchesRegex(kTime));
  first.erase("time");
  EXPECT_EQ(first, json({{"level", "info"},
                         {"event", "call"},
                         {"peer", "127.0.0.1:4711"},
                         {"subject", "CN=\xC3\xA4"},
                         {"handler", "\"x\\\n\r\x1b[2J\xEF\xBF\xBD\xc2\x9b\xe2\x80\xae\x7f{}%s"},
                         {"reason", "because"},
                         {"durationMs", 0.045}}));
  json second = json::parse(lines[1]);
  second.erase("time");
  EXPECT_EQ(second, json({{"level", "info"}, {"event", "drained"}}));
}

TEST(ServerLog, KeepsWhatPeersSendOnOnePrintableLine) {
  for (const LogFormat format : {LogFormat::Text, LogFormat::Json}) {
    const auto lines = LinesOf(format, {{.name = "refused", .handler = kEvil, .reason = kEvil}});
    ASSERT_EQ(lines.size(), 1U);
    for (const char* raw : {"\r", "\x1b", "\xff", "\xc2\x9b", "\xe2\x80\xae", "\x7f"}) {
      EXPECT_THAT(lines[0], testing::Not(HasSubstr(raw)));
    }
    EXPECT_THAT(lines[0], HasSubstr("{}%s"));
  }
}

TEST(ServerLog, BoundsItsLinesWhateverIsInThem) {
  for (const char* letter : {"x", "\x01", "\xff", "\"", "\xC3\xA4", "\xF0\x9F\x98\x80"}) {
    std::string text;
    for (int i = 0; i < 100'000; ++i) {
      text += letter;
    }
    for (const LogFormat format : {LogFormat::Text, LogFormat::Json}) {
      const auto lines = LinesOf(
          format,
          {{.name = "refused", .peer = text, .subject = text, .handler = text, .reason = text}});
      ASSERT_EQ(lines.size(), 1U);
      EXPECT_LT(lines[0].size(), 4096U);
      EXPECT_GT(lines[0].size(), 1000U);
      EXPECT_THAT(lines[0], HasSubstr("...\""));
      EXPECT_TRUE(format == LogFormat::Text || json::accept(lines[0]));
    }
  }
}

TEST(ServerLog, LosesTheOldestLinesWhereNobodyReadsAndSaysHowMany) {
  LogPipe pipe;
  pipe.Fill();
  std::optional<ServerLog> log;
  log.emplace(ServerLog::Settings{.queueLength = 4, .descriptor = pipe.WritingEnd()});
  for (int i = 0; i < 20; ++i) {
    log->Info({.name = "accepted", .peer = "client " + std::to_string(i)});
  }
  // One line held by the log's thread, and four in the queue.
  const std::uint64_t lost = log->Lost();
  EXPECT_TRUE(lost == 15 || lost == 16) << lost;
  const std::string text = pipe.ReadUntil("client 19\"\n");
  EXPECT_EQ(LostIn(text), lost) << text;
  EXPECT_EQ(EventsIn(text), 20 - lost) << text;
  EXPECT_LT(text.find("lines lost"), text.find("client 19"));
  log->Info({.name = "accepted", .peer = "another"});
  const std::string more = pipe.ReadUntil("another");
  EXPECT_EQ(LostIn(more), lost);
  log.reset();
}

TEST(ServerLog, NeitherBlocksACallNorTheEndWhereNobodyEverReads) {
  LogPipe pipe;
  pipe.Fill();
  std::uint64_t lost = 0;
  {
    ServerLog log({.queueLength = 16, .descriptor = pipe.WritingEnd()});
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&log] {
        for (int i = 0; i < 2'000; ++i) {
          log.Info({.name = "accepted", .peer = "127.0.0.1:1"});
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    lost = log.Lost();
  }
  EXPECT_GE(lost, 16'000U - 17U);
  EXPECT_TRUE(pipe.Lines().empty());
}

TEST(ServerLog, LeavesTheModeOfTheSharedDescriptorAlone) {
  LogPipe pipe;
  const ServerLog log({.access = true, .descriptor = pipe.WritingEnd()});
  EXPECT_TRUE(log.LogsCalls());
  EXPECT_EQ(fcntl(pipe.WritingEnd(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(ServerLog, BlocksNothingWhereStandardErrorIsASocketThatNobodyReads) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  const FileDescriptor mine(ends[0]);
  const FileDescriptor theirs(ends[1]);
  {
    ServerLog log({.queueLength = 8, .descriptor = mine.get()});
    const std::string reason(1000, 'r');
    while (log.Lost() == 0) {
      log.Info({.name = "accepted", .reason = reason});
    }
  }
  EXPECT_EQ(fcntl(mine.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(ServerLog, WritesWholeLinesOfManyThreads) {
  LogPipe pipe;
  std::vector<std::string> lines;
  std::optional<ServerLog> log;
  log.emplace(ServerLog::Settings{.format = LogFormat::Json, .descriptor = pipe.WritingEnd()});
  std::vector<std::thread> threads;
  std::thread reader([&] { lines = {pipe.ReadUntil("the last line")}; });
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&log, t] {
      for (int i = 0; i < 500; ++i) {
        log->Info({.name = "call", .handler = std::to_string(t * 1000 + i)});
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  log->Info({.name = "the last line"});
  reader.join();
  log.reset();
  std::istringstream text(lines.front());
  std::set<std::string> handlers;
  for (std::string line; std::getline(text, line);) {
    const json object = json::parse(line, nullptr, false);
    if (object.contains("handler")) {
      handlers.insert(object["handler"].get<std::string>());
    }
  }
  EXPECT_EQ(handlers.size(), 4'000U);
}

PROCESS_CASE(logsToAClosedPipe) {
  ClosePipeBehind(STDERR_FILENO);
  std::uint64_t lost = 0;
  {
    ServerLog log({});
    for (int i = 0; i < 3; ++i) {
      log.Info({.name = "accepted"});
    }
    while (log.Lost() < 3) {
      std::this_thread::yield();
    }
    lost = log.Lost();
  }
  Report(static_cast<long>(lost));
  PrintLine(STDERR_FILENO, "ended");
  Report("alive");
}

PROCESS_CASE(logsToAClosedDescriptor) {
  close(STDERR_FILENO);
  std::uint64_t lost = 0;
  {
    ServerLog log({});
    log.Info({.name = "accepted"});
    while (log.Lost() < 1) {
      std::this_thread::yield();
    }
    lost = log.Lost();
  }
  Report(static_cast<long>(lost));
  PrintLine(STDERR_FILENO, "ended");
  Report("alive");
}

TEST(ServerLog, SurvivesAClosedStandardError) {
  const InstallationTree tree;
  const CaseResult pipe = RunCase("logsToAClosedPipe", tree);
  EXPECT_EQ(pipe.signal, 0);
  EXPECT_EQ(pipe.report, (std::vector<std::string>{"3", "alive"}));
  const CaseResult descriptor = RunCase("logsToAClosedDescriptor", tree);
  EXPECT_EQ(descriptor.signal, 0);
  EXPECT_EQ(descriptor.report, (std::vector<std::string>{"1", "alive"}));
}

TEST(ServerLog, LinesForPeopleDoNotWaitForAReaderForEver) {
  LogPipe full;
  full.Fill();
  PrintLine(full.WritingEnd(), "lost");
  LogPipe pipe;
  PrintLine(pipe.WritingEnd(), "ended");
  EXPECT_EQ(pipe.Lines(), std::vector<std::string>{"ferrolink-server: ended"});
  EXPECT_TRUE(full.Lines().empty());
}

}  // namespace Ferrolink::Tests
