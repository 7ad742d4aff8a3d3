// The operator's view of a running server: its log, its probes, its rules, its end.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/companions/tcp/WaitingCall.h"

namespace Ferrolink::Tests {
namespace {

using testing::HasSubstr;

const ServerProcess::Arguments kAdmin{"--admin", "127.0.0.1:0"};

std::string get(const ServerProcess& server, const std::string& path) {
  RawSocket monitor = RawSocket::Connect(server.AdminPort());
  monitor.Send("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n");
  return monitor.ReceiveAll();
}

ServerProcess::Arguments With(ServerProcess::Arguments first,
                              const ServerProcess::Arguments& more) {
  first.insert(first.end(), more.begin(), more.end());
  return first;
}

// Invalid peers make it log, clients get answers, and it ends.
void ServesWithErrorsInto(ServerProcess::ErrorsInto errors) {
  ServerProcess server(errors);
  for (int i = 0; i < 20; ++i) {
    RawSocket stranger = RawSocket::Connect(server.Port());
    stranger.Send("GET / HTTP/1.1\r\n");
    stranger.ReceiveAll();
    RawSocket client = server.GreetedClient();
    EXPECT_EQ(client.Ask(CallOf("echo", "x")), AnswerOf("x"));
  }
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait(), 0);
}

}  // namespace

TEST(TcpServerOperations, LetsClientsCallWhatARuleAllows) {
  const TemporaryDirectory directory;
  const std::string file = (directory.Path() / "server.json").string();
  std::ofstream(file)
      << R"({"rules": [{"clients": ["*"], "handlers": ["echo", "byte*"], "max-calls": 1}]})";
  const ServerProcess server({"--config", file});
  RawSocket client = server.GreetedClient();
  EXPECT_EQ(client.Ask(CallOf("echo", "x")), AnswerOf("x"));
  EXPECT_EQ(client.Ask(CallOf("bytes", "2")), AnswerOf("bb"));
  const std::string refusal = "The rules of this server do not let 127.0.0.1 call 'end-process'.";
  EXPECT_EQ(client.Ask(CallOf("end-process")), refusal);
  const std::string within("\0\0\xFF\0", 4);
  EXPECT_EQ(client.Ask(Command(3, within + "\x0B"
                                           "end-process")),
            refusal);
  EXPECT_EQ(client.Ask(Command(3, within + "\4echoy")), AnswerOf("y"));
  EXPECT_THAT(client.Ask(CallOf("load-archives", "x")), HasSubstr("loads no libraries"));
  EXPECT_THAT(client.Ask(Command(1, std::string(13, '\1') + TCPHANDLERS_PATH)),
              HasSubstr("loads no libraries"));
  server.AwaitErrors("warning refused peer=\"127.0.0.1:");
  server.AwaitErrors("\" handler=\"end-process\" reason=\"" + refusal + "\"\n");
}

TEST(TcpServerOperations, CountsConnectionsAndCallsOfAClientAgainstItsRule) {
  const TemporaryDirectory directory;
  const std::string file = (directory.Path() / "server.json").string();
  std::ofstream(file) << R"({"rules": [{"clients": ["*"], "handlers": ["*"],
                             "max-connections": 2, "max-calls": 1}]})";
  const WaitingCall waiting;
  const ServerProcess server({"--config", file});
  RawSocket busy = server.GreetedClient();
  busy.Command(waiting.Command());
  waiting.AwaitRunning();
  RawSocket second = server.GreetedClient();
  EXPECT_THAT(second.Ask(CallOf("end-process")), HasSubstr("as many as its rule allows"));
  RawSocket third = server.GreetedClient();
  EXPECT_THAT(third.ReceiveAll(),
              HasSubstr("127.0.0.1 has 2 connections, as many as its rule allows."));
  waiting.Release("done");
  EXPECT_EQ(busy.ReceiveFrame(), AnswerOf("done"));
  EXPECT_EQ(second.Ask(CallOf("echo", "x")), AnswerOf("x"));
}

TEST(TcpServerOperations, TellsClientsWhomItsRulesRefuseWhy) {
  const TemporaryDirectory directory;
  const std::string file = (directory.Path() / "server.json").string();
  std::ofstream(file)
      << R"({"rules": [{"clients": ["*"], "handlers": ["*"], "max-connections": 1}]})";
  const ServerProcess server({"--config", file});
  const RawSocket first = server.GreetedClient();
  for (int i = 0; i < 20; ++i) {
    EXPECT_THAT(Exchange(*ChannelTo(server.Port()), CallOf("echo", "x")),
                AllOf(HasSubstr("Exception code 008.\n"),
                      HasSubstr("127.0.0.1 has 1 connections, as many as its rule allows.")));
  }
}

TEST(TcpServerOperations, EndsThoughItIsToldToReadItsFilesAgainMeanwhile) {
  for (int round = 0; round < 5; ++round) {
    ServerProcess server;
    EXPECT_EQ(Exchange(*ChannelTo(server.Port()), CallOf("echo", "x")), AnswerOf("x"));
    for (int i = 0; i < 50; ++i) {
      server.Signal(SIGHUP);
    }
    server.Signal(SIGTERM);
    // Also long after its end, because it remains a zombie until it is waited for.
    for (int i = 0; i < 50'000; ++i) {
      server.Signal(SIGHUP);
    }
    EXPECT_EQ(server.Wait(), 0);
  }
}

TEST(TcpServerOperations, FailsItsReadinessFirstAndAnswersCommandsWhileItDrains) {
  ServerProcess server(With(kAdmin, {"--drain-ms", "1000"}));
  RawSocket client = server.GreetedClient();
  EXPECT_THAT(get(server, "/readyz"), HasSubstr("HTTP/1.1 200 OK"));
  server.Signal(SIGTERM);
  while (get(server, "/readyz").find("draining") == std::string::npos) {
    std::this_thread::yield();
  }
  EXPECT_THAT(get(server, "/livez"), HasSubstr("HTTP/1.1 200 OK"));
  EXPECT_EQ(client.Ask(CallOf("echo", "still")), AnswerOf("still"));
  RawSocket late = server.GreetedClient();
  EXPECT_EQ(late.Ask(CallOf("echo", "late")), AnswerOf("late"));
  EXPECT_EQ(client.ReceiveAll(), Frame(kGoingAway, 2, 4));
  client.Close();
  late.Close();
  EXPECT_EQ(server.Wait(), 0);
  EXPECT_THAT(server.Errors(), HasSubstr(" info drained\n"));
}

TEST(TcpServerOperations, CountsWhatItDoes) {
  const ServerProcess server(kAdmin);
  RawSocket client = server.GreetedClient();
  EXPECT_EQ(client.Ask(CallOf("echo", "x")), AnswerOf("x"));
  EXPECT_EQ(client.Ask(CallOf("echo", "y")), AnswerOf("y"));
  EXPECT_THAT(client.Ask(CallOf("refuse", "z")), HasSubstr("refused: z"));
  EXPECT_THAT(client.Ask(CallOf("echo", "x", 2)), HasSubstr("runtime 2"));
  const std::string metrics = get(server, "/metrics");
  for (const char* line :
       {"\nferrolink_server_ready 1\n", "\nferrolink_server_connections 1\n",
        "\nferrolink_server_connections_total 1\n", "\nferrolink_server_calls_in_flight 0\n",
        "\nferrolink_server_call_seconds_count{handler=\"echo\"} 2\n",
        "\nferrolink_server_refused_total{reason=\"command\"} 1\n"}) {
    EXPECT_THAT(metrics, HasSubstr(line));
  }
}

TEST(TcpServerOperations, LogsEachCallOnlyWhereItIsToldToAndNothingOfAHealthCheck) {
  const ServerProcess server({"--access-log"});
  for (int i = 0; i < 3; ++i) {
    RawSocket::Connect(server.Port()).Close();
  }
  RawSocket client = server.GreetedClient();
  EXPECT_EQ(client.Ask(CallOf("echo", "x")), AnswerOf("x"));
  server.AwaitErrors("\" handler=\"echo\" duration-ms=");
  const std::string errors = server.Errors();
  EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 2) << errors;
  EXPECT_THAT(errors, HasSubstr(" info accepted peer=\"127.0.0.1:"));
  EXPECT_THAT(errors, HasSubstr(" info call peer=\"127.0.0.1:"));
}

TEST(TcpServerOperations, GoesOnWhereNobodyReadsStandardError) {
  ServesWithErrorsInto(ServerProcess::ErrorsInto::ClosedPipe);
}

TEST(TcpServerOperations, GoesOnWhereStandardErrorIsFull) {
  ServesWithErrorsInto(ServerProcess::ErrorsInto::FullPipe);
}

TEST(TcpServerOperations, ListensOnNamesAndOnIPv6) {
  const ServerProcess named({"--listen", "localhost:0"});
  EXPECT_THAT(named.Listening(), HasSubstr(" listens on "));
  const ServerProcess six({"--listen", "[::1]:0"});
  EXPECT_EQ(six.Listening(), "ferrolink-server: cpp listens on [::1]:" +
                                 std::to_string(six.Port()) + " (plain TCP)\n");
}

}  // namespace Ferrolink::Tests
