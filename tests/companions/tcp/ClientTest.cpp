// The client library against servers that answer as a script says.
#include <fcntl.h>
#include <pthread.h>

#include <csignal>
#include <filesystem>
#include <latch>
#include <set>
#include <stdexcept>

#include "tests/companions/tcp/Support.h"

namespace FerrolinkTest {
namespace {

std::string broken(const Port& port, const std::string& when, const std::string& reason) {
  return "error: Network Client: Exception code 002.\nThe connection to " + port.name() +
         " broke while " + when + ": " + reason +
         ". The command may have been executed and is not sent again. See what the server says, "
         "then decide whether to repeat it.";
}

std::string notConnected(const Port& port, const std::string& reason) {
  return "error: Network Client: Exception code 001.\nCannot connect to " + port.name() + ": " +
         reason +
         ". The command was not sent. See that ferrolink-server runs there and has room for "
         "another connection.";
}

std::string noPeer(const Port& port, const std::string& what, const std::string& advice) {
  return "error: Network Client: Exception code 003.\n" + port.name() + " " + what +
         ". The command was not sent. " + advice;
}

std::set<int> openSockets() {
  std::set<int> sockets;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    if (std::filesystem::read_symlink(entry).string().starts_with("socket:")) {
      sockets.insert(std::stoi(entry.path().filename()));
    }
  }
  return sockets;
}

constexpr const char* kCorrect = "Correct address and port.";

}  // namespace

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

TEST(TcpClient, TakesNoAnswerThatHasAnotherNumberThanItsCommand) {
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

TEST(TcpClient, FailsACommandWhoseConnectionEndsAndNeverSendsItAgain) {
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

TEST(TcpClient, FailsACommandThatTheServerDoesNotTakeToItsEnd) {
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

TEST(TcpClient, ThrowsTheServersErrorTextsUnchanged) {
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

TEST(TcpClient, RefusesFramesBeyondItsLimit) {
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
  const std::string beginning = "error: Network Client: Exception code 005.\nThe ";
  const std::string end = ", more than the limit of 1024. The command was ";
  const std::string advice = " FERROLINK_MAX_FRAME_BYTES sets the limit.";
  EXPECT_EQ(
      exchange(*channel, std::string(1025, 'c')),
      beginning + "command for " + server.name() + " has 1025 bytes" + end + "not sent." + advice);
  EXPECT_EQ(exchange(*channel, std::string(1024, 'c')), std::string(1024, 'a'));
  EXPECT_EQ(exchange(*channel, "2"), beginning + "answer of " + server.name() +
                                         " has 2147483647 bytes" + end + "executed." + advice);
  EXPECT_EQ(exchange(*channel, "3"), beginning + "answer of " + server.name() +
                                         " has 4294967295 bytes" + end + "executed." + advice);
}

TEST(TcpClient, TakesNobodyElseForAServer) {
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

TEST(TcpClient, TellsWrongSettings) {
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
