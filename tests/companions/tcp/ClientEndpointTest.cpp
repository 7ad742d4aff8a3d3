// What the configuration says of an endpoint, and what the client libraries make of it. It is the
// process's: each test has a process of its own.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <latch>

#include "tests/companions/tcp/ClientSupport.h"

namespace FerrolinkTest {
namespace {

// A server that answers each command on a connection with `text`, as long as the client likes.
auto answering(const std::string& text, int connections = 1) {
  return [text, connections](const Port& port) {
    for (int i = 0; i < connections; ++i) {
      RawSocket client = port.greeted();
      client.receiveFrame();
      client.answer(text);
      client.receiveAll();
    }
  };
}

std::string localhost(const Port& port) {
  return "\"localhost:" + std::to_string(port.number()) + "\"";
}

int optionOf(int descriptor, int level, int name) {
  int value = 0;
  socklen_t size = sizeof value;
  EXPECT_EQ(getsockopt(descriptor, level, name, &value, &size), 0);
  return value;
}

constexpr const char* kAddress = "192.0.2.1:8080";

std::unique_ptr<ITransport> channelToAddress() {
  return channelTo("192.0.2.1", 8080);
}

}  // namespace

TEST(TcpEndpoint, IsReachedWhereTheConfigurationSays) {
  FakeServer server(answering("by name"));
  configure(kAddress, "\"connect\": " + localhost(server));
  EXPECT_EQ(exchange(*channelToAddress(), "1"), "by name");
}

TEST(TcpEndpoint, TellsNamesThatNobodyKnows) {
  configure(kAddress, R"("connect": "nobody.invalid:80")");
  EXPECT_THAT(exchange(*channelToAddress(), "1"),
              testing::StartsWith(clientError(1, "Cannot connect to nobody.invalid:80: ")));
  configure(kAddress, R"("connect": "[::1]:1")");
  EXPECT_THAT(exchange(*channelToAddress(), "1"),
              testing::StartsWith(clientError(1, "Cannot connect to [::1]:1: ")));
}

TEST(TcpEndpoint, IsServedByTheNextServerWhereNothingWasExecuted) {
  const Port nobody;
  FakeServer stranger([](const Port& port) {
    RawSocket client = port.accept();
    client.receive(8);
    client.send("HTTP/1.1 400 Bad Request\r\n").endWriting();
    client.receiveAll();
  });
  FakeServer leaving([](const Port& port) {
    RawSocket client = port.greeted();
    client.receiveFrame();
    client.answer("going away", 4);
  });
  FakeServer server([](const Port& port) {
    RawSocket client = port.greeted();
    EXPECT_EQ(client.receiveFrame(), "1");
    client.answer("the fourth");
    EXPECT_EQ(client.receiveFrame(), "2");
    client.endWriting();
    EXPECT_EQ(client.receiveAll(), "");
    RawSocket again = port.greeted();
    EXPECT_EQ(again.receiveFrame(), "3");
    again.answer("again");
  });
  configure(kAddress, "\"connect\": [" + localhost(nobody) + ", " + localhost(stranger) + ", " +
                          localhost(leaving) + ", " + localhost(server) + "]");
  auto channel = channelToAddress();
  EXPECT_EQ(exchange(*channel, "1"), "the fourth");
  EXPECT_THAT(exchange(*channel, "2"), testing::HasSubstr("Exception code 002.\n"));
  // The one that was reached last comes first.
  EXPECT_EQ(exchange(*channel, "3"), "again");
}

TEST(TcpEndpoint, LeavesEachServerItsShareOfTheTime) {
  const Port silent;
  silent.listen();
  FakeServer server(answering("in time", 2));
  configure(kAddress, R"("callTimeoutMs": 1000, "connectTimeoutMs": 10000, "connect": [)" +
                          localhost(silent) + ", " + localhost(server) + "]");
  EXPECT_EQ(exchange(*channelToAddress(), "1"), "in time");
  EXPECT_EQ(exchange(*channelToAddress(), "2"), "in time");
}

TEST(TcpEndpoint, IsServedByNoOtherServerWhereACommandIsNotAllowedOrMayHaveRun) {
  const Port second;
  FakeServer first([&](const Port& port) {
    RawSocket client = port.greeted();
    client.receiveFrame();
    client.answer("not allowed", 3);
    client.receiveFrame();
    client.answer("odd", 2);
    RawSocket next = port.greeted();
    next.receiveFrame();
    next.reset();
  });
  second.listen();
  const std::string name = "localhost:" + std::to_string(first.number());
  configure(kAddress, "\"connect\": [" + localhost(first) + ", " + localhost(second) + "]");
  auto channel = channelToAddress();
  EXPECT_EQ(exchange(*channel, "1"), notBegun(name, "not allowed"));
  EXPECT_EQ(exchange(*channel, "2"), "error: odd");
  EXPECT_THAT(exchange(*channel, "3"), testing::HasSubstr("Exception code 002.\n"));
}

TEST(TcpEndpoint, TellsOfEachServerWhereNoneTakesTheCommand) {
  const Port first;
  const Port second;
  configure(kAddress, "\"connect\": [\"" + first.name() + "\", \"" + second.name() + "\"]");
  const auto one = [](const Port& port) {
    return "\nCannot connect to " + port.name() +
           ": Connection refused. The command was not sent. See that ferrolink-server runs there "
           "and has room for another connection.";
  };
  EXPECT_EQ(exchange(*channelToAddress(), "1"),
            clientError(1, std::string("None of the 2 servers of ") + kAddress +
                               " has taken the command:" + one(first) + one(second)));
}

TEST(TcpEndpoint, TakesNoPlainCommandWhereTlsIsRequired) {
  const Port port;
  configure(port.name(), R"("tls": "required")");
  for (const std::string& plain : {std::string("1"), ofKind(1, command(2, "\4echo"))}) {
    EXPECT_EQ(exchange(*channelTo(port.number()), plain),
              clientError(4, "The configuration requires TLS for " + port.name() +
                                 ". The command was not sent. Use a target with TLS."));
  }
}

TEST(TcpEndpoint, IsReachedAnewWhenTheConfigurationHasChanged) {
  FakeServer before(answering("before"));
  FakeServer after(answering("after"));
  configure(kAddress, "\"connect\": " + localhost(before));
  auto channel = channelToAddress();
  EXPECT_EQ(exchange(*channel, "1"), "before");
  configure(kAddress, "\"connect\": " + localhost(after));
  EXPECT_EQ(exchange(*channel, "2"), "after");
  configure(kAddress, R"("tls": "required")");
  EXPECT_THAT(exchange(*channel, "3"), testing::HasSubstr("The configuration requires TLS"));
}

TEST(TcpEndpoint, HasLimitsOfItsOwnUnlessTheEnvironmentHasThem) {
  FakeServer server([](const Port& port) { EXPECT_EQ(port.greeted().receiveAll(), ""); });
  configure(server.name(), R"("maxFrameBytes": 2048, "connectTimeoutMs": 5000)");
  EXPECT_THAT(exchange(*channelTo(server.number()), std::string(2049, 'x')),
              testing::HasSubstr("has 2049 bytes, more than the limit of 2048."));
  const Variable limit("FERROLINK_MAX_FRAME_BYTES", "4096");
  server.join();
  FakeServer other(answering("fine"));
  configure(other.name(), R"("maxFrameBytes": 2048)");
  EXPECT_EQ(exchange(*channelTo(other.number()), std::string(4096, 'x')), "fine");
  const Port silent;
  silent.listen();
  configure(silent.name(), R"("connectTimeoutMs": 70)");
  EXPECT_EQ(exchange(*channelTo(silent.number()), "1"),
            notConnected(silent, "it took longer than 70 ms"));
}

TEST(TcpEndpoint, NoticesMachinesThatAreGoneAfterItsOwnTime) {
  std::latch looked(2);
  FakeServer server([&](const Port& port) {
    RawSocket first = port.greeted();
    first.receiveFrame();
    first.answer("1");
    RawSocket second = port.greeted();
    second.receiveFrame();
    second.answer("2");
    looked.wait();
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"), "1");
  int connected = socketTo(server.number());
  EXPECT_EQ(optionOf(connected, IPPROTO_TCP, TCP_USER_TIMEOUT), 120'000);
  EXPECT_EQ(optionOf(connected, SOL_SOCKET, SO_KEEPALIVE), 1);
  configure(server.name(), R"("unacknowledgedTimeoutMs": 30000)");
  EXPECT_EQ(exchange(*channel, "2"), "2");
  connected = socketTo(server.number());
  EXPECT_EQ(optionOf(connected, IPPROTO_TCP, TCP_USER_TIMEOUT), 30'000);
  looked.count_down(2);
}

TEST(TcpEndpoint, KeepsAsManyConnectionsAsWereInUseOrAsItIsTold) {
  constexpr int kThreads = 100;
  const auto kept = [&](const std::string& members) {
    FakeServer server([&](const Port& port) {
      std::vector<RawSocket> clients;
      for (int i = 0; i < kThreads; ++i) {
        clients.push_back(port.greeted());
        clients.back().receiveFrame();
      }
      for (RawSocket& client : clients) {
        client.answer("fine");
      }
      for (RawSocket& client : clients) {
        EXPECT_EQ(client.receiveAll(), "");
      }
    });
    configure(server.name(), members);
    const std::size_t before = openSockets().size();
    auto channel = channelTo(server.number());
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&] { EXPECT_EQ(exchange(*channel, "1"), "fine"); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    // The server holds the other ends.
    const std::size_t held = openSockets().size() - before - kThreads;
    channel.reset();
    return held;
  };
  EXPECT_EQ(kept(""), 100U);
  EXPECT_LE(kept(R"("poolSize": 10)"), 10U);
}

}  // namespace FerrolinkTest
