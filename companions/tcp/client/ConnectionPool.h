#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CONNECTIONPOOL_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CONNECTIONPOOL_H

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "companions/tcp/Connection.h"
#include "companions/tcp/client/ClientSettings.h"

namespace Ferrolink::Companions::Tcp::Client {

/// A connection, its settings, and the index of its server in them.
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

  /// Returns an open idle connection of that configuration revision or a later one; a Line without
  /// a connection if there is none. Closes unusable ones that it meets.
  Line Take(unsigned revision, Clock::time_point now);

  /// Keeps the connection for the next command, unless the pool is full or the configuration has
  /// changed. Closes connections that have been idle for too long.
  void Give(Line line, Clock::time_point now);

  /// The idle time after which a later command closes a connection.
  static constexpr std::chrono::seconds kLongestRest{60};

  /// This many of the most recently used idle connections keep their buffers.
  static constexpr std::size_t kWithBuffers = 16;

 private:
  using Lines = std::vector<Line>;

  Line TakeAny(unsigned revision, Clock::time_point now);
  void DropOld(Clock::time_point now, Lines& dropped);

  // Guarded by m_mutex, which is held for moves and freed buffers only: connections are closed
  // without it. The most recently used connection is at the end, and is taken first.
  std::mutex m_mutex;
  unsigned m_revision = 0;
  Lines m_idle;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
