#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CONNECTIONPOOL_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CONNECTIONPOOL_H

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "companions/tcp/Connection.h"
#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/client/ClientSettings.h"
#include "companions/tcp/client/Peer.h"

namespace Ferrolink::Companions::Tcp::Client {

/// A connection, the settings that it was opened with, and the index of its server in these.
struct Line {
  std::unique_ptr<Connection> connection;
  std::shared_ptr<const ClientSettings> settings;
  std::size_t server = 0;
  PatientSocket::Clock::time_point lastUsed{};

  [[nodiscard]] const Peer& GetPeer() const { return settings->servers[server]; }
};

/// The idle connections of an endpoint. Thread-safe.
class ConnectionPool {
 public:
  using Clock = PatientSocket::Clock;

  /// Returns an idle connection that was opened with that revision of the configuration or a later
  /// one. Its peer has neither closed it nor sent anything. Without such a connection, the Line has
  /// none. Closes connections that are outdated, idle for too long or unusable.
  Line Take(unsigned revision, Clock::time_point now);

  /// Keeps the connection for a later command; closes it if the pool is full or the configuration
  /// has changed. Closes connections that have been idle for too long.
  void Give(Line line, Clock::time_point now);

  /// A command closes connections that have been idle for longer than this.
  static constexpr std::chrono::seconds kLongestRest{60};

  /// This many of the most recently used idle connections keep their buffers.
  static constexpr std::size_t kWithBuffers = 16;

 private:
  using Lines = std::vector<Line>;

  Line TakeAny(unsigned revision, Clock::time_point now);
  void DropOld(Clock::time_point now, Lines& dropped);

  // Guarded by m_mutex, which is held only to move connections and to free buffers: connections are
  // closed after it is released. The most recently used one is at the end, and is taken first.
  std::mutex m_mutex;
  unsigned m_revision = 0;
  Lines m_idle;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
