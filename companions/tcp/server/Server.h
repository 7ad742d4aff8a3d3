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

#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/server/Member.h"
#include "companions/tcp/server/ServerOptions.h"
#include "companions/tcp/server/Session.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Accepts clients, each on a thread of its own, until the process is asked to end.
///
/// Everything but the sessions happens on the thread of run(), so that nothing needs a lock.
class Server {
 public:
  /// Binds and listens. Made after the runtime has started, whose signal handlers it replaces.
  /// Errors: TlsFileError, std::system_error.
  Server(const ServerOptions& options, const Member& member);

  /// Where it listens, with the real port.
  [[nodiscard]] std::string address() const;

  /// Until SIGTERM or SIGINT has come and the last session has ended.
  void run();

 private:
  struct Running {
    Running(std::unique_ptr<Connection> connection, std::string client, Server& server)
        : session(std::move(connection), std::move(client), server.m_options, server.m_member),
          running(server.m_context.get_executor()) {}

    Session session;
    std::thread thread;
    asio::executor_work_guard<asio::io_context::executor_type> running;
  };
  using Sessions = std::list<Running>;

  void listen();
  void accept();
  void start(asio::ip::tcp::socket socket, const std::string& client);
  void serve(Sessions::iterator session);
  void finish(Sessions::iterator session);
  void end();
  std::unique_ptr<Connection> connectionOf(PatientSocket socket) const;

  const ServerOptions& m_options;
  const Member& m_member;
  TlsContext m_tls;  ///< null without TLS

  asio::io_context m_context;
  asio::ip::tcp::acceptor m_acceptor;
  asio::signal_set m_signals;
  asio::steady_timer m_pause;
  Sessions m_sessions;
  bool m_accepting = false;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
