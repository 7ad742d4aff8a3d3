// The clients' view of the server: first with raw sockets, then through the client library.
#include <csignal>
#include <optional>
#include <thread>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/companions/tcp/WaitingCall.h"
#include "tests/support/InstallationTree.h"

namespace Ferrolink::Tests {
namespace {

using testing::HasSubstr;

constexpr const char* kNoLoading =
    "This server loads no libraries for its clients. Start it with --plug-in FILE, or with "
    "--allow-load-library.";

// The server with a member that raises a chosen exception.
class RaisingServer {
 public:
  RaisingServer() {
    m_tree.AddLibrary(RAISINGMEMBER_PATH, "libFerrolinkCppRuntimeNative.so");
    m_server.emplace(ServerProcess::Arguments{"--runtime", "cpp"}, m_tree.Root());
  }
  ServerProcess& operator*() { return *m_server; }

 private:
  InstallationTree m_tree;
  std::optional<ServerProcess> m_server;
};

}  // namespace

TEST(TcpServer, SaysWhereItListensAndAnswersWithExactBytes) {
  const ServerProcess server;
  EXPECT_EQ(server.Listening(),
            "ferrolink-server: cpp listens on " + server.Name() + " (plain TCP)\n");
  RawSocket client = server.GreetedClient();
  client.Command(CallOf("echo", "abc"));
  EXPECT_EQ(
      client.Receive(30),
      std::string("\0\0\0\x0e\0\0\0\1\xff\xff\xff\xff\0\0\0\0\2\0\0\0\0\0\0\0\0\x08\0abc", 30));
  EXPECT_EQ(client.Ask(Command(11, "12")), AnswerOf("12"));
}

TEST(TcpServer, ReadsWhatComesByteByByteAndAnswersAfterAHalfClose) {
  const ServerProcess server;
  RawSocket client = RawSocket::Connect(server.Port());
  client.SendByteByByte(std::string(kHello) + Frame(CallOf("echo", "1")) +
                        Frame(CallOf("echo"), 2));
  client.EndWriting();
  EXPECT_EQ(client.ReceiveAll(),
            std::string(kWelcome) + Frame(AnswerOf("1")) + Frame(AnswerOf(""), 2));
}

TEST(TcpServer, ExecutesNothingOfACommandThatIsCutOff) {
  const ServerProcess server;
  const std::string whole = Frame(CallOf("end-process"));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    RawSocket client = server.GreetedClient();
    client.Send(whole.substr(0, size)).EndWriting();
    EXPECT_EQ(client.ReceiveAll(), "");
  }
  RawSocket client = server.GreetedClient();
  client.Send(whole.substr(0, 20)).Reset();
  RawSocket other = server.GreetedClient();
  EXPECT_EQ(other.Ask(CallOf("echo", "alive")), AnswerOf("alive"));
}

TEST(TcpServer, ClosesOnWhoDoesNotGreetLikeAClient) {
  ServerProcess server({"--greeting-timeout-ms", "200"});
  const auto answerTo = [&](std::string_view bytes) {
    RawSocket client = RawSocket::Connect(server.Port());
    client.Send(bytes);
    return client.ReceiveAll();
  };
  EXPECT_THAT(answerTo("GET / HTTP/1.1\r\n"), testing::AnyOf("", "(reset)"));
  EXPECT_EQ(answerTo(std::string("FRLK\x03\0\0\0", 8)), kWelcome);
  EXPECT_EQ(answerTo(kWelcome), kWelcome);
  EXPECT_EQ(answerTo(std::string("\x16\x03\x01\0\x05hello", 10)),
            std::string("\x15\x03\x01\0\x02\x02\x46", 7));
  // The server waits for these.
  EXPECT_EQ(answerTo("FRL"), "");
  EXPECT_EQ(answerTo(""), "");
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait(), 0);
  for (const char* line : {"no Ferrolink client", "another version of the protocol",
                           "a client with TLS, this server has no --tls-certificate",
                           "no greeting within 200 ms (--greeting-timeout-ms)"}) {
    EXPECT_THAT(server.Errors(), HasSubstr("\" reason=\"" + std::string(line) + "\"\n"));
  }
}

TEST(TcpServer, RefusesFramesBeyondItsLimitAndFramesThatAreNoCommands) {
  const ServerProcess server({"--max-frame-bytes", "1024"});
  RawSocket client = server.GreetedClient();
  EXPECT_EQ(client.Ask(CallOf("bytes", "1014")),
            "The response has 1025 bytes, more than the limit of 1024 (--max-frame-bytes). The "
            "command was executed.");
  EXPECT_EQ(client.Ask(CallOf("bytes", "1013")), AnswerOf(std::string(1013, 'b')));
  client.Send(FrameHeader(1025, 3)).Send(std::string(1025, 'x')).EndWriting();
  EXPECT_EQ(
      client.ReceiveAll(),
      Frame("The command has 1025 bytes, more than the limit of 1024 (--max-frame-bytes).", 3, 4));
  RawSocket greedy = server.GreetedClient();
  greedy.Send(FrameHeader(0xFFFFFFFF));
  EXPECT_EQ(greedy.ReceiveFrame(),
            "The command has 4294967295 bytes, more than the limit of 1024 (--max-frame-bytes).");
  RawSocket odd = server.GreetedClient();
  odd.Send(Frame(CallOf("end-process"), 1, 1));
  EXPECT_EQ(odd.ReceiveAll(), Frame("The frame is no command.", 1, 4));
}

TEST(TcpServer, EndsAConnectionWhoseFramesHaveOtherNumbersThanTheNextCommand) {
  const ServerProcess server;
  for (const std::uint32_t number : {0U, 1U, 3U, 0xFFFFFFFFU}) {
    RawSocket client = server.GreetedClient();
    EXPECT_EQ(client.Ask(CallOf("echo", "1")), AnswerOf("1"));
    client.Send(Frame(CallOf("end-process"), number));
    EXPECT_EQ(client.ReceiveAll(),
              Frame("The frame has another number than the next command.", 2, 4));
  }
}

TEST(TcpServer, RefusesCommandsThatAreNotForItsRuntime) {
  const ServerProcess server;
  RawSocket client = server.GreetedClient();
  const std::string tooShort =
      Frame("The command has 10 bytes, less than the header of 11 bytes.", 1, 3);
  client.Command(std::string(10, '\0'));
  EXPECT_EQ(client.Receive(tooShort.size()), tooShort);
  EXPECT_EQ(client.Ask(CallOf("echo", "", 2)),
            "The command is for runtime 2; this server runs cpp, runtime 8.");
  EXPECT_EQ(client.Ask(CallOf("echo", "still")), AnswerOf("still"));
}

TEST(TcpServer, LoadsLibrariesForItsClientsOnlyWhereItIsToldTo) {
  const std::string load = Command(1, std::string(13, '\1') + TCPHANDLERS_PATH);
  const ServerProcess strict({"--runtime", "cpp"});
  RawSocket client = strict.GreetedClient();
  EXPECT_EQ(client.Ask(load), kNoLoading);
  EXPECT_EQ(client.Ask(CallOf("load-archives", "x")), kNoLoading);
  const std::string time("\0\0\xFF\0", 4);
  EXPECT_EQ(client.Ask(Command(3, time + "\x0Dload-archivesx")), kNoLoading);
  EXPECT_THAT(client.Ask(CallOf("load-archive", "x")), HasSubstr("Unknown handler"));
  EXPECT_THAT(client.Ask(Command(3, time)), HasSubstr("Malformed command"));
  EXPECT_THAT(client.Ask(CallOf("echo", "x")), HasSubstr("Unknown handler"));
  const ServerProcess generous({"--runtime", "cpp", "--allow-load-library"});
  RawSocket other = generous.GreetedClient();
  other.Ask(load);
  EXPECT_EQ(other.Ask(CallOf("echo", "x")), AnswerOf("x"));
  EXPECT_EQ(other.Ask(Command(3, time + "\4echox")), AnswerOf("x"));
  EXPECT_THAT(
      generous.Errors(),
      HasSubstr("ferrolink-server: --allow-load-library allows clients to run code from any "
                "file of this machine\n"));
  EXPECT_THAT(strict.Errors(), testing::Not(HasSubstr("run code from")));
}

TEST(TcpServer, PassesTheMembersExceptionsOnAsTheirTexts) {
  RaisingServer server;
  RawSocket client = (*server).GreetedClient();
  EXPECT_EQ(client.Ask(Command(2, "initialized")), "8 8 0");
  client.Command(Command(2, "first\nsecond \xC3\xA4"));
  EXPECT_EQ(client.Receive(16 + 15), Frame("first\nsecond \xC3\xA4", 2, 1));
  EXPECT_EQ(client.Ask(Command(2, "negative")),
            "The runtime answered with the length -7, which is no response.");
  EXPECT_EQ(client.Ask(Command(2, "odd")),
            "The runtime raised something that is no standard exception.");
  client.Command(Command(2, "nothing"));
  EXPECT_EQ(client.Receive(16), Frame("", 5));
  auto channel = ChannelTo((*server).Port());
  EXPECT_EQ(Exchange(*channel, Command(2, "first\nsecond")), "error: first\nsecond");
}

TEST(TcpServer, AnswersTheCommandThatRunsBeforeItEnds) {
  const WaitingCall waiting;
  ServerProcess server;
  RawSocket idle = server.GreetedClient();
  RawSocket begun = server.GreetedClient();
  begun.Send(Frame(CallOf("end-process")).substr(0, 20));
  RawSocket busy = server.GreetedClient();
  busy.Send(Frame(waiting.Command()) + Frame(CallOf("end-process"), 2));
  waiting.AwaitRunning();
  server.Signal(SIGTERM);
  EXPECT_EQ(idle.ReceiveAll(), Frame(kGoingAway, 1, 4));
  EXPECT_EQ(begun.ReceiveAll(), Frame(kGoingAway, 1, 4));
  idle.Close();
  begun.Close();
  waiting.Release("answered");
  EXPECT_EQ(busy.ReceiveFrame(), AnswerOf("answered"));
  EXPECT_EQ(busy.ReceiveAll(), Frame(kGoingAway, 2, 4));
  busy.Close();
  EXPECT_EQ(server.Wait(), 0);
  EXPECT_EQ(server.Output(), "ferrolink-server: ended\n");
}

TEST(TcpServer, EndsAtOnceWithASecondSignal) {
  const WaitingCall waiting;
  ServerProcess server;
  RawSocket idle = server.GreetedClient();
  RawSocket busy = server.GreetedClient();
  busy.Command(waiting.Command());
  waiting.AwaitRunning();
  server.Signal(SIGINT);
  EXPECT_EQ(idle.ReceiveAll(), Frame(kGoingAway, 1, 4));
  server.Signal(SIGINT);
  EXPECT_EQ(server.Wait(), -SIGINT);
}

TEST(TcpServer, GoesOnWhereAHandlerEndsItsThread) {
  const ServerProcess server({"--max-connections", "1"});
  for (int i = 0; i < 3; ++i) {
    RawSocket client = server.GreetedClient();
    client.Command(CallOf("end-thread"));
    EXPECT_EQ(client.ReceiveAll(), "");
  }
}

TEST(TcpServer, ThatDiesFailsTheCommandAndIsFoundAgainByTheNext) {
  ServerProcess server;
  auto channel = ChannelTo(server.Port());
  EXPECT_EQ(Exchange(*channel, CallOf("echo", "1")), AnswerOf("1"));
  EXPECT_THAT(Exchange(*channel, CallOf("end-process")),
              HasSubstr("broke while an answer was awaited: it was closed by the other side. The "
                        "command may have been executed"));
  EXPECT_EQ(server.Wait(), 9);
  EXPECT_THAT(Exchange(*channel, CallOf("echo", "2")), HasSubstr("Connection refused"));
  const ServerProcess next({"--listen", server.Name()});
  EXPECT_EQ(Exchange(*channel, CallOf("echo", "3")), AnswerOf("3"));
}

TEST(TcpServer, ServesEightThreadsThatShareAChannel) {
  const ServerProcess server;
  auto channel = ChannelTo(server.Port());
  const std::string refusal =
      "error: Network Client: Exception code 008.\n" + server.Name() +
      " has not begun the command, which was not executed: The command is for runtime 2; this "
      "server runs cpp, runtime 8.";
  std::vector<std::thread> threads;
  std::vector<int> own(8);
  for (std::size_t number = 0; number < own.size(); ++number) {
    threads.emplace_back([&, number] {
      for (unsigned i = 0; i < 2000; ++i) {
        const std::string text =
            std::to_string(number) + " " + std::string(i % 700, '.') + std::to_string(i);
        if (i % 50 == 0) {
          own[number] += Exchange(*channel, CallOf("echo", text, 2)) == refusal;
        } else {
          own[number] += Exchange(*channel, CallOf("echo", text)) == AnswerOf(text);
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(own, testing::Each(2000));
}

TEST(TcpServer, CarriesCommandsAndResponsesOfManyMegabytes) {
  const ServerProcess server;
  auto channel = ChannelTo(server.Port());
  std::string large(40U << 20U, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) {
    large[i] = static_cast<char>(i * 7 >> 3U);
  }
  EXPECT_EQ(Exchange(*channel, CallOf("echo", large)) == AnswerOf(large), true);
}

TEST(TcpServer, RefusesWrongUsage) {
  const auto refusal = [](const ServerProcess::Arguments& arguments) {
    ServerProcess server(arguments);
    EXPECT_EQ(server.Listening(), "");
    EXPECT_EQ(server.Wait(), 2);
    return server.Errors();
  };
  const std::string end = "\nferrolink-server: --help lists the options\n";
  const auto expect = [&](const ServerProcess::Arguments& arguments, const std::string& text) {
    EXPECT_EQ(refusal(arguments), "ferrolink-server: " + text + end);
  };
  expect({"--runtime", "perl"}, "--runtime takes jvm or cpp, not 'perl'.");
  expect({"--verbose"}, "Unknown option '--verbose'.");
  expect({"--plug-in", ""}, "--plug-in takes a value.");
  for (const char* wrong : {"127.0.0.1", "127.0.0.1:65536"}) {
    expect({"--listen", wrong},
           "--listen takes an address or name and a port, such as 127.0.0.1:8080, [::1]:8080 or "
           "localhost:8080, not '" +
               std::string(wrong) + "'.");
  }
  expect({"--max-connections", "0"}, "--max-connections takes a number from 1 to 65535, not '0'.");
  expect({"--max-frame-bytes", "1023"},
         "--max-frame-bytes takes a number from 1024 to 2147483647, not '1023'.");
  expect({"--tls-key", "k"}, "--tls-certificate and --tls-key go together.");
  expect({"--tls-client-ca", "c"}, "--tls-client-ca needs --tls-certificate and --tls-key.");
}

TEST(TcpServer, SaysWhyItCannotStart) {
  ServerProcess missing({"--runtime", "cpp", "--plug-in", "/nowhere.so"});
  EXPECT_EQ(missing.Wait(), 1);
  EXPECT_THAT(missing.Errors(), HasSubstr("Cannot load: /nowhere.so. \nError: File not found."));
  const ServerProcess first;
  ServerProcess second({"--listen", first.Name()});
  EXPECT_EQ(second.Wait(), 1);
  EXPECT_EQ(second.Errors(),
            "ferrolink-server: Cannot listen on " + first.Name() + ": Address already in use\n");
}

TEST(TcpServer, WarnsWhereItServesOthersThanThisMachine) {
  ServerProcess server({"--listen", "0.0.0.0:0"});
  server.Signal(SIGTERM);
  server.Wait();
  EXPECT_THAT(
      server.Errors(),
      testing::StartsWith("ferrolink-server: whoever reaches this address may call the handlers; "
                          "--tls-client-ca FILE would ask who it is\n"));
}

}  // namespace Ferrolink::Tests
