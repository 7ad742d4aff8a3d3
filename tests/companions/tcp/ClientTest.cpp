// The client library with servers that answer by a script.
#include <fcntl.h>
#include <pthread.h>

#include <csignal>
#include <latch>
#include <set>

#include "tests/companions/tcp/ClientSupport.h"

namespace Ferrolink::Tests {

TEST(TcpClient, GreetsAndSendsEachCommandAsOneFrame) {
  const std::string large(200'000, 'x');
  FakeServer server([&](const Port& port) {
    RawSocket client = port.Greeted();
    EXPECT_EQ(client.Receive(28),
              std::string("\0\0\0\x0c\0\0\0\1\xff\xff\xff\xff\0\0\0\0hello world!", 28));
    client.Send(std::string("\0\0\0\x03\0\0\0\1\xff\xff\xff\xff\0\0\0\0abc", 19));
    EXPECT_EQ(client.Receive(16), Frame("", 2));
    client.Send(Frame("", 2));
    EXPECT_EQ(client.ReceiveFrame(), large);
    client.Answer(large + "!");
    EXPECT_EQ(client.ReceiveAll(), "");
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "hello world!"), "abc");
  EXPECT_EQ(Exchange(*channel, ""), "");
  EXPECT_EQ(Exchange(*channel, large), large + "!");
  channel.reset();
}

TEST(TcpClient, ReadsWhatComesByteByByte) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.Accept();
    client.SendByteByByte(kWelcome);
    EXPECT_EQ(client.Receive(kHello.size()), kHello);
    client.ReceiveFrame();
    client.SendByteByByte(Frame("one"));
    client.ReceiveFrame();
    client.SendByteByByte(Frame("two", 2));
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"), "one");
  EXPECT_EQ(Exchange(*channel, "2"), "two");
}

TEST(TcpClient, ConnectsWithTheFirstCommandAndAgainAfterAFailure) {
  const Port port;
  auto channel = ChannelTo(port.Number());
  EXPECT_EQ(channel->Initialize(2, 8, 0), 0);
  EXPECT_EQ(Exchange(*channel, "1"), NotConnected(port, "Connection refused"));
  EXPECT_EQ(Exchange(*channel, "2"), NotConnected(port, "Connection refused"));
  port.Listen();
  std::thread server([&] {
    RawSocket client = port.Greeted();
    EXPECT_EQ(client.ReceiveFrame(), "3");
    client.Answer("three");
  });
  EXPECT_EQ(Exchange(*channel, "3"), "three");
  server.join();
}

TEST(TcpClient, KeepsItsConnectionAndReplacesOneThatTheServerClosedMeanwhile) {
  std::latch closed(1);
  FakeServer server([&](const Port& port) {
    RawSocket first = port.Greeted();
    for (const char* expected : {"1", "2"}) {
      EXPECT_EQ(first.ReceiveFrame(), expected);
      first.Answer("first");
    }
    first.EndWriting();
    first.AwaitDelivery();
    closed.count_down();
    RawSocket second = port.Greeted();
    EXPECT_EQ(second.ReceiveFrame(), "3");
    second.Answer("second");
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"), "first");
  EXPECT_EQ(Exchange(*channel, "2"), "first");
  closed.wait();
  EXPECT_EQ(Exchange(*channel, "3"), "second");
}

TEST(TcpClient, DropsAConnectionOnWhichSomethingCameUnasked) {
  std::latch sent(1);
  FakeServer server([&](const Port& port) {
    RawSocket first = port.Greeted();
    first.ReceiveFrame();
    first.Answer("first").Answer("unasked").AwaitDelivery();
    sent.count_down();
    RawSocket second = port.Greeted();
    EXPECT_EQ(second.ReceiveFrame(), "2");
    second.Answer("second");
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"), "first");
  sent.wait();
  EXPECT_EQ(Exchange(*channel, "2"), "second");
}

TEST(TcpClient, DoesNotWaitForEverForAConnection) {
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "50");
  const Port port;
  port.Listen(0);
  auto channel = ChannelTo(port.Number());
  // The first one waits in the queue without a greeting. Then the queue is full.
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(Exchange(*channel, "1"), NotConnected(port, "it took longer than 50 ms"));
  }
}

TEST(TcpClient, WaitsForAnswersWithoutALimitAndWhateverSignalsCome) {
  struct sigaction noted {};
  noted.sa_handler = [](int) {};
  sigaction(SIGUSR1, &noted, nullptr);
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "300");
  const pthread_t waiting = pthread_self();
  FakeServer server([&](const Port& port) {
    RawSocket client = port.Greeted();
    client.ReceiveFrame();
    // Answered after the time for connecting is certainly over.
    const Port silent;
    silent.Listen();
    EXPECT_EQ(Exchange(*ChannelTo(silent.Number()), "1"),
              NotConnected(silent, "it took longer than 300 ms"));
    for (const char byte : Frame("slow")) {
      for (int i = 0; i < 200; ++i) {
        pthread_kill(waiting, SIGUSR1);
      }
      client.Send({&byte, 1});
    }
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"), "slow");
}

TEST(TcpClient, GivesEachThreadItsOwnResponse) {
  std::latch firstCame(1);
  FakeServer server([&](const Port& port) {
    RawSocket first = port.Greeted();
    EXPECT_EQ(first.ReceiveFrame(), "first");
    firstCame.count_down();
    RawSocket second = port.Greeted();
    EXPECT_EQ(second.ReceiveFrame(), "second");
    second.Answer("to the second");
    first.Answer("to the first");
  });
  auto channel = ChannelTo(server.Number());
  std::latch sent(2);
  const auto talk = [&](const std::string& text) {
    const int length = Send(*channel, text);
    sent.arrive_and_wait();
    EXPECT_EQ(Read(*channel, length), "to the " + text);
  };
  std::thread first(talk, "first");
  firstCame.wait();
  std::thread second(talk, "second");
  first.join();
  second.join();
}

TEST(TcpClient, GivesAResponseOnceAndAsMuchAsIsAskedFor) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.Greeted();
    for (const char* answer : {"abcdef", "ghi", "jkl", "mno"}) {
      client.ReceiveFrame();
      client.Answer(answer);
    }
  });
  auto channel = ChannelTo(server.Number());
  const std::string none = "Network Client: Exception code 007.\nNo response of " + server.Name() +
                           " waits on this thread. Send and read on one thread, once each.";
  const auto nothing = [&] { EXPECT_EQ(ThrownBy([&] { Read(*channel, 1); }), none); };
  nothing();
  EXPECT_EQ(Send(*channel, "1"), 6);
  EXPECT_EQ(Read(*channel, 2), "ab");
  nothing();
  Send(*channel, "2");
  EXPECT_EQ(Read(*channel, 5), std::string("ghi\0\0", 5));
  Send(*channel, "3");
  std::thread([&] { nothing(); }).join();
  EXPECT_EQ(channel->ReadResponse(nullptr, -1), 0);
  nothing();
  Send(*channel, "4");
  EXPECT_EQ(Read(*channel, 3), "mno");
}

TEST(TcpClient, ReachesAddressesOnly) {
  EXPECT_EQ(ChannelTo(nullptr, 1), nullptr);
  for (const char* host : {"", "localhost", "127.0.0.1 ", "256.0.0.1"}) {
    EXPECT_EQ(Exchange(*ChannelTo(host, 80), "1"),
              std::string("error: Network Client: Exception code 001.\nCannot connect to ") + host +
                  ":80: '" + host +
                  "' is no address; names are not looked up. The command was "
                  "not sent.");
  }
}

TEST(TcpClient, LeavesNoDescriptorToProgramsThatTheProcessStarts) {
  const std::set<int> before = OpenSockets();
  std::latch looked(1);
  FakeServer server([&](const Port& port) {
    RawSocket client = port.Greeted();
    client.ReceiveFrame();
    client.Answer("1");
    looked.wait();
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"), "1");
  int inherited = 0;
  for (const int descriptor : OpenSockets()) {
    if (!before.contains(descriptor)) {
      inherited += (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0;
    }
  }
  EXPECT_EQ(OpenSockets().size() - before.size(), 3U);
  EXPECT_EQ(inherited, 0);
  looked.count_down();
}

TEST(TcpClient, SendsNothingToSetOrDeployARuntime) {
  const Port port;
  auto channel = ChannelTo(port.Number());
  std::uint8_t message[11] = {};
  EXPECT_EQ(channel->SetEmbeddedRuntime(2, 8, 0, "path"), 0);
  EXPECT_EQ(channel->DeployRuntime(message, 11, "path", 1), 0);
}

}  // namespace Ferrolink::Tests
