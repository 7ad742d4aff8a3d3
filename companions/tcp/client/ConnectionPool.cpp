#include "companions/tcp/client/ConnectionPool.h"

#include <utility>

namespace Ferrolink::Companions::Tcp::Client {
namespace {

constexpr std::size_t kMostIdle = 64;

}  // namespace

std::unique_ptr<Connection> ConnectionPool::take() {
  for (;;) {
    std::unique_ptr<Connection> connection = takeAny();
    if (connection == nullptr || connection->isQuiet()) {
      return connection;
    }
  }
}

void ConnectionPool::give(std::unique_ptr<Connection> connection) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_idle.size() < kMostIdle) {
    m_idle.push_back(std::move(connection));
  }
}

std::unique_ptr<Connection> ConnectionPool::takeAny() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_idle.empty()) {
    return nullptr;
  }
  std::unique_ptr<Connection> connection = std::move(m_idle.back());
  m_idle.pop_back();
  return connection;
}

}  // namespace Ferrolink::Companions::Tcp::Client
