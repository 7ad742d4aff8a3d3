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

/// A connection, the settings under which it was made, and whom of their servers it leads to.
struct Line {
  std::unique_ptr<Connection> connection;
  std::shared_ptr<const ClientSettings> settings;
  std::size_t server = 0;
  PatientSocket::Clock::time_point lastUsed{};

  [[nodiscard]] const Peer& Peer() const { return settings->servers[server]; }
};

/// Connections that wait for their next command. Any thread.
class ConnectionPool {
 public:
  using Clock = PatientSocket::Clock;

  /// One that is quiet, and made under that revision of the configuration or a later one; without a
  /// connection where there is none. All others that it meets are closed.
  Line Take(unsigned revision, Clock::time_point now);

  /// Keeps it for the next command, unless as many as its settings say wait already, or the
  /// configuration has changed. Closes what has waited for too long.
  void Give(Line line, Clock::time_point now);

  /// What no command has used for so long is closed, by a later command.
  static constexpr std::chrono::seconds kLongestRest{60};

  /// As many of those that wait, the last used ones, keep their buffers for the next command.
  static constexpr std::size_t kWithBuffers = 16;

 private:
  using Lines = std::vector<Line>;

  Line TakeAny(unsigned revision, Clock::time_point now);
  void DropOld(Clock::time_point now, Lines& dropped);

  // Guarded by m_mutex, held for moves and freed buffers: connections are closed without it. The
  // one that was used last is at the end, and is taken first.
  std::mutex m_mutex;
  unsigned m_revision = 0;
  Lines m_idle;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
