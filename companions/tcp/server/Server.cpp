#include "companions/tcp/server/Server.h"

#include <asio/post.hpp>
#include <csignal>
#include <system_error>
#include <utility>

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// After a failure to accept, which lasts a while: no memory, no descriptors.
constexpr std::chrono::milliseconds kPause{100};

// A machine that is gone does not acknowledge what was sent to it: TCP_USER_TIMEOUT.
constexpr std::chrono::milliseconds kUnacknowledged{120'000};

std::string textOf(const asio::ip::tcp::endpoint& endpoint) {
  return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

TlsContext tlsOf(const ServerOptions& options) {
  if (!options.usesTls()) {
    return nullptr;
  }
  TlsContext context = makeTlsContext(asio::ssl::context::tls_server);
  useCertificate(*context, options.certificate, options.key);
  if (!options.clientAuthorities.empty()) {
    useAuthorities(*context, options.clientAuthorities);
    context->set_verify_mode(asio::ssl::verify_peer | asio::ssl::verify_fail_if_no_peer_cert);
  }
  return context;
}

}  // namespace

Server::Server(const ServerOptions& options, const Member& member)
    : m_options(options),
      m_member(member),
      m_tls(tlsOf(options)),
      m_acceptor(m_context),
      m_signals(m_context, SIGTERM, SIGINT),
      m_pause(m_context) {
  listen();
}

void Server::listen() {
  m_acceptor.open(m_options.listen.protocol());
  closeOnExec(m_acceptor.native_handle());
  m_acceptor.set_option(asio::socket_base::reuse_address(true));
  asio::error_code error;
  m_acceptor.bind(m_options.listen, error);
  if (error) {
    throw std::system_error(error, "Cannot listen on " + textOf(m_options.listen));
  }
  m_acceptor.listen();
}

std::string Server::address() const {
  return textOf(m_acceptor.local_endpoint());
}

void Server::run() {
  m_signals.async_wait([this](const asio::error_code& error, int) {
    if (!error) {
      end();
    }
  });
  accept();
  m_context.run();
}

// One accept is under way at a time, and none while there are as many sessions as may be.
void Server::accept() {
  if (m_accepting || !m_acceptor.is_open() || m_sessions.size() >= m_options.mostConnections) {
    return;
  }
  m_accepting = true;
  m_acceptor.async_accept([this](asio::error_code error, asio::ip::tcp::socket socket) {
    m_accepting = false;
    if (error == asio::error::operation_aborted) {
      return;
    }
    const auto client = error ? asio::ip::tcp::endpoint() : socket.remote_endpoint(error);
    if (!error) {
      start(std::move(socket), textOf(client));
    } else if (error != asio::error::not_connected && error != asio::error::connection_aborted) {
      logLine("Cannot accept a connection: " + error.message());
      m_pause.expires_after(kPause);
      m_pause.async_wait([this](const asio::error_code&) { accept(); });
      return;
    }
    accept();
  });
}

void Server::start(asio::ip::tcp::socket socket, const std::string& client) {
  auto session = m_sessions.end();
  try {
    // Sessions wait on their own threads: the event loop forgets their sockets.
    PatientSocket patient{FileDescriptor(socket.release())};
    closeOnExec(patient.descriptor());
    asio::error_code error;
    patient.tune(kUnacknowledged, error);
    session = m_sessions.emplace(m_sessions.end(), connectionOf(std::move(patient)), client, *this);
    session->thread = std::thread(&Server::serve, this, session);
  } catch (const std::exception& failure) {
    logLine(client + ": refused: " + failure.what());
    if (session != m_sessions.end()) {
      m_sessions.erase(session);
    }
  }
}

// On the session's thread. The session has finished also where a handler ends the thread.
void Server::serve(Sessions::iterator session) {
  const std::shared_ptr<void> finishing(nullptr, [this, session](void*) {
    asio::post(m_context, [this, session] { finish(session); });
  });
  session->session.run();
}

std::unique_ptr<Connection> Server::connectionOf(PatientSocket socket) const {
  if (m_tls == nullptr) {
    return std::make_unique<PlainConnection>(std::move(socket), m_options.frameLimit);
  }
  return std::make_unique<TlsConnection>(std::move(socket), m_options.frameLimit, m_tls,
                                         asio::ssl::stream_base::server);
}

void Server::finish(Sessions::iterator session) {
  session->thread.join();
  m_sessions.erase(session);
  accept();
}

// The handlers of the signals go, too: a second signal ends the process as it is.
void Server::end() {
  m_signals.clear();
  m_pause.cancel();
  m_acceptor.close();
  for (Running& running : m_sessions) {
    running.session.end();
  }
}

}  // namespace Ferrolink::Companions::Tcp::Server
