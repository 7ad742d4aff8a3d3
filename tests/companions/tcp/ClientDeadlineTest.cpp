// Time limits of commands, and how the client library keeps to them.
#include <latch>

#include "tests/companions/tcp/ClientSupport.h"

namespace FerrolinkTest {
namespace {

// Long enough for anything, and not to be mistaken for another number.
constexpr std::uint32_t kHour = 3'600'000;

std::string overBefore(const std::string& what) {
  return clientError(
      9, "The time of the command was over before " + what + ". The command was not sent.");
}

std::string overWhile(const std::string& what) {
  return clientError(10, "The time of the command was over while " + what +
                             ". The command may have been executed and is not sent again; its "
                             "connection is closed.");
}

}  // namespace

TEST(TcpDeadline, TellsTheServerHowMuchTimeIsLeft) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.greeted();
    const std::string header = client.receive(16);
    const std::uint32_t left = millisecondsIn(header);
    EXPECT_LE(left, kHour);
    EXPECT_GT(left, kHour - 60'000);
    EXPECT_EQ(client.receive(callWithin(kHour, "x").size()), callWithin(kHour, "x"));
    client.send(frame("1", 1));
    std::uint32_t number = 2;
    for (const std::size_t size : {20U, 20U, 14U}) {
      EXPECT_EQ(millisecondsIn(client.receive(16)), kNoTimeLimit);
      EXPECT_EQ(client.receive(size).size(), size);
      client.send(frame(std::to_string(number), number));
      ++number;
    }
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, callWithin(kHour, "x")), "1");
  EXPECT_EQ(exchange(*channel, callWithin(kNoTimeLimit)), "2");
  // Another type, and a command that ends within the number.
  std::string other = callWithin(kHour);
  other[10] = 2;
  EXPECT_EQ(exchange(*channel, other), "3");
  EXPECT_EQ(exchange(*channel, command(3, "\1\1\1")), "4");
}

TEST(TcpDeadline, SendsNothingWhenTheTimeIsOverAlready) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.greeted();
    EXPECT_EQ(client.receiveFrame(), "1");
    client.answer("one");
    EXPECT_EQ(client.receiveAll(), "");
  });
  auto channel = channelTo(server.number());
  const std::string over = overBefore("it was sent to " + server.name());
  EXPECT_EQ(exchange(*channel, callWithin(0)), over);
  EXPECT_EQ(exchange(*channel, "1"), "one");
  EXPECT_EQ(exchange(*channel, callWithin(0)), over);
  channel.reset();
}

TEST(TcpDeadline, GivesUpConnecting) {
  const Port port;
  port.listen(0);
  auto channel = channelTo(port.number());
  // The first waits in the queue without a greeting, then the queue is full.
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(exchange(*channel, callWithin(50)), overBefore(port.name() + " was reached"));
  }
}

TEST(TcpDeadline, GivesUpSending) {
  std::latch gaveUp(1);
  FakeServer server([&](const Port& port) {
    RawSocket client = port.greeted();
    gaveUp.wait();
    client.close();
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, callWithin(1000, std::string(64U << 20U, 'x'))),
            overWhile("it was sent to " + server.name()));
  gaveUp.count_down();
}

TEST(TcpDeadline, GivesUpAwaitingAndClosesTheConnection) {
  FakeServer server([](const Port& port) {
    RawSocket first = port.greeted();
    EXPECT_EQ(first.receiveFrame(), callWithin(500));
    EXPECT_EQ(first.receiveAll(), "");
    RawSocket second = port.greeted();
    EXPECT_EQ(second.receiveFrame(), callWithin(500));
    second.send(frameHeader(3) + "a");
    EXPECT_EQ(second.receiveAll(), "");
    RawSocket third = port.greeted();
    EXPECT_EQ(third.receiveFrame(), callWithin(kHour));
    third.answer("third");
    EXPECT_EQ(third.receiveFrame(), "4");
    third.answer("fourth");
  });
  auto channel = channelTo(server.number());
  const std::string over = overWhile("an answer was awaited from " + server.name());
  EXPECT_EQ(exchange(*channel, callWithin(500)), over);
  EXPECT_EQ(exchange(*channel, callWithin(500)), over);
  EXPECT_EQ(exchange(*channel, callWithin(kHour)), "third");
  EXPECT_EQ(exchange(*channel, "4"), "fourth");
}

TEST(TcpDeadline, IsTheEndpointsUnlessTheCommandHasOne) {
  FakeServer server([](const Port& port) {
    for (const std::uint32_t most : {kHour, 2 * kHour, kNoTimeLimit}) {
      RawSocket client = port.greeted();
      const std::uint32_t left = millisecondsIn(client.receive(16));
      EXPECT_LE(left, most);
      EXPECT_GT(left, most / 2);
      client.receive(callWithin(0).size());
      client.send(frame("fine"));
    }
    RawSocket last = port.greeted();
    EXPECT_EQ(last.receiveFrame(), "last");
    EXPECT_EQ(last.receiveAll(), "");
  });
  auto channel = channelTo(server.number());
  const std::string size = std::string(callWithin(0).size(), 'x');
  configure(server.name(), R"("poolSize": 0, "callTimeoutMs": 3600000)");
  EXPECT_EQ(exchange(*channel, size), "fine");
  EXPECT_EQ(exchange(*channel, callWithin(2 * kHour)), "fine");
  EXPECT_EQ(exchange(*channel, callWithin(kNoTimeLimit)), "fine");
  const Variable limit("FERROLINK_CALL_TIMEOUT_MS", "500");
  EXPECT_EQ(exchange(*channel, "last"), overWhile("an answer was awaited from " + server.name()));
}

}  // namespace FerrolinkTest
