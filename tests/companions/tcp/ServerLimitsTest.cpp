// The limits of a server: silent clients, slow ones, too many of them, and the state when it ends.
#include <poll.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <numeric>
#include <optional>
#include <thread>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/companions/tcp/WaitingCall.h"

namespace Ferrolink::Tests {
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

// Limits the descriptors of this process and of the servers that it starts.
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

// Sends one byte after another, each after a short silence of the server, until it answers.
void SendSlowly(RawSocket& client, std::string_view bytes) {
  for (const char& byte : bytes) {
    pollfd answer{client.Descriptor(), POLLIN, 0};
    if (poll(&answer, 1, 20) != 0) {
      return;
    }
    client.Send({&byte, 1});
  }
}

std::string LargeCommand(std::size_t mebibytes) {
  return Frame(CallOf("echo", std::string(mebibytes << 20U, 'x')));
}

}  // namespace

TEST(TcpServerLimits, ServesAProperClientBesideAThousandSilentConnections) {
  const DescriptorLimit limit(4096);
  const ServerProcess server({"--max-connections", "4", "--greeting-timeout-ms", "100000"});
  const std::size_t threads = server.Threads();
  std::vector<RawSocket> silent;
  for (int i = 0; i < 1000; ++i) {
    silent.push_back(RawSocket::Connect(server.Port()));
    switch (i % 4) {
      case 0:
        break;
      case 1:
        silent.back().Send(kHello.substr(0, 4));
        break;
      case 2:
        silent.back().Send(kHello);
        break;
      default:
        silent.back().Send(kHello).Send(FrameHeader(100).substr(0, 9));
    }
  }
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "5000");
  EXPECT_EQ(Exchange(*ChannelTo(server.Port()), CallOf("echo", "served")), AnswerOf("served"));
  EXPECT_LE(server.Threads(), threads + 1);
  EXPECT_EQ(silent[2].Receive(kWelcome.size()), kWelcome);
  EXPECT_EQ(silent[2].Ask(CallOf("echo", "me too")), AnswerOf("me too"));
}

TEST(TcpServerLimits, ClosesTheOldestSilentConnectionWhereDescriptorsAreShort) {
  std::optional<ServerProcess> server;
  {
    const DescriptorLimit limit(100);
    server.emplace(ServerProcess::Arguments{"--greeting-timeout-ms", "100000"});
  }
  RawSocket known = server->GreetedClient();
  EXPECT_EQ(known.Ask(CallOf("echo", "1")), AnswerOf("1"));
  std::vector<RawSocket> silent;
  for (int i = 0; i < 200; ++i) {
    silent.push_back(server->GreetedClient());
  }
  EXPECT_EQ(silent.front().ReceiveAll(), "");
  server->AwaitErrors("reason=\"closed to make room for other connections\"\n");
  EXPECT_EQ(silent.back().Ask(CallOf("echo", "2")), AnswerOf("2"));
  EXPECT_EQ(known.Ask(CallOf("echo", "3")), AnswerOf("3"));
}

TEST(TcpServerLimits, AnswersAtOnceThatItHasNoRoomForACommand) {
  const WaitingCall waiting;
  ServerProcess server({"--max-connections", "1"});
  RawSocket first = server.GreetedClient();
  first.Command(waiting.Command());
  waiting.AwaitRunning();
  // Greeted as well; the refusal is its answer, even after a long command.
  RawSocket second = server.GreetedClient();
  second.Send(Frame(CallOf("end-process")));
  EXPECT_EQ(second.ReceiveAll(), Frame(kFull, 1, kNotBegunFinally));
  RawSocket third = server.GreetedClient();
  third.Send(LargeCommand(8));
  EXPECT_EQ(third.ReceiveAll(), Frame(kFull, 1, kNotBegunFinally));
  waiting.Release("done");
  EXPECT_EQ(first.ReceiveFrame(), AnswerOf("done"));
}

TEST(TcpServerLimits, TakesTheSlotOfAClientThatHasNothingToSayForASecond) {
  const ServerProcess server({"--max-connections", "1"});
  const std::size_t threads = server.Threads();
  RawSocket first = server.GreetedClient();
  RawSocket second = server.GreetedClient();
  EXPECT_EQ(first.Ask(CallOf("echo", "1")), AnswerOf("1"));
  server.AwaitThreads(threads);
  EXPECT_EQ(second.Ask(CallOf("echo", "2")), AnswerOf("2"));
  server.AwaitThreads(threads);
  EXPECT_EQ(first.Ask(CallOf("echo", "3")), AnswerOf("3"));
}

TEST(TcpServerLimits, EndsConnectionsWithoutACommandAndAnswersTheNextOneInAdvance) {
  const ServerProcess server({"--idle-timeout-ms", "100"});
  EXPECT_EQ(server.GreetedClient().ReceiveAll(), Frame(kIdle, 1, kNotBegunFinally));
  RawSocket client = server.GreetedClient();
  EXPECT_EQ(client.Ask(CallOf("echo", "1")), AnswerOf("1"));
  EXPECT_EQ(client.ReceiveAll(), Frame(kIdle, 2, kNotBegunFinally));
  // Commands under way at that time are not executed, and their answers are not lost.
  RawSocket late = server.GreetedClient();
  EXPECT_EQ(late.Receive(16), FrameHeader(static_cast<std::uint32_t>(kIdle.size()), 1, 4));
  late.Send(Frame(CallOf("end-process")));
  late.AwaitDelivery();
  EXPECT_EQ(late.ReceiveAll(), kIdle);
}

TEST(TcpServerLimits, EndsCommandsThatStopComing) {
  const ServerProcess server({"--read-timeout-ms", "100"});
  const std::string whole = Frame(CallOf("end-process"));
  for (const std::size_t size :
       {std::size_t{1}, std::size_t{15}, std::size_t{16}, whole.size() - 1}) {
    RawSocket client = server.GreetedClient();
    client.Send(whole.substr(0, size));
    EXPECT_EQ(client.ReceiveAll(), Frame(kTooSlow, 1, kNotBegunFinally));
  }
}

TEST(TcpServerLimits, EndsCommandsThatComeByteByByteForTooLong) {
  const ServerProcess server({"--read-timeout-ms", "200"});
  RawSocket slow = server.GreetedClient();
  slow.Send(FrameHeader(100'000));
  SendSlowly(slow, std::string(100'000, 'x'));
  EXPECT_EQ(slow.ReceiveFrame(), kTooSlow);
}

TEST(TcpServerLimits, EndsCommandsThatComeSlowlyBehindManyFastBytes) {
  const ServerProcess server({"--read-timeout-ms", "200"});
  RawSocket client = server.GreetedClient();
  client.Send(FrameHeader(2'000'000) + std::string(1'900'000, 'x'));
  SendSlowly(client, std::string(100'000, 'x'));
  EXPECT_EQ(client.ReceiveFrame(), kTooSlow);
}

TEST(TcpServerLimits, EndsAConnectionThatDoesNotReadItsAnswer) {
  ServerProcess server({"--write-timeout-ms", "100"});
  const std::size_t threads = server.Threads();
  const std::size_t descriptors = server.DescriptorsAtRest();
  RawSocket client = server.GreetedClient();
  client.Command(CallOf("bytes", std::to_string(40U << 20U)));
  server.AwaitErrors("reason=\"the connection broke: ");
  EXPECT_THAT(server.Errors(), HasSubstr("timed out"));
  server.AwaitThreads(threads);
  server.AwaitDescriptors(descriptors);
}

TEST(TcpServerLimits, DoesNotBeginACommandWhoseTimeIsOver) {
  const ServerProcess server;
  RawSocket client = server.GreetedClient();
  const std::string deadly = CallOf("end-process");
  const std::string refusal =
      "The time for the command was over before it could begin. It was not executed.";
  client.Send(FrameHeader(static_cast<std::uint32_t>(deadly.size()), 1, 0, 0) + deadly);
  EXPECT_EQ(client.Receive(16 + refusal.size()), Frame(refusal, 1, kTimeOver));
  const std::string timely = CallOf("echo", "in time");
  client.Send(FrameHeader(static_cast<std::uint32_t>(timely.size()), 2, 0, 600'000) + timely);
  EXPECT_EQ(client.ReceiveFrame(), AnswerOf("in time"));
}

TEST(TcpServerLimits, KeepsTheFramesOfAllConnectionsWithinItsMemory) {
  constexpr std::size_t kPeers = 8;
  constexpr std::size_t kMebibytes = 200;
  ServerProcess server({"--max-memory-bytes", std::to_string(512U << 20U)});
  [[maybe_unused]] const long before = server.Status("VmRSS");
  std::vector<RawSocket> peers;
  std::vector<std::thread> threads;
  std::vector<int> refused(kPeers);
  for (std::size_t i = 0; i < kPeers; ++i) {
    peers.push_back(server.GreetedClient());
  }
  for (std::size_t i = 0; i < kPeers; ++i) {
    threads.emplace_back([&, i] {
      const std::string piece(1U << 20U, 'x');
      peers[i].Send(FrameHeader(kMebibytes << 20U));
      for (std::size_t sent = 0; sent + 1 < kMebibytes; ++sent) {
        peers[i].Send(piece);
      }
      peers[i].AwaitDelivery();
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  RawSocket small = server.GreetedClient();
  EXPECT_EQ(small.Ask(CallOf("echo", "small")), AnswerOf("small"));
  for (std::size_t i = 0; i < kPeers; ++i) {
    pollfd answer{peers[i].Descriptor(), POLLIN, 0};
    if (poll(&answer, 1, 0) == 1) {
      refused[i] = peers[i].ReceiveAll() == Frame(kNoMemory, 1, kNotBegunFinally);
    }
  }
  // At least six of them, since two are allowed at once.
  EXPECT_GE(std::accumulate(refused.begin(), refused.end(), 0), 6);
#ifndef FERROLINK_SANITIZED
  EXPECT_LE(server.Status("VmHWM"), before + (512 + 32) * 1024);
#endif
  peers.clear();
#ifndef FERROLINK_SANITIZED
  server.AwaitMemory(before + 16 * 1024);
#endif
}

TEST(TcpServerLimits, WakesNoOtherThreadForACommand) {
  const ServerProcess server;
  RawSocket client = server.GreetedClient();
  EXPECT_EQ(client.Ask(CallOf("echo", "0")), AnswerOf("0"));
  const long before = server.Status("voluntary_ctxt_switches");
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(client.Ask(CallOf("echo", "1")), AnswerOf("1"));
  }
  EXPECT_LE(server.Status("voluntary_ctxt_switches"), before + 5);
}

TEST(TcpServerLimits, AnswersCommandsThatComeWhileItEnds) {
  const WaitingCall waiting;
  const std::string late = LargeCommand(2);  // made here: the server waits a second for it
  ServerProcess server;
  RawSocket idle = server.GreetedClient();
  RawSocket warm = server.GreetedClient();
  EXPECT_EQ(warm.Ask(CallOf("echo", "1")), AnswerOf("1"));
  RawSocket busy = server.GreetedClient();
  busy.Command(waiting.Command());
  waiting.AwaitRunning();
  server.Signal(SIGTERM);
  // Each of them gets its answer before its command.
  EXPECT_EQ(idle.Receive(16), FrameHeader(static_cast<std::uint32_t>(kGoingAway.size()), 1, 4));
  idle.Send(late);
  EXPECT_EQ(idle.ReceiveAll(), kGoingAway);
  EXPECT_EQ(warm.ReceiveAll(), Frame(kGoingAway, 2, kNotBegunFinally));
  waiting.Release("answered");
  EXPECT_EQ(busy.ReceiveFrame(), AnswerOf("answered"));
  EXPECT_EQ(server.Wait(), 0);
}

TEST(TcpServerLimits, EndsThoughClientsNeitherReadNorWriteNorLeave) {
  ServerProcess server({"--shutdown-grace-ms", "100"});
  RawSocket silent = RawSocket::Connect(server.Port());
  RawSocket half = server.GreetedClient();
  half.Send(FrameHeader(1000));
  RawSocket deaf = server.GreetedClient();
  deaf.Command(CallOf("bytes", std::to_string(40U << 20U)));
  EXPECT_EQ(deaf.Receive(1), std::string(1, '\x02'));
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait(), 0);
  EXPECT_THAT(server.Errors(), HasSubstr("the grace is over (--shutdown-grace-ms): connections are "
                                         "cut, among them 1 with a command\"\n"));
}

TEST(TcpServerLimits, EndsWithAnErrorWhereAHandlerNeverReturns) {
  const WaitingCall waiting;
  ServerProcess server({"--shutdown-grace-ms", "100"});
  RawSocket busy = server.GreetedClient();
  busy.Command(waiting.Command());
  waiting.AwaitRunning();
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait(), 1);
  EXPECT_THAT(server.Errors(), HasSubstr("1 commands do not end; the process ends without them\n"));
  EXPECT_THAT(busy.ReceiveAll(), AnyOf("", "(reset)"));
}

}  // namespace Ferrolink::Tests
