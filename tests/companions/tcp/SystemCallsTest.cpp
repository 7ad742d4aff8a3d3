// Counts the system calls per frame, with sockets of this process.
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

// Counted per thread.
thread_local int receives = 0;
thread_local int sends = 0;
thread_local int polls = 0;

void ForgetCalls() {
  receives = 0;
  sends = 0;
  polls = 0;
}

}  // namespace

// The sockets' system calls, wrapped.
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

namespace Ferrolink::Tests {
namespace {

using namespace std::chrono_literals;
using namespace Ferrolink::Companions::Tcp;
using Ferrolink::Companions::FileDescriptor;

constexpr std::uint32_t kLimit = 16U << 20U;

std::pair<PatientSocket, PatientSocket> Connected() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::runtime_error("no sockets");
  }
  return {PatientSocket(FileDescriptor(ends[0])), PatientSocket(FileDescriptor(ends[1]))};
}

// Neighbouring bytes differ, and so do bytes at the same offset of neighbouring records.
Bytes BytesOf(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(i + i / 251);
  }
  return bytes;
}

class TcpSystemCalls : public testing::Test {
 protected:
  // Configures the socket like a session.
  void StartSession() {
    PatientSocket& socket = m_server.Socket();
    socket.AbortBy(m_departure.get());
    socket.WaitAtMost(1h);
    socket.ExpectWithin(1ms);
  }

  // Expects that m_server receives the bytes that m_client sends.
  void ExpectFrame(std::size_t size) {
    Frame frame;
    ASSERT_TRUE(m_server.Receive(frame));
    EXPECT_EQ(frame.bytes, BytesOf(size));
  }

  FileDescriptor m_departure{eventfd(0, EFD_CLOEXEC)};
  std::pair<PatientSocket, PatientSocket> m_sockets = Connected();
  PlainConnection m_client{std::move(m_sockets.first), kLimit};
  PlainConnection m_server{std::move(m_sockets.second), kLimit};
};

// Two connected TLS ends.
class TcpTlsSystemCalls : public testing::Test {
 protected:
  TcpTlsSystemCalls() {
    const TlsContext context = MakeTlsContext(asio::ssl::context::tls_server);
    UseCertificate(*context, m_certificate.File(), m_certificate.KeyFile());
    m_client = std::make_unique<TlsConnection>(std::move(m_sockets.first), kLimit,
                                               MakeTlsContext(asio::ssl::context::tls_client),
                                               TlsConnection::Side::client);
    m_server = std::make_unique<TlsConnection>(std::move(m_sockets.second), kLimit, context,
                                               TlsConnection::Side::server);
    asio::error_code ofServer;
    std::thread server([&] { m_server->Handshake(ofServer); });
    asio::error_code ofClient;
    m_client->Handshake(ofClient);
    server.join();
    EXPECT_FALSE(ofServer) << ofServer.message();
    EXPECT_FALSE(ofClient) << ofClient.message();
  }

  // Sends and receives at the same time, because the bytes exceed the sockets' buffers.
  void ExpectToTravel(std::size_t size) {
    Frame frame;
    std::thread server([&] { m_server->Receive(frame); });
    m_client->Send({}, BytesOf(size));
    server.join();
    EXPECT_EQ(frame.bytes, BytesOf(size)) << size;
  }

  const Certificate m_certificate{Certificate::Wish()};
  std::pair<PatientSocket, PatientSocket> m_sockets = Connected();
  std::unique_ptr<TlsConnection> m_client;
  std::unique_ptr<TlsConnection> m_server;
};

}  // namespace

TEST_F(TcpSystemCalls, AreOneForAFrameToSend) {
  for (const std::size_t size : {0U, 64U, 2048U, 2049U, 65536U}) {
    ForgetCalls();
    m_client.Send({}, BytesOf(size));
    EXPECT_EQ(sends, 1) << size;
    ExpectFrame(size);
  }
}

TEST_F(TcpSystemCalls, AreOneForASmallFrameThatComesSoon) {
  StartSession();
  m_client.Send({}, BytesOf(64));
  ForgetCalls();
  ExpectFrame(64);
  EXPECT_EQ(receives, 1);
  EXPECT_EQ(polls, 0);
}

TEST_F(TcpSystemCalls, AreTwoForASmallFrameWhileAMomentIsSet) {
  StartSession();
  m_client.Send({}, BytesOf(64));
  m_server.Socket().WaitWhileItFlows(1h, 0ns);
  ForgetCalls();
  ExpectFrame(64);
  EXPECT_EQ(receives, 1);
  EXPECT_EQ(polls, 1);
}

TEST_F(TcpSystemCalls, EndTheWaitForBytesThatWereExpectedSoonWhereTheServerGoesAway) {
  StartSession();
  eventfd_write(m_departure.get(), 1);
  asio::error_code error;
  ForgetCalls();
  m_server.ReadAhead(error);
  EXPECT_EQ(error, asio::error::operation_aborted);
  EXPECT_EQ(receives, 1);
  EXPECT_EQ(polls, 1);
}

TEST_F(TcpSystemCalls, EndTheWaitForBytesThatWereExpectedSoonAfterTheSilenceThatIsAllowed) {
  StartSession();
  m_server.Socket().WaitAtMost(2ms);
  asio::error_code error;
  m_server.ReadAhead(error);
  EXPECT_EQ(error, asio::error::timed_out);
}

TEST_F(TcpSystemCalls, WaitForBytesThatWereExpectedSoonAlsoOnSocketsOfAnEventLoop) {
  int nonBlocking = 1;
  ASSERT_EQ(ioctl(m_server.Socket().Descriptor(), FIONBIO, &nonBlocking), 0);
  StartSession();
  m_server.Socket().ExpectWithin(1h);
  ForgetCalls();
  std::thread server([&] {
    ExpectFrame(64);
    EXPECT_EQ(receives, 1);
    EXPECT_EQ(polls, 0);
  });
  m_client.Send({}, BytesOf(64));
  server.join();
}

TEST_F(TcpTlsSystemCalls, AreOneForTwoRecordsOfAFrame) {
  for (const bool keeps : {false, true}) {
    m_client->KeepBuffers(keeps);
    for (const auto& [size, expected] :
         {std::pair(64U, 1), {16384U, 1}, {32752U, 1}, {65536U, 2}}) {
      ForgetCalls();
      m_client->Send({}, BytesOf(size));
      EXPECT_EQ(sends, expected) << size;
      Frame frame;
      ASSERT_TRUE(m_server->Receive(frame));
      EXPECT_EQ(frame.bytes, BytesOf(size)) << size;
    }
  }
}

TEST_F(TcpTlsSystemCalls, CarryFramesOfAnyLength) {
  for (const bool keeps : {false, true}) {
    m_client->KeepBuffers(keeps);
    m_server->KeepBuffers(keeps);
    for (const std::size_t size : {0U, 1U, 2048U, 2049U, 16367U, 16368U, 16369U, 32752U, 65519U,
                                   65520U, 65521U, 1U << 20U, (3U << 20U) + 7}) {
      ExpectToTravel(size);
    }
  }
}

}  // namespace Ferrolink::Tests
