#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CONNECTIONPOOL_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CONNECTIONPOOL_H

#include <memory>
#include <mutex>
#include <vector>

#include "companions/tcp/Connection.h"

namespace Ferrolink::Companions::Tcp::Client {

/// Connections that wait for their next command. Any thread.
class ConnectionPool {
 public:
  /// One that its server has not closed meanwhile; null where there is none. Those that it has are
  /// dropped.
  std::unique_ptr<Connection> take();

  /// Keeps it for the next command, or closes it where enough wait already.
  void give(std::unique_ptr<Connection> connection);

 private:
  std::unique_ptr<Connection> takeAny();

  // Guarded by m_mutex, held for a move only. The one that was used last is taken first.
  std::mutex m_mutex;
  std::vector<std::unique_ptr<Connection>> m_idle;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
