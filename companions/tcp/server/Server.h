#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SERVER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SERVER_H

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <cstddef>
#include <list>
#include <string>
#include <thread>
#include <utility>

#include "companions/tcp/server/Departure.h"
#include "companions/tcp/server/Lobby.h"
#include "companions/tcp/server/Member.h"
#include "companions/tcp/server/MemoryBudget.h"
#include "companions/tcp/server/ServerOptions.h"
#include "companions/tcp/server/ServerTls.h"
#include "companions/tcp/server/Session.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Accepts clients and serves each one with commands on a thread, until the process is asked to
/// end.
///
/// Everything but the sessions happens on the thread of run(), so that nothing needs a lock.
class Server {
 public:
  /// Binds and listens. Made after the runtime has started, whose signal handlers it replaces.
  /// Errors: TlsFileError, std::system_error.
  Server(const ServerOptions& options, const Member& member);

  /// Where it listens, with the real port.
  [[nodiscard]] std::string address() const;

  /// Until SIGTERM or SIGINT has come and the last connection has ended. Where commands do not end
  /// in the time they have, the process ends with 1.
  void run();

 private:
  struct Running {
    Running(Guest guest, Server& server)
        : client(std::move(guest.client)),
          session(std::move(guest.connection), client, server.m_surroundings),
          running(server.m_context.get_executor()) {}

    const std::string client;
    Session session;
    Session::End end = Session::End::Closed;
    std::thread thread;
    asio::executor_work_guard<asio::io_context::executor_type> running;
  };
  using Sessions = std::list<Running>;

  void listen();
  void hearSignals();
  void watchFiles();

  void accept();
  bool acceptSome();
  void welcome(FileDescriptor socket, const std::string& client);
  std::unique_ptr<Connection> connectionOf(PatientSocket socket) const;

  void call(Guest guest);
  void serve(Sessions::iterator session);
  void finish(Sessions::iterator session);
  void goOn(Guest guest, Session::End end);
  void giveMemoryBack();

  void end();
  void cut();

  const ServerOptions& m_options;
  MemoryBudget m_memory;
  Departure m_departure;
  const Surroundings m_surroundings;
  const std::size_t m_mostOpen;
  ServerTls m_tls;

  asio::io_context m_context;
  asio::ip::tcp::acceptor m_acceptor;
  asio::signal_set m_signals;
  asio::signal_set m_hangUp;
  asio::steady_timer m_pause;
  asio::steady_timer m_fileCheck;
  asio::steady_timer m_trim;
  asio::steady_timer m_grace;
  bool m_trimIsDue = false;
  Sessions m_sessions;
  Lobby m_lobby;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
