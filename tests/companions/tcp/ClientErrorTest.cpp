// The client library's errors for failed commands, and whether these may have been executed.
#include <latch>

#include "tests/companions/tcp/ClientSupport.h"

namespace Ferrolink::Tests {

TEST(TcpClientError, FailsACommandWhoseConnectionEndsAndNeverSendsItAgain) {
  const std::string answer = Frame("abc");
  FakeServer server([&](const Port& port) {
    for (std::size_t sent = 0; sent < answer.size(); ++sent) {
      RawSocket client = port.Greeted();
      EXPECT_EQ(client.ReceiveFrame(), "once " + std::to_string(sent));
      client.Send(answer.substr(0, sent));
    }
    RawSocket client = port.Greeted();
    EXPECT_EQ(client.ReceiveFrame(), "last");
    client.Reset();
  });
  auto channel = ChannelTo(server.Number());
  for (std::size_t sent = 0; sent < answer.size(); ++sent) {
    EXPECT_EQ(Exchange(*channel, "once " + std::to_string(sent)),
              Broken(server, "an answer was awaited", "it was closed by the other side"));
  }
  EXPECT_EQ(Exchange(*channel, "last"),
            Broken(server, "an answer was awaited", "Connection reset by peer"));
}

TEST(TcpClientError, FailsACommandThatTheServerDoesNotTakeToItsEnd) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.Greeted();
    client.Receive(100);
    client.Reset();
  });
  auto channel = ChannelTo(server.Number());
  const std::string failure = Exchange(*channel, std::string(64U << 20U, 'x'));
  EXPECT_THAT(failure,
              testing::AnyOf(Broken(server, "a command was sent", "Connection reset by peer"),
                             Broken(server, "a command was sent", "Broken pipe")));
}

TEST(TcpClientError, ThrowsTheServersErrorTextsUnchanged) {
  FakeServer server([](const Port& port) {
    RawSocket first = port.Greeted();
    first.ReceiveFrame();
    first.Answer("A: 1.\nB \xC3\xA4", 1);
    first.ReceiveFrame();
    first.Answer("fine");
    first.ReceiveFrame();
    first.Answer("the end", 2);
    EXPECT_EQ(first.ReceiveAll(), "");
    RawSocket second = port.Greeted();
    second.ReceiveFrame();
    second.Answer("odd", 6);
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"), "error: A: 1.\nB \xC3\xA4");
  EXPECT_EQ(Exchange(*channel, "2"), "fine");
  EXPECT_EQ(Exchange(*channel, "3"), "error: the end");
  EXPECT_EQ(Exchange(*channel, "4"), Broken(server, "an answer was awaited", "Bad message"));
}

TEST(TcpClientError, RefusesFramesBeyondItsLimit) {
  const Variable limit("FERROLINK_MAX_FRAME_BYTES", "1024");
  FakeServer server([](const Port& port) {
    RawSocket first = port.Greeted();
    EXPECT_EQ(first.ReceiveFrame(), std::string(1024, 'c'));
    first.Answer(std::string(1024, 'a'));
    first.ReceiveFrame();
    first.Send(FrameHeader(0x7FFFFFFF, 2));
    EXPECT_EQ(first.ReceiveAll(), "");
    RawSocket second = port.Greeted();
    second.ReceiveFrame();
    second.Send(FrameHeader(0xFFFFFFFF));
  });
  auto channel = ChannelTo(server.Number());
  const auto tooLong = [&](int code, const std::string& what, const std::string& fate) {
    return ClientError(code, "The " + what + ", more than the limit of 1024. The command was " +
                                 fate + ". FERROLINK_MAX_FRAME_BYTES sets the limit.");
  };
  const std::string answer = "answer of " + server.Name();
  EXPECT_EQ(Exchange(*channel, std::string(1025, 'c')),
            tooLong(5, "command for " + server.Name() + " has 1025 bytes", "not sent"));
  EXPECT_EQ(Exchange(*channel, std::string(1024, 'c')), std::string(1024, 'a'));
  EXPECT_EQ(Exchange(*channel, "2"), tooLong(11, answer + " has 2147483647 bytes", "executed"));
  EXPECT_EQ(Exchange(*channel, "3"), tooLong(11, answer + " has 4294967295 bytes", "executed"));
}

TEST(TcpClientError, TakesNobodyElseForAServer) {
  const std::vector<std::string> greetings = {
      "HTTP/1.1 400 Bad Request\r\n",
      "FRL",
      std::string("FRLK\x03\x01\0\0", 8),
      std::string(kHello),
      std::string(kSpeaksTls),
      std::string("\x15\x03\x01\0\x02\x02\x46", 7),
  };
  FakeServer server([&](const Port& port) {
    for (const std::string& greeting : greetings) {
      RawSocket client = port.Accept();
      EXPECT_EQ(client.Receive(kHello.size()), kHello);
      client.Send(greeting);
      client.EndWriting();
      client.ReceiveAll();
    }
    port.Accept().Close();
  });
  auto channel = ChannelTo(server.Number());
  const std::string tls = NoPeer(server, "speaks TLS", "Use a target with TLS.");
  EXPECT_EQ(Exchange(*channel, "1"), NoPeer(server, "is no Ferrolink server", kCorrect));
  EXPECT_EQ(Exchange(*channel, "2"), NoPeer(server, "is no Ferrolink server", kCorrect));
  EXPECT_EQ(Exchange(*channel, "3"),
            NoPeer(server, "speaks version 3 of the protocol, this side version 2",
                   "Install the same version on both sides."));
  EXPECT_EQ(Exchange(*channel, "4"), NoPeer(server, "greets like a client", kCorrect));
  EXPECT_EQ(Exchange(*channel, "5"), tls);
  EXPECT_EQ(Exchange(*channel, "6"), tls);
  EXPECT_THAT(Exchange(*channel, "7"),
              testing::AnyOf(NotConnected(server, "it was closed without a greeting"),
                             NotConnected(server, "Connection reset by peer")));
}

TEST(TcpClientError, TellsWrongSettings) {
  const Port port;
  const auto refusal = [&](const std::string& variable, const std::string& text,
                           const std::string& wanted) {
    const Variable set(variable, text);
    EXPECT_EQ(Exchange(*ChannelTo(port.Number()), "1"),
              "error: Network Client: Exception code 006.\nThe environment variable " + variable +
                  " is '" + text + "', it must be a number from " + wanted +
                  ". The command was not sent.");
  };
  for (const char* text : {"0", "3600001", "1s", "-1", " 1", "x"}) {
    refusal("FERROLINK_CONNECT_TIMEOUT_MS", text, "1 to 3600000");
  }
  for (const char* text : {"1023", "2147483648", "99999999999"}) {
    refusal("FERROLINK_MAX_FRAME_BYTES", text, "1024 to 2147483647");
  }
  refusal("FERROLINK_CALL_TIMEOUT_MS", "0", "1 to 4294967294");
  refusal("FERROLINK_UNACKNOWLEDGED_TIMEOUT_MS", "3600001", "1 to 3600000");
  refusal("FERROLINK_POOL_SIZE", "4097", "0 to 4096");
}

TEST(TcpClientError, TakesNoAnswerThatHasAnotherNumberThanItsCommand) {
  FakeServer server([](const Port& port) {
    for (const std::uint32_t number : {0U, 1U, 3U, 0xFFFFFFFFU}) {
      RawSocket client = port.Greeted();
      client.ReceiveFrame();
      client.Answer("first");
      client.ReceiveFrame();
      client.Send(Frame("of another", number));
      EXPECT_EQ(client.ReceiveAll(), "");
    }
  });
  for (int i = 0; i < 4; ++i) {
    auto channel = ChannelTo(server.Number());
    EXPECT_EQ(Exchange(*channel, "1"), "first");
    EXPECT_EQ(Exchange(*channel, "2"), Broken(server, "an answer was awaited", "Bad message"));
  }
}

TEST(TcpClientError, SaysWhatTheServerSaysOfACommandThatItHasNotBegun) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.Greeted();
    client.ReceiveFrame();
    client.Answer("not you", 3);
    client.ReceiveFrame();
    client.Answer("", 3);
    client.ReceiveFrame();
    client.Answer("too late", 5);
    EXPECT_EQ(client.ReceiveFrame(), "4");
    client.Answer("fine");
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"), NotBegun(server.Name(), "not you"));
  EXPECT_EQ(Exchange(*channel, "2"), NotBegun(server.Name(), "it gives no reason."));
  EXPECT_EQ(Exchange(*channel, "3"),
            ClientError(9, "The time of the command was over before " + server.Name() +
                               " began it. The command was not executed."));
  EXPECT_EQ(Exchange(*channel, "4"), "fine");
}

TEST(TcpClientError, TriesANewConnectionWhereAKeptOneIsRefusedForGood) {
  FakeServer server([](const Port& port) {
    RawSocket first = port.Greeted();
    first.ReceiveFrame();
    first.Answer("first");
    EXPECT_EQ(first.ReceiveFrame(), "2");
    first.Answer("going away", 4);
    RawSocket second = port.Greeted();
    EXPECT_EQ(second.ReceiveFrame(), "2");
    second.Answer("second");
    EXPECT_EQ(second.ReceiveFrame(), "3");
    second.Answer("going away", 4);
    RawSocket third = port.Greeted();
    EXPECT_EQ(third.ReceiveFrame(), "3");
    third.Answer("busy", 4);
    EXPECT_EQ(third.ReceiveAll(), "");
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"), "first");
  EXPECT_EQ(Exchange(*channel, "2"), "second");
  EXPECT_EQ(Exchange(*channel, "3"), NotBegun(server.Name(), "busy"));
}

TEST(TcpClientError, ReadsTheRefusalOfACommandThatTheServerDoesNotTakeToItsEnd) {
  FakeServer server([](const Port& port) {
    for (int i = 0; i < 20; ++i) {
      RawSocket client = port.Greeted();
      EXPECT_EQ(client.Receive(16).size(), 16U);
      client.Send(Frame("the command is too long", 1, 4)).AwaitDelivery();
      // Closing with unread bytes: a reset follows the refusal.
      client.Close();
    }
  });
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(Exchange(*ChannelTo(server.Number()), std::string(32U << 20U, 'x')),
              NotBegun(server.Name(), "the command is too long"));
  }
}

TEST(TcpClientError, MakesATextOfWhateverTheServerSays) {
  const std::string controls("\0\x1b[31m\x7f", 7);
  FakeServer server([&](const Port& port) {
    RawSocket client = port.Greeted();
    for (const std::string& text :
         {std::string(), controls, std::string("a\xff\xc3(\xed\xa0\x80\xf0\x9f\x98\x80\t\r\n"),
          std::string(1U << 20U, 'x')}) {
      client.ReceiveFrame();
      client.Answer(text, 1);
    }
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, "1"),
            "error: " + server.Name() +
                " has failed and gives no reason. The command may have been executed.");
  EXPECT_EQ(Exchange(*channel, "2"), "error: \\x00\\x1B[31m\\x7F");
  EXPECT_EQ(Exchange(*channel, "3"), "error: a\\xFF\\xC3(\\xED\\xA0\\x80\xf0\x9f\x98\x80\t\r\n");
  EXPECT_EQ(Exchange(*channel, "4"), "error: " + std::string(64U << 10U, 'x') + "...");
}

TEST(TcpClientError, BelievesNoAnswerThatIsTooLongForAnotherCommand) {
  const Variable limit("FERROLINK_MAX_FRAME_BYTES", "1024");
  FakeServer server([](const Port& port) {
    RawSocket other = port.Greeted();
    other.ReceiveFrame();
    other.Send(FrameHeader(1025, 2));
    RawSocket refused = port.Greeted();
    refused.ReceiveFrame();
    refused.Send(FrameHeader(1025, 1, 3));
  });
  auto channel = ChannelTo(server.Number());
  const std::string expected = Broken(server, "an answer was awaited", "Bad message");
  EXPECT_EQ(Exchange(*channel, "1"), expected);
  EXPECT_EQ(Exchange(*channel, "2"), expected);
}

}  // namespace Ferrolink::Tests
