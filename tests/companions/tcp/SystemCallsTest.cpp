// How many system calls frames take, over sockets of the process's own.
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <asio/error.hpp>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "companions/tcp/TlsConnection.h"
#include "tests/companions/tcp/Certificates.h"

namespace {

// Of the thread that counts.
thread_local int receives = 0;
thread_local int sends = 0;
thread_local int polls = 0;

void forgetCalls() {
  receives = 0;
  sends = 0;
  polls = 0;
}

}  // namespace

// The sockets' own system calls come by here.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
ssize_t __real_recv(int socket, void* room, size_t size, int flags);
ssize_t __wrap_recv(int socket, void* room, size_t size, int flags);
ssize_t __real_send(int socket, const void* bytes, size_t size, int flags);
ssize_t __wrap_send(int socket, const void* bytes, size_t size, int flags);
ssize_t __real_sendmsg(int socket, const msghdr* message, int flags);
ssize_t __wrap_sendmsg(int socket, const msghdr* message, int flags);
int __real_poll(pollfd* watched, nfds_t count, int time);
int __wrap_poll(pollfd* watched, nfds_t count, int time);

ssize_t __wrap_recv(int socket, void* room, size_t size, int flags) {
  ++receives;
  return __real_recv(socket, room, size, flags);
}

ssize_t __wrap_send(int socket, const void* bytes, size_t size, int flags) {
  ++sends;
  return __real_send(socket, bytes, size, flags);
}

ssize_t __wrap_sendmsg(int socket, const msghdr* message, int flags) {
  ++sends;
  return __real_sendmsg(socket, message, flags);
}

int __wrap_poll(pollfd* watched, nfds_t count, int time) {
  ++polls;
  return __real_poll(watched, count, time);
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace FerrolinkTest {
namespace {

using namespace std::chrono_literals;
using namespace Ferrolink::Companions::Tcp;
using Ferrolink::Companions::FileDescriptor;

constexpr std::uint32_t kLimit = 16U << 20U;

std::pair<PatientSocket, PatientSocket> connected() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::runtime_error("no sockets");
  }
  return {PatientSocket(FileDescriptor(ends[0])), PatientSocket(FileDescriptor(ends[1]))};
}

// No two neighbours are equal, nor bytes at the same place of neighbouring records.
Bytes bytesOf(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(i + i / 251);
  }
  return bytes;
}

class TcpSystemCalls : public testing::Test {
 protected:
  // As a session has its socket.
  void startSession() {
    PatientSocket& socket = m_server.socket();
    socket.abortBy(m_departure.get());
    socket.waitAtMost(1h);
    socket.expectWithin(1ms);
  }

  // What m_server has received is what m_client sends.
  void expectFrame(std::size_t size) {
    Frame frame;
    ASSERT_TRUE(m_server.receive(frame));
    EXPECT_EQ(frame.bytes, bytesOf(size));
  }

  FileDescriptor m_departure{eventfd(0, EFD_CLOEXEC)};
  std::pair<PatientSocket, PatientSocket> m_sockets = connected();
  PlainConnection m_client{std::move(m_sockets.first), kLimit};
  PlainConnection m_server{std::move(m_sockets.second), kLimit};
};

// Two ends that speak TLS with one another.
class TcpTlsSystemCalls : public testing::Test {
 protected:
  TcpTlsSystemCalls() {
    const TlsContext context = makeTlsContext(asio::ssl::context::tls_server);
    useCertificate(*context, m_certificate.file(), m_certificate.keyFile());
    m_client = std::make_unique<TlsConnection>(std::move(m_sockets.first), kLimit,
                                               makeTlsContext(asio::ssl::context::tls_client),
                                               TlsConnection::Side::client);
    m_server = std::make_unique<TlsConnection>(std::move(m_sockets.second), kLimit, context,
                                               TlsConnection::Side::server);
    asio::error_code ofServer;
    std::thread server([&] { m_server->handshake(ofServer); });
    asio::error_code ofClient;
    m_client->handshake(ofClient);
    server.join();
    EXPECT_FALSE(ofServer) << ofServer.message();
    EXPECT_FALSE(ofClient) << ofClient.message();
  }

  // Both at a time, for what the sockets' buffers do not take.
  void expectToTravel(std::size_t size) {
    Frame frame;
    std::thread server([&] { m_server->receive(frame); });
    m_client->send({}, bytesOf(size));
    server.join();
    EXPECT_EQ(frame.bytes, bytesOf(size)) << size;
  }

  const Certificate m_certificate{Certificate::Wish()};
  std::pair<PatientSocket, PatientSocket> m_sockets = connected();
  std::unique_ptr<TlsConnection> m_client;
  std::unique_ptr<TlsConnection> m_server;
};

}  // namespace

TEST_F(TcpSystemCalls, AreOneForAFrameToSend) {
  for (const std::size_t size : {0U, 64U, 2048U, 2049U, 65536U}) {
    forgetCalls();
    m_client.send({}, bytesOf(size));
    EXPECT_EQ(sends, 1) << size;
    expectFrame(size);
  }
}

TEST_F(TcpSystemCalls, AreOneForASmallFrameThatComesSoon) {
  startSession();
  m_client.send({}, bytesOf(64));
  forgetCalls();
  expectFrame(64);
  EXPECT_EQ(receives, 1);
  EXPECT_EQ(polls, 0);
}

TEST_F(TcpSystemCalls, AreTwoForASmallFrameWhileAMomentIsSet) {
  startSession();
  m_client.send({}, bytesOf(64));
  m_server.socket().waitWhileItFlows(1h, 0ns);
  forgetCalls();
  expectFrame(64);
  EXPECT_EQ(receives, 1);
  EXPECT_EQ(polls, 1);
}

TEST_F(TcpSystemCalls, EndTheWaitForBytesThatWereExpectedSoonWhereTheServerGoesAway) {
  startSession();
  eventfd_write(m_departure.get(), 1);
  asio::error_code error;
  forgetCalls();
  m_server.readAhead(error);
  EXPECT_EQ(error, asio::error::operation_aborted);
  EXPECT_EQ(receives, 1);
  EXPECT_EQ(polls, 1);
}

TEST_F(TcpSystemCalls, EndTheWaitForBytesThatWereExpectedSoonAfterTheSilenceThatIsAllowed) {
  startSession();
  m_server.socket().waitAtMost(2ms);
  asio::error_code error;
  m_server.readAhead(error);
  EXPECT_EQ(error, asio::error::timed_out);
}

TEST_F(TcpSystemCalls, WaitForBytesThatWereExpectedSoonAlsoOnSocketsOfAnEventLoop) {
  int nonBlocking = 1;
  ASSERT_EQ(ioctl(m_server.socket().descriptor(), FIONBIO, &nonBlocking), 0);
  startSession();
  m_server.socket().expectWithin(1h);
  forgetCalls();
  std::thread server([&] {
    expectFrame(64);
    EXPECT_EQ(receives, 1);
    EXPECT_EQ(polls, 0);
  });
  m_client.send({}, bytesOf(64));
  server.join();
}

TEST_F(TcpTlsSystemCalls, AreOneForTwoRecordsOfAFrame) {
  for (const bool keeps : {false, true}) {
    m_client->keepBuffers(keeps);
    for (const auto& [size, expected] :
         {std::pair(64U, 1), {16384U, 1}, {32752U, 1}, {65536U, 2}}) {
      forgetCalls();
      m_client->send({}, bytesOf(size));
      EXPECT_EQ(sends, expected) << size;
      Frame frame;
      ASSERT_TRUE(m_server->receive(frame));
      EXPECT_EQ(frame.bytes, bytesOf(size)) << size;
    }
  }
}

TEST_F(TcpTlsSystemCalls, CarryFramesOfAnyLength) {
  for (const bool keeps : {false, true}) {
    m_client->keepBuffers(keeps);
    m_server->keepBuffers(keeps);
    for (const std::size_t size : {0U, 1U, 2048U, 2049U, 16367U, 16368U, 16369U, 32752U, 65519U,
                                   65520U, 65521U, 1U << 20U, (3U << 20U) + 7}) {
      expectToTravel(size);
    }
  }
}

}  // namespace FerrolinkTest
