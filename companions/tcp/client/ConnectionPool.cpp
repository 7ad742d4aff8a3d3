#include "companions/tcp/client/ConnectionPool.h"

#include <utility>

namespace Ferrolink::Companions::Tcp::Client {

Line ConnectionPool::Take(unsigned revision, Clock::time_point now) {
  for (;;) {
    Line line = TakeAny(revision, now);
    if (line.connection == nullptr || line.connection->IsQuiet()) {
      return line;
    }
  }
}

void ConnectionPool::Give(Line line, Clock::time_point now) {
  Lines dropped;
  const std::lock_guard<std::mutex> lock(m_mutex);
  DropOld(now, dropped);
  if (line.settings->revision >= m_revision && m_idle.size() < line.settings->poolSize) {
    line.lastUsed = now;
    line.connection->KeepBuffers(true);
    m_idle.push_back(std::move(line));
    if (m_idle.size() > kWithBuffers) {
      m_idle[m_idle.size() - 1 - kWithBuffers].connection->KeepBuffers(false);
    }
  }
}

Line ConnectionPool::TakeAny(unsigned revision, Clock::time_point now) {
  Lines dropped;
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (revision > m_revision) {
    m_revision = revision;
    m_idle.swap(dropped);
  }
  DropOld(now, dropped);
  if (m_idle.empty()) {
    return {};
  }
  Line line = std::move(m_idle.back());
  m_idle.pop_back();
  return line;
}

void ConnectionPool::DropOld(Clock::time_point now, Lines& dropped) {
  auto young = m_idle.begin();
  while (young != m_idle.end() && young->lastUsed + kLongestRest < now) {
    dropped.push_back(std::move(*young));
    ++young;
  }
  m_idle.erase(m_idle.begin(), young);
}

}  // namespace Ferrolink::Companions::Tcp::Client
