// What a server bears: clients without a word, slow ones, more than there is room for, and what is
// left of them when it ends.
#include <poll.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <numeric>
#include <optional>
#include <thread>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/companions/tcp/WaitingCall.h"

namespace FerrolinkTest {
namespace {

using testing::AnyOf;
using testing::HasSubstr;

constexpr std::string_view kIdle =
    "The server closes connections without a command (--idle-timeout-ms). The command was not "
    "executed.";
constexpr std::string_view kTooSlow =
    "The command came too slowly (--read-timeout-ms). It was not executed.";
constexpr std::string_view kNoMemory =
    "The server is busy: its memory for commands and responses is used up (--max-memory-bytes). "
    "The "
    "command was not executed.";
constexpr char kNotBegunFinally = 4;
constexpr char kTimeOver = 5;

// How many descriptors this process, and the servers that it starts, may open.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t count) {
    getrlimit(RLIMIT_NOFILE, &m_before);
    const rlimit wished{std::min(count, m_before.rlim_max), m_before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &wished);
  }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_before); }

 private:
  rlimit m_before{};
};

// Sends a byte each time that the server has had nothing to say for a moment, until it has.
void sendSlowly(RawSocket& client, std::string_view bytes) {
  for (const char& byte : bytes) {
    pollfd answer{client.descriptor(), POLLIN, 0};
    if (poll(&answer, 1, 20) != 0) {
      return;
    }
    client.send({&byte, 1});
  }
}

std::string largeCommand(std::size_t mebibytes) {
  return frame(callOf("echo", std::string(mebibytes << 20U, 'x')));
}

}  // namespace

TEST(TcpServerLimits, ServesAProperClientBesideAThousandSilentConnections) {
  const DescriptorLimit limit(4096);
  const ServerProcess server({"--max-connections", "4", "--greeting-timeout-ms", "100000"});
  const std::size_t threads = server.threads();
  std::vector<RawSocket> silent;
  for (int i = 0; i < 1000; ++i) {
    silent.push_back(RawSocket::connect(server.port()));
    switch (i % 4) {
      case 0:
        break;
      case 1:
        silent.back().send(kHello.substr(0, 4));
        break;
      case 2:
        silent.back().send(kHello);
        break;
      default:
        silent.back().send(kHello).send(frameHeader(100).substr(0, 9));
    }
  }
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "5000");
  EXPECT_EQ(exchange(*channelTo(server.port()), callOf("echo", "served")), answerOf("served"));
  EXPECT_LE(server.threads(), threads + 1);
  EXPECT_EQ(silent[2].receive(kWelcome.size()), kWelcome);
  EXPECT_EQ(silent[2].ask(callOf("echo", "me too")), answerOf("me too"));
}

TEST(TcpServerLimits, ClosesTheOldestSilentConnectionWhereDescriptorsAreShort) {
  std::optional<ServerProcess> server;
  {
    const DescriptorLimit limit(100);
    server.emplace(ServerProcess::Arguments{"--greeting-timeout-ms", "100000"});
  }
  RawSocket known = server->greetedClient();
  EXPECT_EQ(known.ask(callOf("echo", "1")), answerOf("1"));
  std::vector<RawSocket> silent;
  for (int i = 0; i < 200; ++i) {
    silent.push_back(server->greetedClient());
  }
  EXPECT_EQ(silent.front().receiveAll(), "");
  server->awaitErrors("reason=\"closed to make room for other connections\"\n");
  EXPECT_EQ(silent.back().ask(callOf("echo", "2")), answerOf("2"));
  EXPECT_EQ(known.ask(callOf("echo", "3")), answerOf("3"));
}

TEST(TcpServerLimits, AnswersAtOnceThatItHasNoRoomForACommand) {
  const WaitingCall waiting;
  ServerProcess server({"--max-connections", "1"});
  RawSocket first = server.greetedClient();
  first.command(waiting.command());
  waiting.awaitRunning();
  // Greeted all the same, and told in place of an answer: also behind a command of many bytes.
  RawSocket second = server.greetedClient();
  second.send(frame(callOf("end-process")));
  EXPECT_EQ(second.receiveAll(), frame(kFull, 1, kNotBegunFinally));
  RawSocket third = server.greetedClient();
  third.send(largeCommand(8));
  EXPECT_EQ(third.receiveAll(), frame(kFull, 1, kNotBegunFinally));
  waiting.release("done");
  EXPECT_EQ(first.receiveFrame(), answerOf("done"));
}

TEST(TcpServerLimits, TakesTheSlotOfAClientThatHasNothingToSayForASecond) {
  const ServerProcess server({"--max-connections", "1"});
  const std::size_t threads = server.threads();
  RawSocket first = server.greetedClient();
  RawSocket second = server.greetedClient();
  EXPECT_EQ(first.ask(callOf("echo", "1")), answerOf("1"));
  server.awaitThreads(threads);
  EXPECT_EQ(second.ask(callOf("echo", "2")), answerOf("2"));
  server.awaitThreads(threads);
  EXPECT_EQ(first.ask(callOf("echo", "3")), answerOf("3"));
}

TEST(TcpServerLimits, EndsConnectionsWithoutACommandAndAnswersTheNextOneInAdvance) {
  const ServerProcess server({"--idle-timeout-ms", "100"});
  EXPECT_EQ(server.greetedClient().receiveAll(), frame(kIdle, 1, kNotBegunFinally));
  RawSocket client = server.greetedClient();
  EXPECT_EQ(client.ask(callOf("echo", "1")), answerOf("1"));
  EXPECT_EQ(client.receiveAll(), frame(kIdle, 2, kNotBegunFinally));
  // What was under way meanwhile is not executed, and the answer is not lost.
  RawSocket late = server.greetedClient();
  EXPECT_EQ(late.receive(16), frameHeader(static_cast<std::uint32_t>(kIdle.size()), 1, 4));
  late.send(frame(callOf("end-process")));
  late.awaitDelivery();
  EXPECT_EQ(late.receiveAll(), kIdle);
}

TEST(TcpServerLimits, EndsCommandsThatStopComing) {
  const ServerProcess server({"--read-timeout-ms", "100"});
  const std::string whole = frame(callOf("end-process"));
  for (const std::size_t size :
       {std::size_t{1}, std::size_t{15}, std::size_t{16}, whole.size() - 1}) {
    RawSocket client = server.greetedClient();
    client.send(whole.substr(0, size));
    EXPECT_EQ(client.receiveAll(), frame(kTooSlow, 1, kNotBegunFinally));
  }
}

TEST(TcpServerLimits, EndsCommandsThatComeByteByByteForTooLong) {
  const ServerProcess server({"--read-timeout-ms", "200"});
  RawSocket slow = server.greetedClient();
  slow.send(frameHeader(100'000));
  sendSlowly(slow, std::string(100'000, 'x'));
  EXPECT_EQ(slow.receiveFrame(), kTooSlow);
}

TEST(TcpServerLimits, EndsCommandsThatComeSlowlyBehindManyFastBytes) {
  const ServerProcess server({"--read-timeout-ms", "200"});
  RawSocket client = server.greetedClient();
  client.send(frameHeader(2'000'000) + std::string(1'900'000, 'x'));
  sendSlowly(client, std::string(100'000, 'x'));
  EXPECT_EQ(client.receiveFrame(), kTooSlow);
}

TEST(TcpServerLimits, EndsAConnectionThatDoesNotReadItsAnswer) {
  ServerProcess server({"--write-timeout-ms", "100"});
  const std::size_t threads = server.threads();
  const std::size_t descriptors = server.descriptorsAtRest();
  RawSocket client = server.greetedClient();
  client.command(callOf("bytes", std::to_string(40U << 20U)));
  server.awaitErrors("reason=\"the connection broke: ");
  EXPECT_THAT(server.errors(), HasSubstr("timed out"));
  server.awaitThreads(threads);
  server.awaitDescriptors(descriptors);
}

TEST(TcpServerLimits, DoesNotBeginACommandWhoseTimeIsOver) {
  const ServerProcess server;
  RawSocket client = server.greetedClient();
  const std::string deadly = callOf("end-process");
  const std::string refusal =
      "The time for the command was over before it could begin. It was not executed.";
  client.send(frameHeader(static_cast<std::uint32_t>(deadly.size()), 1, 0, 0) + deadly);
  EXPECT_EQ(client.receive(16 + refusal.size()), frame(refusal, 1, kTimeOver));
  const std::string timely = callOf("echo", "in time");
  client.send(frameHeader(static_cast<std::uint32_t>(timely.size()), 2, 0, 600'000) + timely);
  EXPECT_EQ(client.receiveFrame(), answerOf("in time"));
}

TEST(TcpServerLimits, KeepsTheFramesOfAllConnectionsWithinItsMemory) {
  constexpr std::size_t kPeers = 8;
  constexpr std::size_t kMebibytes = 200;
  ServerProcess server({"--max-memory-bytes", std::to_string(512U << 20U)});
  [[maybe_unused]] const long before = server.status("VmRSS");
  std::vector<RawSocket> peers;
  std::vector<std::thread> threads;
  std::vector<int> refused(kPeers);
  for (std::size_t i = 0; i < kPeers; ++i) {
    peers.push_back(server.greetedClient());
  }
  for (std::size_t i = 0; i < kPeers; ++i) {
    threads.emplace_back([&, i] {
      const std::string piece(1U << 20U, 'x');
      peers[i].send(frameHeader(kMebibytes << 20U));
      for (std::size_t sent = 0; sent + 1 < kMebibytes; ++sent) {
        peers[i].send(piece);
      }
      peers[i].awaitDelivery();
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  RawSocket small = server.greetedClient();
  EXPECT_EQ(small.ask(callOf("echo", "small")), answerOf("small"));
  for (std::size_t i = 0; i < kPeers; ++i) {
    pollfd answer{peers[i].descriptor(), POLLIN, 0};
    if (poll(&answer, 1, 0) == 1) {
      refused[i] = peers[i].receiveAll() == frame(kNoMemory, 1, kNotBegunFinally);
    }
  }
  // At least six of them, since two may be there altogether.
  EXPECT_GE(std::accumulate(refused.begin(), refused.end(), 0), 6);
#ifndef FERROLINK_SANITIZED
  EXPECT_LE(server.status("VmHWM"), before + (512 + 32) * 1024);
#endif
  peers.clear();
#ifndef FERROLINK_SANITIZED
  server.awaitMemory(before + 16 * 1024);
#endif
}

TEST(TcpServerLimits, WakesNoOtherThreadForACommand) {
  const ServerProcess server;
  RawSocket client = server.greetedClient();
  EXPECT_EQ(client.ask(callOf("echo", "0")), answerOf("0"));
  const long before = server.status("voluntary_ctxt_switches");
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(client.ask(callOf("echo", "1")), answerOf("1"));
  }
  EXPECT_LE(server.status("voluntary_ctxt_switches"), before + 5);
}

TEST(TcpServerLimits, AnswersCommandsThatComeWhileItEnds) {
  const WaitingCall waiting;
  ServerProcess server;
  RawSocket idle = server.greetedClient();
  RawSocket warm = server.greetedClient();
  EXPECT_EQ(warm.ask(callOf("echo", "1")), answerOf("1"));
  RawSocket busy = server.greetedClient();
  busy.command(waiting.command());
  waiting.awaitRunning();
  server.signal(SIGTERM);
  // Each of them has its answer before its command.
  EXPECT_EQ(idle.receive(16), frameHeader(static_cast<std::uint32_t>(kGoingAway.size()), 1, 4));
  idle.send(largeCommand(2));
  EXPECT_EQ(idle.receiveAll(), kGoingAway);
  EXPECT_EQ(warm.receiveAll(), frame(kGoingAway, 2, kNotBegunFinally));
  waiting.release("answered");
  EXPECT_EQ(busy.receiveFrame(), answerOf("answered"));
  EXPECT_EQ(server.wait(), 0);
}

TEST(TcpServerLimits, EndsThoughClientsNeitherReadNorWriteNorLeave) {
  ServerProcess server({"--shutdown-grace-ms", "100"});
  RawSocket silent = RawSocket::connect(server.port());
  RawSocket half = server.greetedClient();
  half.send(frameHeader(1000));
  RawSocket deaf = server.greetedClient();
  deaf.command(callOf("bytes", std::to_string(40U << 20U)));
  EXPECT_EQ(deaf.receive(1), std::string(1, '\x02'));
  server.signal(SIGTERM);
  EXPECT_EQ(server.wait(), 0);
  EXPECT_THAT(server.errors(), HasSubstr("the grace is over (--shutdown-grace-ms): connections are "
                                         "cut, among them 1 with a command\"\n"));
}

TEST(TcpServerLimits, EndsWithAnErrorWhereAHandlerNeverReturns) {
  const WaitingCall waiting;
  ServerProcess server({"--shutdown-grace-ms", "100"});
  RawSocket busy = server.greetedClient();
  busy.command(waiting.command());
  waiting.awaitRunning();
  server.signal(SIGTERM);
  EXPECT_EQ(server.wait(), 1);
  EXPECT_THAT(server.errors(), HasSubstr("1 commands do not end; the process ends without them\n"));
  EXPECT_THAT(busy.receiveAll(), AnyOf("", "(reset)"));
}

}  // namespace FerrolinkTest
