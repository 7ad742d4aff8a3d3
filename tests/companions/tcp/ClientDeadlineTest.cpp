// Time limits of commands in the client library.
#include <latch>

#include "tests/companions/tcp/ClientSupport.h"

namespace Ferrolink::Tests {
namespace {

// Longer than any test, and distinct from all other numbers.
constexpr std::uint32_t kHour = 3'600'000;

std::string OverBefore(const std::string& what) {
  return ClientError(
      9, "The time of the command was over before " + what + ". The command was not sent.");
}

std::string OverWhile(const std::string& what) {
  return ClientError(10, "The time of the command was over while " + what +
                             ". The command may have been executed and is not sent again; its "
                             "connection is closed.");
}

}  // namespace

TEST(TcpDeadline, TellsTheServerHowMuchTimeIsLeft) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.Greeted();
    const std::string header = client.Receive(16);
    const std::uint32_t left = MillisecondsIn(header);
    EXPECT_LE(left, kHour);
    EXPECT_GT(left, kHour - 60'000);
    EXPECT_EQ(client.Receive(CallWithin(kHour, "x").size()), CallWithin(kHour, "x"));
    client.Send(Frame("1", 1));
    std::uint32_t number = 2;
    for (const std::size_t size : {20U, 20U, 14U}) {
      EXPECT_EQ(MillisecondsIn(client.Receive(16)), kNoTimeLimit);
      EXPECT_EQ(client.Receive(size).size(), size);
      client.Send(Frame(std::to_string(number), number));
      ++number;
    }
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, CallWithin(kHour, "x")), "1");
  EXPECT_EQ(Exchange(*channel, CallWithin(kNoTimeLimit)), "2");
  // Another type, and a command that ends within the milliseconds.
  std::string other = CallWithin(kHour);
  other[10] = 2;
  EXPECT_EQ(Exchange(*channel, other), "3");
  EXPECT_EQ(Exchange(*channel, Command(3, "\1\1\1")), "4");
}

TEST(TcpDeadline, SendsNothingWhenTheTimeIsOverAlready) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.Greeted();
    EXPECT_EQ(client.ReceiveFrame(), "1");
    client.Answer("one");
    EXPECT_EQ(client.ReceiveAll(), "");
  });
  auto channel = ChannelTo(server.Number());
  const std::string over = OverBefore("it was sent to " + server.Name());
  EXPECT_EQ(Exchange(*channel, CallWithin(0)), over);
  EXPECT_EQ(Exchange(*channel, "1"), "one");
  EXPECT_EQ(Exchange(*channel, CallWithin(0)), over);
  channel.reset();
}

TEST(TcpDeadline, GivesUpConnecting) {
  const Port port;
  port.Listen(0);
  auto channel = ChannelTo(port.Number());
  // The first one waits in the queue without a greeting. Then the queue is full.
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(Exchange(*channel, CallWithin(50)), OverBefore(port.Name() + " was reached"));
  }
}

TEST(TcpDeadline, GivesUpSending) {
  std::latch gaveUp(1);
  FakeServer server([&](const Port& port) {
    RawSocket client = port.Greeted();
    EXPECT_EQ(client.ReceiveFrame(), CallWithin(kHour));
    client.Answer("ready");
    gaveUp.wait();
    client.Close();
  });
  auto channel = ChannelTo(server.Number());
  // On a busy machine a connection may take longer than the limit below.
  EXPECT_EQ(Exchange(*channel, CallWithin(kHour)), "ready");
  EXPECT_EQ(Exchange(*channel, CallWithin(1000, std::string(32U << 20U, 'x'))),
            OverWhile("it was sent to " + server.Name()));
  gaveUp.count_down();
}

TEST(TcpDeadline, GivesUpAwaitingAndClosesTheConnection) {
  FakeServer server([](const Port& port) {
    RawSocket first = port.Greeted();
    EXPECT_EQ(first.ReceiveFrame(), CallWithin(500));
    EXPECT_EQ(first.ReceiveAll(), "");
    RawSocket second = port.Greeted();
    EXPECT_EQ(second.ReceiveFrame(), CallWithin(500));
    second.Send(FrameHeader(3) + "a");
    EXPECT_EQ(second.ReceiveAll(), "");
    RawSocket third = port.Greeted();
    EXPECT_EQ(third.ReceiveFrame(), CallWithin(kHour));
    third.Answer("third");
    EXPECT_EQ(third.ReceiveFrame(), "4");
    third.Answer("fourth");
  });
  auto channel = ChannelTo(server.Number());
  const std::string over = OverWhile("an answer was awaited from " + server.Name());
  EXPECT_EQ(Exchange(*channel, CallWithin(500)), over);
  EXPECT_EQ(Exchange(*channel, CallWithin(500)), over);
  EXPECT_EQ(Exchange(*channel, CallWithin(kHour)), "third");
  EXPECT_EQ(Exchange(*channel, "4"), "fourth");
}

TEST(TcpDeadline, IsTheEndpointsUnlessTheCommandHasOne) {
  FakeServer server([](const Port& port) {
    for (const std::uint32_t most : {kHour, 2 * kHour, kNoTimeLimit}) {
      RawSocket client = port.Greeted();
      const std::uint32_t left = MillisecondsIn(client.Receive(16));
      EXPECT_LE(left, most);
      EXPECT_GT(left, most / 2);
      client.Receive(CallWithin(0).size());
      client.Send(Frame("fine"));
    }
    RawSocket last = port.Greeted();
    EXPECT_EQ(last.ReceiveFrame(), "last");
    EXPECT_EQ(last.ReceiveAll(), "");
  });
  auto channel = ChannelTo(server.Number());
  const std::string size = std::string(CallWithin(0).size(), 'x');
  Configure(server.Name(), R"("poolSize": 0, "callTimeoutMs": 3600000)");
  EXPECT_EQ(Exchange(*channel, size), "fine");
  EXPECT_EQ(Exchange(*channel, CallWithin(2 * kHour)), "fine");
  EXPECT_EQ(Exchange(*channel, CallWithin(kNoTimeLimit)), "fine");
  const Variable limit("FERROLINK_CALL_TIMEOUT_MS", "500");
  EXPECT_EQ(Exchange(*channel, "last"), OverWhile("an answer was awaited from " + server.Name()));
}

}  // namespace Ferrolink::Tests
