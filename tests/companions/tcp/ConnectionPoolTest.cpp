// The client's connection pool, with sockets of this process and a simulated clock.
#include <sys/socket.h>

#include <array>
#include <deque>

#include "companions/tcp/client/ClientLibrary.h"
#include "companions/tcp/client/ConnectionPool.h"
#include "tests/companions/tcp/ClientSupport.h"

// The library under test is linked statically.
const Ferrolink::Companions::Tcp::Client::LibraryKind
    Ferrolink::Companions::Tcp::Client::kLibraryKind{};

namespace Ferrolink::Tests {
namespace {

using namespace std::chrono_literals;
using Ferrolink::Companions::Tcp::PatientSocket;
using Ferrolink::Companions::Tcp::PlainConnection;
using Ferrolink::Companions::Tcp::Client::ClientSettings;
using Ferrolink::Companions::Tcp::Client::ConnectionPool;
using Ferrolink::Companions::Tcp::Client::Line;

class TcpPool : public testing::Test {
 protected:
  using Moment = ConnectionPool::Clock::time_point;

  // Records whether it keeps its buffers.
  class Buffered : public PlainConnection {
   public:
    Buffered(PatientSocket socket, bool& keeps)
        : PlainConnection(std::move(socket), 1024), m_keeps(keeps) {}
    void KeepBuffers(bool keep) override { m_keeps = keep; }

   private:
    bool& m_keeps;
  };

  // A line of that configuration revision, for a pool of that size.
  Line NewLine(unsigned revision = 0, std::size_t poolSize = 2) {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    m_peers.emplace_back(ends[1]);
    ClientSettings settings;
    settings.revision = revision;
    settings.poolSize = poolSize;
    settings.servers.push_back({"127.0.0.1", 1});
    return {std::make_unique<Buffered>(PatientSocket(FileDescriptor(ends[0])),
                                       m_keepBuffers.emplace_back(false)),
            std::make_shared<const ClientSettings>(settings)};
  }

  bool IsClosed(std::size_t number) {
    char byte = 0;
    return recv(m_peers[number].get(), &byte, 1, MSG_DONTWAIT) == 0;
  }

  ConnectionPool m_pool;
  std::vector<FileDescriptor> m_peers;
  std::deque<bool> m_keepBuffers;
  const Moment m_now{std::chrono::hours(1)};
};

}  // namespace

TEST_F(TcpPool, GivesTheConnectionThatWasUsedLast) {
  m_pool.Give(NewLine(), m_now);
  Line second = NewLine();
  const auto* expected = second.connection.get();
  m_pool.Give(std::move(second), m_now);
  EXPECT_EQ(m_pool.Take(0, m_now).connection.get(), expected);
  EXPECT_NE(m_pool.Take(0, m_now).connection, nullptr);
  EXPECT_EQ(m_pool.Take(0, m_now).connection, nullptr);
}

TEST_F(TcpPool, KeepsNoMoreThanItIsTold) {
  for (int i = 0; i < 3; ++i) {
    m_pool.Give(NewLine(), m_now);
  }
  EXPECT_FALSE(IsClosed(0));
  EXPECT_FALSE(IsClosed(1));
  EXPECT_TRUE(IsClosed(2));
}

TEST_F(TcpPool, LeavesTheirBuffersToTheConnectionsThatWereUsedLast) {
  constexpr std::size_t kAll = ConnectionPool::kWithBuffers + 2;
  for (std::size_t i = 0; i < kAll; ++i) {
    m_pool.Give(NewLine(0, kAll), m_now);
  }
  for (std::size_t i = 0; i < kAll; ++i) {
    EXPECT_EQ(m_keepBuffers[i], i >= 2) << i;
  }
}

TEST_F(TcpPool, ClosesConnectionsThatNobodyHasUsedForAWhile) {
  m_pool.Give(NewLine(), m_now);
  m_pool.Give(NewLine(), m_now + 30s);
  m_pool.Give(m_pool.Take(0, m_now + 60s), m_now + 60s);
  EXPECT_FALSE(IsClosed(0));
  m_pool.Give(m_pool.Take(0, m_now + 61s), m_now + 61s);
  EXPECT_TRUE(IsClosed(0));
  EXPECT_FALSE(IsClosed(1));
  EXPECT_EQ(m_pool.Take(0, m_now + 200s).connection, nullptr);
  EXPECT_TRUE(IsClosed(1));
}

TEST_F(TcpPool, ClosesConnectionsOfAnEarlierConfiguration) {
  m_pool.Give(NewLine(1), m_now);
  EXPECT_EQ(m_pool.Take(2, m_now).connection, nullptr);
  EXPECT_TRUE(IsClosed(0));
  // A line that was in use during the change, and a request by a thread with the older revision.
  m_pool.Give(NewLine(1), m_now);
  EXPECT_TRUE(IsClosed(1));
  m_pool.Give(NewLine(2), m_now);
  EXPECT_NE(m_pool.Take(1, m_now).connection, nullptr);
}

TEST_F(TcpPool, ClosesConnectionsThatAreNotQuiet) {
  m_pool.Give(NewLine(), m_now);
  m_pool.Give(NewLine(), m_now);
  m_peers[0] = FileDescriptor();
  EXPECT_EQ(::send(m_peers[1].get(), "x", 1, 0), 1);
  EXPECT_EQ(m_pool.Take(0, m_now).connection, nullptr);
}

}  // namespace Ferrolink::Tests
