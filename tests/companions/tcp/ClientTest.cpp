// The client library against servers that answer as a script says.
#include <fcntl.h>
#include <pthread.h>

#include <csignal>
#include <latch>
#include <set>

#include "tests/companions/tcp/ClientSupport.h"

namespace FerrolinkTest {

TEST(TcpClient, GreetsAndSendsEachCommandAsOneFrame) {
  const std::string large(200'000, 'x');
  FakeServer server([&](const Port& port) {
    RawSocket client = port.greeted();
    EXPECT_EQ(client.receive(28),
              std::string("\0\0\0\x0c\0\0\0\1\xff\xff\xff\xff\0\0\0\0hello world!", 28));
    client.send(std::string("\0\0\0\x03\0\0\0\1\xff\xff\xff\xff\0\0\0\0abc", 19));
    EXPECT_EQ(client.receive(16), frame("", 2));
    client.send(frame("", 2));
    EXPECT_EQ(client.receiveFrame(), large);
    client.answer(large + "!");
    EXPECT_EQ(client.receiveAll(), "");
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "hello world!"), "abc");
  EXPECT_EQ(exchange(*channel, ""), "");
  EXPECT_EQ(exchange(*channel, large), large + "!");
  channel.reset();
}

TEST(TcpClient, ReadsWhatComesByteByByte) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.accept();
    client.sendByteByByte(kWelcome);
    EXPECT_EQ(client.receive(kHello.size()), kHello);
    client.receiveFrame();
    client.sendByteByByte(frame("one"));
    client.receiveFrame();
    client.sendByteByByte(frame("two", 2));
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"), "one");
  EXPECT_EQ(exchange(*channel, "2"), "two");
}

TEST(TcpClient, ConnectsWithTheFirstCommandAndAgainAfterAFailure) {
  const Port port;
  auto channel = channelTo(port.number());
  EXPECT_EQ(channel->Initialize(2, 8, 0), 0);
  EXPECT_EQ(exchange(*channel, "1"), notConnected(port, "Connection refused"));
  EXPECT_EQ(exchange(*channel, "2"), notConnected(port, "Connection refused"));
  port.listen();
  std::thread server([&] {
    RawSocket client = port.greeted();
    EXPECT_EQ(client.receiveFrame(), "3");
    client.answer("three");
  });
  EXPECT_EQ(exchange(*channel, "3"), "three");
  server.join();
}

TEST(TcpClient, KeepsItsConnectionAndReplacesOneThatTheServerClosedMeanwhile) {
  std::latch closed(1);
  FakeServer server([&](const Port& port) {
    RawSocket first = port.greeted();
    for (const char* expected : {"1", "2"}) {
      EXPECT_EQ(first.receiveFrame(), expected);
      first.answer("first");
    }
    first.endWriting();
    first.awaitDelivery();
    closed.count_down();
    RawSocket second = port.greeted();
    EXPECT_EQ(second.receiveFrame(), "3");
    second.answer("second");
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"), "first");
  EXPECT_EQ(exchange(*channel, "2"), "first");
  closed.wait();
  EXPECT_EQ(exchange(*channel, "3"), "second");
}

TEST(TcpClient, DropsAConnectionOnWhichSomethingCameUnasked) {
  std::latch sent(1);
  FakeServer server([&](const Port& port) {
    RawSocket first = port.greeted();
    first.receiveFrame();
    first.answer("first").answer("unasked").awaitDelivery();
    sent.count_down();
    RawSocket second = port.greeted();
    EXPECT_EQ(second.receiveFrame(), "2");
    second.answer("second");
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"), "first");
  sent.wait();
  EXPECT_EQ(exchange(*channel, "2"), "second");
}

TEST(TcpClient, DoesNotWaitForEverForAConnection) {
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "50");
  const Port port;
  port.listen(0);
  auto channel = channelTo(port.number());
  // The first waits in the queue without a greeting, then the queue is full.
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(exchange(*channel, "1"), notConnected(port, "it took longer than 50 ms"));
  }
}

TEST(TcpClient, WaitsForAnswersWithoutALimitAndWhateverSignalsCome) {
  struct sigaction noted {};
  noted.sa_handler = [](int) {};
  sigaction(SIGUSR1, &noted, nullptr);
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "300");
  const pthread_t waiting = pthread_self();
  FakeServer server([&](const Port& port) {
    RawSocket client = port.greeted();
    client.receiveFrame();
    // Answered when the time for connecting is surely over.
    const Port silent;
    silent.listen();
    EXPECT_EQ(exchange(*channelTo(silent.number()), "1"),
              notConnected(silent, "it took longer than 300 ms"));
    for (const char byte : frame("slow")) {
      for (int i = 0; i < 200; ++i) {
        pthread_kill(waiting, SIGUSR1);
      }
      client.send({&byte, 1});
    }
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"), "slow");
}

TEST(TcpClient, GivesEachThreadItsOwnResponse) {
  std::latch firstCame(1);
  FakeServer server([&](const Port& port) {
    RawSocket first = port.greeted();
    EXPECT_EQ(first.receiveFrame(), "first");
    firstCame.count_down();
    RawSocket second = port.greeted();
    EXPECT_EQ(second.receiveFrame(), "second");
    second.answer("to the second");
    first.answer("to the first");
  });
  auto channel = channelTo(server.number());
  std::latch sent(2);
  const auto talk = [&](const std::string& text) {
    const int length = send(*channel, text);
    sent.arrive_and_wait();
    EXPECT_EQ(read(*channel, length), "to the " + text);
  };
  std::thread first(talk, "first");
  firstCame.wait();
  std::thread second(talk, "second");
  first.join();
  second.join();
}

TEST(TcpClient, GivesAResponseOnceAndAsMuchAsIsAskedFor) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.greeted();
    for (const char* answer : {"abcdef", "ghi", "jkl", "mno"}) {
      client.receiveFrame();
      client.answer(answer);
    }
  });
  auto channel = channelTo(server.number());
  const std::string none = "Network Client: Exception code 007.\nNo response of " + server.name() +
                           " waits on this thread. Send and read on one thread, once each.";
  const auto nothing = [&] { EXPECT_EQ(thrownBy([&] { read(*channel, 1); }), none); };
  nothing();
  EXPECT_EQ(send(*channel, "1"), 6);
  EXPECT_EQ(read(*channel, 2), "ab");
  nothing();
  send(*channel, "2");
  EXPECT_EQ(read(*channel, 5), std::string("ghi\0\0", 5));
  send(*channel, "3");
  std::thread([&] { nothing(); }).join();
  EXPECT_EQ(channel->ReadResponse(nullptr, -1), 0);
  nothing();
  send(*channel, "4");
  EXPECT_EQ(read(*channel, 3), "mno");
}

TEST(TcpClient, ReachesAddressesOnly) {
  EXPECT_EQ(channelTo(nullptr, 1), nullptr);
  for (const char* host : {"", "localhost", "127.0.0.1 ", "256.0.0.1"}) {
    EXPECT_EQ(exchange(*channelTo(host, 80), "1"),
              std::string("error: Network Client: Exception code 001.\nCannot connect to ") + host +
                  ":80: '" + host +
                  "' is no address; names are not looked up. The command was "
                  "not sent.");
  }
}

TEST(TcpClient, LeavesNoDescriptorToProgramsThatTheProcessStarts) {
  const std::set<int> before = openSockets();
  std::latch looked(1);
  FakeServer server([&](const Port& port) {
    RawSocket client = port.greeted();
    client.receiveFrame();
    client.answer("1");
    looked.wait();
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"), "1");
  int inherited = 0;
  for (const int descriptor : openSockets()) {
    if (!before.contains(descriptor)) {
      inherited += (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0;
    }
  }
  EXPECT_EQ(openSockets().size() - before.size(), 3U);
  EXPECT_EQ(inherited, 0);
  looked.count_down();
}

TEST(TcpClient, SendsNothingToSetOrDeployARuntime) {
  const Port port;
  auto channel = channelTo(port.number());
  std::uint8_t message[11] = {};
  EXPECT_EQ(channel->SetEmbeddedRuntime(2, 8, 0, "path"), 0);
  EXPECT_EQ(channel->DeployRuntime(message, 11, "path", 1), 0);
}

}  // namespace FerrolinkTest
