#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SERVER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SERVER_H

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "companions/tcp/Connection.h"
#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/server/Crowd.h"
#include "companions/tcp/server/Departure.h"
#include "companions/tcp/server/Events.h"
#include "companions/tcp/server/Guest.h"
#include "companions/tcp/server/HangUpSignal.h"
#include "companions/tcp/server/Listener.h"
#include "companions/tcp/server/Lobby.h"
#include "companions/tcp/server/Member.h"
#include "companions/tcp/server/MemoryBudget.h"
#include "companions/tcp/server/MemoryTrim.h"
#include "companions/tcp/server/Readiness.h"
#include "companions/tcp/server/ServerOptions.h"
#include "companions/tcp/server/ServerTls.h"
#include "companions/tcp/server/ServiceManager.h"
#include "companions/tcp/server/Session.h"
#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The receivers of a server's reports. All must outlive the server.
struct Operations {
  const Events& events;
  MemoryBudget& memory;
  Readiness& readiness;
  const ServiceManager& manager;
};

/// Accepts clients and serves each one with commands on a thread, until the process is asked to
/// end.
///
/// Everything except the sessions runs on the thread of Run(), without locks.
class Server {
 public:
  /// Accepts from the socket in `listener`; if it owns none, binds and listens. Construct it after
  /// the runtime has started, because it replaces the runtime's signal handlers. Errors:
  /// TlsFileError, std::system_error.
  Server(const ServerOptions& options, const Member& member, Operations operations,
         const FileDescriptor& listener);

  /// The address on which it listens, with the real port.
  [[nodiscard]] std::string Address() const;
  /// Whether other machines can connect.
  [[nodiscard]] bool IsReachableFromOutside() const;

  /// Serves until SIGTERM or SIGINT has arrived, the time to drain is over and the last connection
  /// has ended. Readiness is on from the start to the signal. If commands do not end in time, the
  /// process ends with 1.
  void Run();

 private:
  struct Running {
    Running(Guest guest, Server& server)
        : session(std::move(guest), server.m_surroundings),
          running(server.m_context.get_executor()) {}

    Session session;
    Session::End end = Session::End::Closed;
    std::thread thread;
    asio::executor_work_guard<asio::io_context::executor_type> running;
  };
  using Sessions = std::list<Running>;

  void Reload();
  void WatchFiles();

  void Welcome(FileDescriptor socket, const asio::ip::tcp::endpoint& client);
  std::unique_ptr<Connection> ConnectionOf(PatientSocket socket) const;

  void Call(Guest guest);
  void Serve(Sessions::iterator session);
  void Finish(Sessions::iterator session);
  void GoOn(Guest guest, Session::End end);
  void GiveMemoryBack();

  void Drain();
  void End();
  void Cut();

  const ServerOptions& m_options;
  const Operations m_operations;
  Departure m_departure;
  Crowd m_crowd;
  const Surroundings m_surroundings;
  ServerTls m_tls;

  asio::io_context m_context;
  Listener m_listener;
  asio::signal_set m_signals;
  HangUpSignal m_hangUp;
  asio::steady_timer m_fileCheck;
  MemoryTrim m_trim;
  asio::steady_timer m_grace;
  Sessions m_sessions;
  Lobby m_lobby;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
