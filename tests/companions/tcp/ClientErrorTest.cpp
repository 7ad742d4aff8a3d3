// What the client library says of commands that fail, and whether they may have been executed.
#include <latch>

#include "tests/companions/tcp/ClientSupport.h"

namespace FerrolinkTest {

TEST(TcpClientError, FailsACommandWhoseConnectionEndsAndNeverSendsItAgain) {
  const std::string answer = frame("abc");
  FakeServer server([&](const Port& port) {
    for (std::size_t sent = 0; sent < answer.size(); ++sent) {
      RawSocket client = port.greeted();
      EXPECT_EQ(client.receiveFrame(), "once " + std::to_string(sent));
      client.send(answer.substr(0, sent));
    }
    RawSocket client = port.greeted();
    EXPECT_EQ(client.receiveFrame(), "last");
    client.reset();
  });
  auto channel = channelTo(server.number());
  for (std::size_t sent = 0; sent < answer.size(); ++sent) {
    EXPECT_EQ(exchange(*channel, "once " + std::to_string(sent)),
              broken(server, "an answer was awaited", "it was closed by the other side"));
  }
  EXPECT_EQ(exchange(*channel, "last"),
            broken(server, "an answer was awaited", "Connection reset by peer"));
}

TEST(TcpClientError, FailsACommandThatTheServerDoesNotTakeToItsEnd) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.greeted();
    client.receive(100);
    client.reset();
  });
  auto channel = channelTo(server.number());
  const std::string failure = exchange(*channel, std::string(64U << 20U, 'x'));
  EXPECT_THAT(failure,
              testing::AnyOf(broken(server, "a command was sent", "Connection reset by peer"),
                             broken(server, "a command was sent", "Broken pipe")));
}

TEST(TcpClientError, ThrowsTheServersErrorTextsUnchanged) {
  FakeServer server([](const Port& port) {
    RawSocket first = port.greeted();
    first.receiveFrame();
    first.answer("A: 1.\nB \xC3\xA4", 1);
    first.receiveFrame();
    first.answer("fine");
    first.receiveFrame();
    first.answer("the end", 2);
    EXPECT_EQ(first.receiveAll(), "");
    RawSocket second = port.greeted();
    second.receiveFrame();
    second.answer("odd", 6);
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"), "error: A: 1.\nB \xC3\xA4");
  EXPECT_EQ(exchange(*channel, "2"), "fine");
  EXPECT_EQ(exchange(*channel, "3"), "error: the end");
  EXPECT_EQ(exchange(*channel, "4"), broken(server, "an answer was awaited", "Bad message"));
}

TEST(TcpClientError, RefusesFramesBeyondItsLimit) {
  const Variable limit("FERROLINK_MAX_FRAME_BYTES", "1024");
  FakeServer server([](const Port& port) {
    RawSocket first = port.greeted();
    EXPECT_EQ(first.receiveFrame(), std::string(1024, 'c'));
    first.answer(std::string(1024, 'a'));
    first.receiveFrame();
    first.send(frameHeader(0x7FFFFFFF, 2));
    EXPECT_EQ(first.receiveAll(), "");
    RawSocket second = port.greeted();
    second.receiveFrame();
    second.send(frameHeader(0xFFFFFFFF));
  });
  auto channel = channelTo(server.number());
  const auto tooLong = [&](int code, const std::string& what, const std::string& fate) {
    return clientError(code, "The " + what + ", more than the limit of 1024. The command was " +
                                 fate + ". FERROLINK_MAX_FRAME_BYTES sets the limit.");
  };
  const std::string answer = "answer of " + server.name();
  EXPECT_EQ(exchange(*channel, std::string(1025, 'c')),
            tooLong(5, "command for " + server.name() + " has 1025 bytes", "not sent"));
  EXPECT_EQ(exchange(*channel, std::string(1024, 'c')), std::string(1024, 'a'));
  EXPECT_EQ(exchange(*channel, "2"), tooLong(11, answer + " has 2147483647 bytes", "executed"));
  EXPECT_EQ(exchange(*channel, "3"), tooLong(11, answer + " has 4294967295 bytes", "executed"));
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
      RawSocket client = port.accept();
      EXPECT_EQ(client.receive(kHello.size()), kHello);
      client.send(greeting);
      client.endWriting();
      client.receiveAll();
    }
    port.accept().close();
  });
  auto channel = channelTo(server.number());
  const std::string tls = noPeer(server, "speaks TLS", "Use a target with TLS.");
  EXPECT_EQ(exchange(*channel, "1"), noPeer(server, "is no Ferrolink server", kCorrect));
  EXPECT_EQ(exchange(*channel, "2"), noPeer(server, "is no Ferrolink server", kCorrect));
  EXPECT_EQ(exchange(*channel, "3"),
            noPeer(server, "speaks version 3 of the protocol, this side version 2",
                   "Install the same version on both sides."));
  EXPECT_EQ(exchange(*channel, "4"), noPeer(server, "greets like a client", kCorrect));
  EXPECT_EQ(exchange(*channel, "5"), tls);
  EXPECT_EQ(exchange(*channel, "6"), tls);
  EXPECT_THAT(exchange(*channel, "7"),
              testing::AnyOf(notConnected(server, "it was closed without a greeting"),
                             notConnected(server, "Connection reset by peer")));
}

TEST(TcpClientError, TellsWrongSettings) {
  const Port port;
  const auto refusal = [&](const std::string& variable, const std::string& text,
                           const std::string& wanted) {
    const Variable set(variable, text);
    EXPECT_EQ(exchange(*channelTo(port.number()), "1"),
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
      RawSocket client = port.greeted();
      client.receiveFrame();
      client.answer("first");
      client.receiveFrame();
      client.send(frame("of another", number));
      EXPECT_EQ(client.receiveAll(), "");
    }
  });
  for (int i = 0; i < 4; ++i) {
    auto channel = channelTo(server.number());
    EXPECT_EQ(exchange(*channel, "1"), "first");
    EXPECT_EQ(exchange(*channel, "2"), broken(server, "an answer was awaited", "Bad message"));
  }
}

TEST(TcpClientError, SaysWhatTheServerSaysOfACommandThatItHasNotBegun) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.greeted();
    client.receiveFrame();
    client.answer("not you", 3);
    client.receiveFrame();
    client.answer("", 3);
    client.receiveFrame();
    client.answer("too late", 5);
    EXPECT_EQ(client.receiveFrame(), "4");
    client.answer("fine");
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"), notBegun(server.name(), "not you"));
  EXPECT_EQ(exchange(*channel, "2"), notBegun(server.name(), "it gives no reason."));
  EXPECT_EQ(exchange(*channel, "3"),
            clientError(9, "The time of the command was over before " + server.name() +
                               " began it. The command was not executed."));
  EXPECT_EQ(exchange(*channel, "4"), "fine");
}

TEST(TcpClientError, TriesANewConnectionWhereAKeptOneIsRefusedForGood) {
  FakeServer server([](const Port& port) {
    RawSocket first = port.greeted();
    first.receiveFrame();
    first.answer("first");
    EXPECT_EQ(first.receiveFrame(), "2");
    first.answer("going away", 4);
    RawSocket second = port.greeted();
    EXPECT_EQ(second.receiveFrame(), "2");
    second.answer("second");
    EXPECT_EQ(second.receiveFrame(), "3");
    second.answer("going away", 4);
    RawSocket third = port.greeted();
    EXPECT_EQ(third.receiveFrame(), "3");
    third.answer("busy", 4);
    EXPECT_EQ(third.receiveAll(), "");
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"), "first");
  EXPECT_EQ(exchange(*channel, "2"), "second");
  EXPECT_EQ(exchange(*channel, "3"), notBegun(server.name(), "busy"));
}

TEST(TcpClientError, ReadsTheRefusalOfACommandThatTheServerDoesNotTakeToItsEnd) {
  FakeServer server([](const Port& port) {
    for (int i = 0; i < 20; ++i) {
      RawSocket client = port.greeted();
      EXPECT_EQ(client.receive(16).size(), 16U);
      client.send(frame("the command is too long", 1, 4)).awaitDelivery();
      // Closed with bytes that nobody has read: a reset follows the refusal.
      client.close();
    }
  });
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(exchange(*channelTo(server.number()), std::string(32U << 20U, 'x')),
              notBegun(server.name(), "the command is too long"));
  }
}

TEST(TcpClientError, MakesATextOfWhateverTheServerSays) {
  const std::string controls("\0\x1b[31m\x7f", 7);
  FakeServer server([&](const Port& port) {
    RawSocket client = port.greeted();
    for (const std::string& text :
         {std::string(), controls, std::string("a\xff\xc3(\xed\xa0\x80\xf0\x9f\x98\x80\t\r\n"),
          std::string(1U << 20U, 'x')}) {
      client.receiveFrame();
      client.answer(text, 1);
    }
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, "1"),
            "error: " + server.name() +
                " has failed and gives no reason. The command may have been executed.");
  EXPECT_EQ(exchange(*channel, "2"), "error: \\x00\\x1B[31m\\x7F");
  EXPECT_EQ(exchange(*channel, "3"), "error: a\\xFF\\xC3(\\xED\\xA0\\x80\xf0\x9f\x98\x80\t\r\n");
  EXPECT_EQ(exchange(*channel, "4"), "error: " + std::string(64U << 10U, 'x') + "...");
}

TEST(TcpClientError, BelievesNoAnswerThatIsTooLongForAnotherCommand) {
  const Variable limit("FERROLINK_MAX_FRAME_BYTES", "1024");
  FakeServer server([](const Port& port) {
    RawSocket other = port.greeted();
    other.receiveFrame();
    other.send(frameHeader(1025, 2));
    RawSocket refused = port.greeted();
    refused.receiveFrame();
    refused.send(frameHeader(1025, 1, 3));
  });
  auto channel = channelTo(server.number());
  const std::string expected = broken(server, "an answer was awaited", "Bad message");
  EXPECT_EQ(exchange(*channel, "1"), expected);
  EXPECT_EQ(exchange(*channel, "2"), expected);
}

}  // namespace FerrolinkTest
