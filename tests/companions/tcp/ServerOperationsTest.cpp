// What operators and their tools see of a running server: its log, its probes, its rules, its end.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/companions/tcp/WaitingCall.h"

namespace FerrolinkTest {
namespace {

using testing::HasSubstr;

const ServerProcess::Arguments kAdmin{"--admin", "127.0.0.1:0"};

std::string get(const ServerProcess& server, const std::string& path) {
  RawSocket monitor = RawSocket::connect(server.adminPort());
  monitor.send("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n");
  return monitor.receiveAll();
}

ServerProcess::Arguments with(ServerProcess::Arguments first,
                              const ServerProcess::Arguments& more) {
  first.insert(first.end(), more.begin(), more.end());
  return first;
}

// Strangers make it log, clients are answered, and it ends.
void servesWithErrorsInto(ServerProcess::ErrorsInto errors) {
  ServerProcess server(errors);
  for (int i = 0; i < 20; ++i) {
    RawSocket stranger = RawSocket::connect(server.port());
    stranger.send("GET / HTTP/1.1\r\n");
    stranger.receiveAll();
    RawSocket client = server.greetedClient();
    EXPECT_EQ(client.ask(callOf("echo", "x")), answerOf("x"));
  }
  server.signal(SIGTERM);
  EXPECT_EQ(server.wait(), 0);
}

}  // namespace

TEST(TcpServerOperations, LetsClientsCallWhatARuleAllows) {
  const TemporaryDirectory directory;
  const std::string file = (directory.path() / "server.json").string();
  std::ofstream(file)
      << R"({"rules": [{"clients": ["*"], "handlers": ["echo", "byte*"], "max-calls": 1}]})";
  const ServerProcess server({"--config", file});
  RawSocket client = server.greetedClient();
  EXPECT_EQ(client.ask(callOf("echo", "x")), answerOf("x"));
  EXPECT_EQ(client.ask(callOf("bytes", "2")), answerOf("bb"));
  const std::string refusal = "The rules of this server do not let 127.0.0.1 call 'end-process'.";
  EXPECT_EQ(client.ask(callOf("end-process")), refusal);
  const std::string within("\0\0\xFF\0", 4);
  EXPECT_EQ(client.ask(command(3, within + "\x0B"
                                           "end-process")),
            refusal);
  EXPECT_EQ(client.ask(command(3, within + "\4echoy")), answerOf("y"));
  EXPECT_THAT(client.ask(callOf("load-archives", "x")), HasSubstr("loads no libraries"));
  EXPECT_THAT(client.ask(command(1, std::string(13, '\1') + TCPHANDLERS_PATH)),
              HasSubstr("loads no libraries"));
  server.awaitErrors("warning refused peer=\"127.0.0.1:");
  server.awaitErrors("\" handler=\"end-process\" reason=\"" + refusal + "\"\n");
}

TEST(TcpServerOperations, CountsConnectionsAndCallsOfAClientAgainstItsRule) {
  const TemporaryDirectory directory;
  const std::string file = (directory.path() / "server.json").string();
  std::ofstream(file) << R"({"rules": [{"clients": ["*"], "handlers": ["*"],
                             "max-connections": 2, "max-calls": 1}]})";
  const WaitingCall waiting;
  const ServerProcess server({"--config", file});
  RawSocket busy = server.greetedClient();
  busy.command(waiting.command());
  waiting.awaitRunning();
  RawSocket second = server.greetedClient();
  EXPECT_THAT(second.ask(callOf("end-process")), HasSubstr("as many as its rule allows"));
  RawSocket third = server.greetedClient();
  EXPECT_THAT(third.receiveAll(),
              HasSubstr("127.0.0.1 has 2 connections, as many as its rule allows."));
  waiting.release("done");
  EXPECT_EQ(busy.receiveFrame(), answerOf("done"));
  EXPECT_EQ(second.ask(callOf("echo", "x")), answerOf("x"));
}

TEST(TcpServerOperations, TellsClientsWhomItsRulesRefuseWhy) {
  const TemporaryDirectory directory;
  const std::string file = (directory.path() / "server.json").string();
  std::ofstream(file)
      << R"({"rules": [{"clients": ["*"], "handlers": ["*"], "max-connections": 1}]})";
  const ServerProcess server({"--config", file});
  const RawSocket first = server.greetedClient();
  for (int i = 0; i < 20; ++i) {
    EXPECT_THAT(exchange(*channelTo(server.port()), callOf("echo", "x")),
                AllOf(HasSubstr("Exception code 008.\n"),
                      HasSubstr("127.0.0.1 has 1 connections, as many as its rule allows.")));
  }
}

TEST(TcpServerOperations, EndsThoughItIsToldToReadItsFilesAgainMeanwhile) {
  for (int round = 0; round < 5; ++round) {
    ServerProcess server;
    EXPECT_EQ(exchange(*channelTo(server.port()), callOf("echo", "x")), answerOf("x"));
    for (int i = 0; i < 50; ++i) {
      server.signal(SIGHUP);
    }
    server.signal(SIGTERM);
    // Until long after its end: it stays to be waited for.
    for (int i = 0; i < 50'000; ++i) {
      server.signal(SIGHUP);
    }
    EXPECT_EQ(server.wait(), 0);
  }
}

TEST(TcpServerOperations, FailsItsReadinessFirstAndAnswersCommandsWhileItDrains) {
  ServerProcess server(with(kAdmin, {"--drain-ms", "1000"}));
  RawSocket client = server.greetedClient();
  EXPECT_THAT(get(server, "/readyz"), HasSubstr("HTTP/1.1 200 OK"));
  server.signal(SIGTERM);
  while (get(server, "/readyz").find("draining") == std::string::npos) {
    std::this_thread::yield();
  }
  EXPECT_THAT(get(server, "/livez"), HasSubstr("HTTP/1.1 200 OK"));
  EXPECT_EQ(client.ask(callOf("echo", "still")), answerOf("still"));
  RawSocket late = server.greetedClient();
  EXPECT_EQ(late.ask(callOf("echo", "late")), answerOf("late"));
  EXPECT_EQ(client.receiveAll(), frame(kGoingAway, 2, 4));
  client.close();
  late.close();
  EXPECT_EQ(server.wait(), 0);
  EXPECT_THAT(server.errors(), HasSubstr(" info drained\n"));
}

TEST(TcpServerOperations, CountsWhatItDoes) {
  const ServerProcess server(kAdmin);
  RawSocket client = server.greetedClient();
  EXPECT_EQ(client.ask(callOf("echo", "x")), answerOf("x"));
  EXPECT_EQ(client.ask(callOf("echo", "y")), answerOf("y"));
  EXPECT_THAT(client.ask(callOf("refuse", "z")), HasSubstr("refused: z"));
  EXPECT_THAT(client.ask(callOf("echo", "x", 2)), HasSubstr("runtime 2"));
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
    RawSocket::connect(server.port()).close();
  }
  RawSocket client = server.greetedClient();
  EXPECT_EQ(client.ask(callOf("echo", "x")), answerOf("x"));
  server.awaitErrors("\" handler=\"echo\" duration-ms=");
  const std::string errors = server.errors();
  EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 2) << errors;
  EXPECT_THAT(errors, HasSubstr(" info accepted peer=\"127.0.0.1:"));
  EXPECT_THAT(errors, HasSubstr(" info call peer=\"127.0.0.1:"));
}

TEST(TcpServerOperations, GoesOnWhereNobodyReadsStandardError) {
  servesWithErrorsInto(ServerProcess::ErrorsInto::ClosedPipe);
}

TEST(TcpServerOperations, GoesOnWhereStandardErrorIsFull) {
  servesWithErrorsInto(ServerProcess::ErrorsInto::FullPipe);
}

TEST(TcpServerOperations, ListensOnNamesAndOnIPv6) {
  const ServerProcess named({"--listen", "localhost:0"});
  EXPECT_THAT(named.listening(), HasSubstr(" listens on "));
  const ServerProcess six({"--listen", "[::1]:0"});
  EXPECT_EQ(six.listening(), "ferrolink-server: cpp listens on [::1]:" +
                                 std::to_string(six.port()) + " (plain TCP)\n");
}

}  // namespace FerrolinkTest
