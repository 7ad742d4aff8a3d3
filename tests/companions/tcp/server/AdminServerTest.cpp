// The HTTP service for monitors and load balancers, also with misbehaving peers.
#include "companions/tcp/server/AdminServer.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <latch>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "companions/tcp/server/HttpRequest.h"
#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Companions::Tcp::Server;
using Ferrolink::Companions::FileDescriptor;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const asio::ip::tcp::endpoint kAnyPort{asio::ip::address_v4::loopback(), 0};

FileDescriptor ConnectedTo(const AdminServer& server) {
  FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const timeval patience{30, 0};
  setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(server.Address().port());
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  return socket;
}

void SendTo(const FileDescriptor& socket, std::string_view text) {
  EXPECT_EQ(::send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(text.size()));
}

std::string ReceiveAll(const FileDescriptor& socket) {
  std::string text;
  std::array<char, 4096> block{};
  for (;;) {
    const ssize_t got = ::recv(socket.get(), block.data(), block.size(), 0);
    if (got <= 0) {
      return got < 0 ? text + "(error)" : text;
    }
    text.append(block.data(), static_cast<std::size_t>(got));
  }
}

std::string AnswerTo(const AdminServer& server, std::string_view request) {
  const FileDescriptor socket = ConnectedTo(server);
  SendTo(socket, request);
  return ReceiveAll(socket);
}

std::string get(const AdminServer& server, const std::string& path) {
  return AnswerTo(server, "GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n");
}

std::string Response(const std::string& status, const std::string& body,
                     const std::string& type = "text/plain; charset=utf-8") {
  return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
         "\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n" + body;
}

std::string NoMetrics() {
  return "none\n";
}

}  // namespace

TEST(AdminServer, AnswersProbesAndMonitorsAndNothingElse) {
  Readiness readiness;
  const AdminServer server({.listen = kAnyPort}, readiness, [] { return "a 1\n"; });
  readiness.BecomeReady();
  EXPECT_EQ(get(server, "/livez"), Response("200 OK", "live\n"));
  EXPECT_EQ(get(server, "/readyz?verbose"), Response("200 OK", "ready\n"));
  EXPECT_EQ(get(server, "/metrics"),
            Response("200 OK", "a 1\n", "text/plain; version=0.0.4; charset=utf-8"));
  for (const char* path : {"/", "/livez/", "/metrics/..", "//livez", "/LIVEZ"}) {
    EXPECT_THAT(get(server, path), StartsWith("HTTP/1.1 404 Not Found\r\n")) << path;
  }
  EXPECT_EQ(AnswerTo(server, "GET /livez HTTP/1.0\r\n\r\n"), Response("200 OK", "live\n"));
  const std::string head = AnswerTo(server, "HEAD /metrics HTTP/1.1\r\n\r\n");
  EXPECT_THAT(head, HasSubstr("\r\nContent-Length: 4\r\n"));
  EXPECT_THAT(head, EndsWith("\r\n\r\n"));
  for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS"}) {
    const std::string answer =
        AnswerTo(server, std::string(method) + " /livez HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 405 Method Not Allowed\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nAllow: GET, HEAD\r\n"));
  }
}

TEST(AdminServer, SaysWhetherTheServerIsReady) {
  Readiness readiness;
  const AdminServer server({.listen = kAnyPort}, readiness, NoMetrics);
  EXPECT_EQ(get(server, "/readyz"), Response("503 Service Unavailable", "starting\n"));
  readiness.BecomeReady();
  EXPECT_EQ(get(server, "/readyz"), Response("200 OK", "ready\n"));
  readiness.BeginDraining();
  EXPECT_EQ(get(server, "/readyz"), Response("503 Service Unavailable", "draining\n"));
  readiness.BecomeReady();
  EXPECT_EQ(get(server, "/readyz"), Response("503 Service Unavailable", "draining\n"));
  EXPECT_EQ(get(server, "/livez"), Response("200 OK", "live\n"));
}

TEST(AdminServer, RefusesWhatIsNoRequest) {
  const Readiness readiness;
  const AdminServer server({.listen = kAnyPort}, readiness, NoMetrics);
  const std::string refusal = Response("400 Bad Request", "This is no request of HTTP/1.\n");
  for (const char* request :
       {"\r\n\r\n", "GET\r\n\r\n", "GET /livez\r\n\r\n", "GET  HTTP/1.1\r\n\r\n",
        "GET /livez HTTP/2\r\n\r\n", "GET livez HTTP/1.1\r\n\r\n", "GET /a b HTTP/1.1\r\n\r\n",
        "\x16\x03\x01 / HTTP/3\r\n\r\n"}) {
    EXPECT_EQ(AnswerTo(server, request), refusal) << request;
  }
}

TEST(AdminServer, DoesNotResetAPeerThatSaysMoreThanIsRead) {
  const Readiness readiness;
  const AdminServer server({.listen = kAnyPort}, readiness, NoMetrics);
  const FileDescriptor talkative = ConnectedTo(server);
  SendTo(talkative, "GET /livez HTTP/1.1\r\nX: " + std::string(20'000, 'x'));
  EXPECT_EQ(ReceiveAll(talkative), Response("400 Bad Request", "This is no request of HTTP/1.\n"));
  // A reset would answer the first of these, and could destroy the response.
  SendTo(talkative, "more");
  SendTo(talkative, "more");
}

TEST(AdminServer, IsNotBlockedByPeersThatSayNothing) {
  Readiness readiness;
  readiness.BecomeReady();
  const AdminServer server({.listen = kAnyPort, .timeLimit = std::chrono::hours(1)}, readiness,
                           NoMetrics);
  std::vector<FileDescriptor> silent;
  for (int i = 0; i < 200; ++i) {
    silent.push_back(ConnectedTo(server));
    SendTo(silent.back(), i % 2 == 0 ? "" : "GET /livez HTTP/1.1\r\nHost:");
  }
  EXPECT_EQ(get(server, "/readyz"), Response("200 OK", "ready\n"));
  // The oldest were closed; the youngest are still served.
  EXPECT_EQ(ReceiveAll(silent.front()), "");
  SendTo(silent.back(), " x\r\n\r\n");
  EXPECT_EQ(ReceiveAll(silent.back()), Response("200 OK", "live\n"));
}

TEST(AdminServer, LimitsTheTimeOfAPeer) {
  const Readiness readiness;
  const AdminServer server({.listen = kAnyPort, .timeLimit = std::chrono::milliseconds(50)},
                           readiness, NoMetrics);
  const FileDescriptor silent = ConnectedTo(server);
  EXPECT_EQ(ReceiveAll(silent), "");
}

TEST(AdminServer, AnswersProbesWhileMetricsAreBeingWritten) {
  Readiness readiness;
  readiness.BecomeReady();
  std::latch writing(1);
  std::latch go(1);
  int count = 0;
  const AdminServer server({.listen = kAnyPort, .timeLimit = std::chrono::hours(1)}, readiness,
                           [&] {
                             if (++count == 1) {
                               writing.count_down();
                               go.wait();
                             }
                             return "count " + std::to_string(count) + "\n";
                           });
  std::string first;
  std::thread monitor([&] { first = get(server, "/metrics"); });
  writing.wait();
  const FileDescriptor second = ConnectedTo(server);
  SendTo(second, "GET /metrics HTTP/1.1\r\n\r\n");
  // The answer implies that the second request, which came before, has been accepted.
  EXPECT_EQ(get(server, "/readyz"), Response("200 OK", "ready\n"));
  EXPECT_EQ(get(server, "/livez"), Response("200 OK", "live\n"));
  go.count_down();
  monitor.join();
  EXPECT_THAT(first, EndsWith("\r\n\r\ncount 1\n"));
  EXPECT_THAT(ReceiveAll(second), testing::ContainsRegex("\r\n\r\ncount [12]\n$"));
  EXPECT_THAT(get(server, "/metrics"), StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST(AdminServer, SaysThatMetricsCannotBeWritten) {
  const Readiness readiness;
  const AdminServer server({.listen = kAnyPort}, readiness,
                           []() -> std::string { throw std::runtime_error("no"); });
  EXPECT_EQ(get(server, "/metrics"),
            Response("500 Internal Server Error", "The metrics cannot be written.\n"));
  EXPECT_EQ(get(server, "/livez"), Response("200 OK", "live\n"));
}

TEST(AdminServer, EndsWithConnectionsOpen) {
  const Readiness readiness;
  std::optional<AdminServer> server;
  server.emplace(AdminServer::Settings{.listen = kAnyPort, .timeLimit = std::chrono::hours(1)},
                 readiness, NoMetrics);
  const FileDescriptor silent = ConnectedTo(*server);
  const FileDescriptor half = ConnectedTo(*server);
  SendTo(half, "GET ");
  EXPECT_EQ(get(*server, "/livez"), Response("200 OK", "live\n"));
  server.reset();
  EXPECT_EQ(ReceiveAll(half).find("HTTP"), std::string::npos);
}

TEST(AdminServer, NamesTheAddressThatItCannotListenOn) {
  const Readiness readiness;
  const AdminServer first({.listen = kAnyPort}, readiness, NoMetrics);
  try {
    const AdminServer second({.listen = first.Address()}, readiness, NoMetrics);
    ADD_FAILURE() << "listens twice";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.what(), "Cannot listen on 127.0.0.1:" + std::to_string(first.Address().port()) +
                                " (--admin): Address already in use");
  }
}

}  // namespace Ferrolink::Tests
