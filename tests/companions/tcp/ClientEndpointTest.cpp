// Endpoints in the configuration, and their effect in the client libraries. The configuration is
// process-wide, so each test has a process of its own.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <latch>

#include "tests/companions/tcp/ClientSupport.h"

namespace Ferrolink::Tests {
namespace {

// A server that answers each command of a connection with `text`, until the client closes.
auto Answering(const std::string& text, int connections = 1) {
  return [text, connections](const Port& port) {
    for (int i = 0; i < connections; ++i) {
      RawSocket client = port.Greeted();
      client.ReceiveFrame();
      client.Answer(text);
      client.ReceiveAll();
    }
  };
}

std::string Localhost(const Port& port) {
  return "\"localhost:" + std::to_string(port.Number()) + "\"";
}

int OptionOf(int descriptor, int level, int name) {
  int value = 0;
  socklen_t size = sizeof value;
  EXPECT_EQ(getsockopt(descriptor, level, name, &value, &size), 0);
  return value;
}

constexpr const char* kAddress = "192.0.2.1:8080";

std::unique_ptr<ITransport> ChannelToAddress() {
  return ChannelTo("192.0.2.1", 8080);
}

}  // namespace

TEST(TcpEndpoint, IsReachedWhereTheConfigurationSays) {
  FakeServer server(Answering("by name"));
  Configure(kAddress, "\"connect\": " + Localhost(server));
  EXPECT_EQ(Exchange(*ChannelToAddress(), "1"), "by name");
}

TEST(TcpEndpoint, TellsNamesThatNobodyKnows) {
  Configure(kAddress, R"("connect": "nobody.invalid:80")");
  EXPECT_THAT(Exchange(*ChannelToAddress(), "1"),
              testing::StartsWith(ClientError(1, "Cannot connect to nobody.invalid:80: ")));
  Configure(kAddress, R"("connect": "[::1]:1")");
  EXPECT_THAT(Exchange(*ChannelToAddress(), "1"),
              testing::StartsWith(ClientError(1, "Cannot connect to [::1]:1: ")));
}

TEST(TcpEndpoint, IsServedByTheNextServerWhereNothingWasExecuted) {
  const Port nobody;
  FakeServer stranger([](const Port& port) {
    RawSocket client = port.Accept();
    client.Receive(8);
    client.Send("HTTP/1.1 400 Bad Request\r\n").EndWriting();
    client.ReceiveAll();
  });
  FakeServer leaving([](const Port& port) {
    RawSocket client = port.Greeted();
    client.ReceiveFrame();
    client.Answer("going away", 4);
  });
  FakeServer server([](const Port& port) {
    RawSocket client = port.Greeted();
    EXPECT_EQ(client.ReceiveFrame(), "1");
    client.Answer("the fourth");
    EXPECT_EQ(client.ReceiveFrame(), "2");
    client.EndWriting();
    EXPECT_EQ(client.ReceiveAll(), "");
    RawSocket again = port.Greeted();
    EXPECT_EQ(again.ReceiveFrame(), "3");
    again.Answer("again");
  });
  Configure(kAddress, "\"connect\": [" + Localhost(nobody) + ", " + Localhost(stranger) + ", " +
                          Localhost(leaving) + ", " + Localhost(server) + "]");
  auto channel = ChannelToAddress();
  EXPECT_EQ(Exchange(*channel, "1"), "the fourth");
  EXPECT_THAT(Exchange(*channel, "2"), testing::HasSubstr("Exception code 002.\n"));
  // The server that was reached last is tried first.
  EXPECT_EQ(Exchange(*channel, "3"), "again");
}

TEST(TcpEndpoint, LeavesEachServerItsShareOfTheTime) {
  const Port silent;
  silent.Listen();
  FakeServer server(Answering("in time", 2));
  Configure(kAddress, R"("callTimeoutMs": 1000, "connectTimeoutMs": 10000, "connect": [)" +
                          Localhost(silent) + ", " + Localhost(server) + "]");
  EXPECT_EQ(Exchange(*ChannelToAddress(), "1"), "in time");
  EXPECT_EQ(Exchange(*ChannelToAddress(), "2"), "in time");
}

TEST(TcpEndpoint, IsServedByNoOtherServerWhereACommandIsNotAllowedOrMayHaveRun) {
  const Port second;
  FakeServer first([&](const Port& port) {
    RawSocket client = port.Greeted();
    client.ReceiveFrame();
    client.Answer("not allowed", 3);
    client.ReceiveFrame();
    client.Answer("odd", 2);
    RawSocket next = port.Greeted();
    next.ReceiveFrame();
    next.Reset();
  });
  second.Listen();
  const std::string name = "localhost:" + std::to_string(first.Number());
  Configure(kAddress, "\"connect\": [" + Localhost(first) + ", " + Localhost(second) + "]");
  auto channel = ChannelToAddress();
  EXPECT_EQ(Exchange(*channel, "1"), NotBegun(name, "not allowed"));
  EXPECT_EQ(Exchange(*channel, "2"), "error: odd");
  EXPECT_THAT(Exchange(*channel, "3"), testing::HasSubstr("Exception code 002.\n"));
}

TEST(TcpEndpoint, TellsOfEachServerWhereNoneTakesTheCommand) {
  const Port first;
  const Port second;
  Configure(kAddress, "\"connect\": [\"" + first.Name() + "\", \"" + second.Name() + "\"]");
  const auto one = [](const Port& port) {
    return "\nCannot connect to " + port.Name() +
           ": Connection refused. The command was not sent. See that ferrolink-server runs there "
           "and has room for another connection.";
  };
  EXPECT_EQ(Exchange(*ChannelToAddress(), "1"),
            ClientError(1, std::string("None of the 2 servers of ") + kAddress +
                               " has taken the command:" + one(first) + one(second)));
}

TEST(TcpEndpoint, TakesNoPlainCommandWhereTlsIsRequired) {
  const Port port;
  Configure(port.Name(), R"("tls": "required")");
  for (const std::string& plain : {std::string("1"), OfKind(1, Command(2, "\4echo"))}) {
    EXPECT_EQ(Exchange(*ChannelTo(port.Number()), plain),
              ClientError(4, "The configuration requires TLS for " + port.Name() +
                                 ". The command was not sent. Use a target with TLS."));
  }
}

TEST(TcpEndpoint, IsReachedAnewWhenTheConfigurationHasChanged) {
  FakeServer before(Answering("before"));
  FakeServer after(Answering("after"));
  Configure(kAddress, "\"connect\": " + Localhost(before));
  auto channel = ChannelToAddress();
  EXPECT_EQ(Exchange(*channel, "1"), "before");
  Configure(kAddress, "\"connect\": " + Localhost(after));
  EXPECT_EQ(Exchange(*channel, "2"), "after");
  Configure(kAddress, R"("tls": "required")");
  EXPECT_THAT(Exchange(*channel, "3"), testing::HasSubstr("The configuration requires TLS"));
}

TEST(TcpEndpoint, HasLimitsOfItsOwnUnlessTheEnvironmentHasThem) {
  FakeServer server([](const Port& port) { EXPECT_EQ(port.Greeted().ReceiveAll(), ""); });
  Configure(server.Name(), R"("maxFrameBytes": 2048, "connectTimeoutMs": 5000)");
  EXPECT_THAT(Exchange(*ChannelTo(server.Number()), std::string(2049, 'x')),
              testing::HasSubstr("has 2049 bytes, more than the limit of 2048."));
  const Variable limit("FERROLINK_MAX_FRAME_BYTES", "4096");
  server.Join();
  FakeServer other(Answering("fine"));
  Configure(other.Name(), R"("maxFrameBytes": 2048)");
  EXPECT_EQ(Exchange(*ChannelTo(other.Number()), std::string(4096, 'x')), "fine");
  const Port silent;
  silent.Listen();
  Configure(silent.Name(), R"("connectTimeoutMs": 70)");
  EXPECT_EQ(Exchange(*ChannelTo(silent.Number()), "1"),
            NotConnected(silent, "it took longer than 70 ms"));
}

TEST(TcpEndpoint, NoticesMachinesThatAreGoneAfterItsOwnTime) {
  std::latch looked(2);
  FakeServer server([&](const Port& port) {
    RawSocket first = port.Greeted();
    first.ReceiveFrame();
    first.Answer("1");
    RawSocket second = port.Greeted();
    second.ReceiveFrame();
    second.Answer("2");
    looked.wait();
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"), "1");
  int connected = SocketTo(server.Number());
  EXPECT_EQ(OptionOf(connected, IPPROTO_TCP, TCP_USER_TIMEOUT), 120'000);
  EXPECT_EQ(OptionOf(connected, SOL_SOCKET, SO_KEEPALIVE), 1);
  Configure(server.Name(), R"("unacknowledgedTimeoutMs": 30000)");
  EXPECT_EQ(Exchange(*channel, "2"), "2");
  connected = SocketTo(server.Number());
  EXPECT_EQ(OptionOf(connected, IPPROTO_TCP, TCP_USER_TIMEOUT), 30'000);
  looked.count_down(2);
}

TEST(TcpEndpoint, KeepsAsManyConnectionsAsWereInUseOrAsItIsTold) {
  constexpr int kThreads = 100;
  const auto kept = [&](const std::string& members) {
    FakeServer server([&](const Port& port) {
      std::vector<RawSocket> clients;
      for (int i = 0; i < kThreads; ++i) {
        clients.push_back(port.Greeted());
        clients.back().ReceiveFrame();
      }
      for (RawSocket& client : clients) {
        client.Answer("fine");
      }
      for (RawSocket& client : clients) {
        EXPECT_EQ(client.ReceiveAll(), "");
      }
    });
    Configure(server.Name(), members);
    const std::size_t before = OpenSockets().size();
    auto channel = ChannelTo(server.Number());
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&] { EXPECT_EQ(Exchange(*channel, "1"), "fine"); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    // The server has the other ends.
    const std::size_t held = OpenSockets().size() - before - kThreads;
    channel.reset();
    return held;
  };
  EXPECT_EQ(kept(""), 100U);
  EXPECT_LE(kept(R"("poolSize": 10)"), 10U);
}

}  // namespace Ferrolink::Tests
