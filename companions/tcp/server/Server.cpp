#include "companions/tcp/server/Server.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <asio/post.hpp>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <system_error>

#include "companions/tcp/server/Events.h"
#include "companions/tcp/server/Refusals.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// After a failure to accept, which lasts a while: no memory, no descriptors.
constexpr std::chrono::milliseconds kPause{100};
// What is accepted before others get their turn.
constexpr int kAcceptsATurn = 64;

constexpr std::chrono::seconds kFileCheck{1};
constexpr std::chrono::seconds kTrim{1};

// What connections that were cut may take to notice.
constexpr std::chrono::seconds kAfterCut{1};

// A machine that is gone does not acknowledge what was sent to it: TCP_USER_TIMEOUT.
constexpr std::chrono::milliseconds kUnacknowledged{120'000};

std::string textOf(const asio::ip::tcp::endpoint& endpoint) {
  return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

// How many connections may be open at a time: many times as many as have commands, but handlers
// must find descriptors, too.
std::size_t mostOpen(const ServerOptions& options) {
  rlimit descriptors{};
  getrlimit(RLIMIT_NOFILE, &descriptors);
  const auto all = static_cast<std::size_t>(descriptors.rlim_cur);
  const std::size_t forOthers = std::min(all / 2, std::max<std::size_t>(all / 8, 64));
  return std::min(5 * options.mostConnections + 1024, all - forOthers);
}

bool lacksRoom(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// Of one connection, which is gone.
bool isPassing(int error) {
  return error == EINTR || error == ECONNABORTED || error == EPROTO || error == EPERM;
}

}  // namespace

Server::Server(const ServerOptions& options, const Member& member)
    : m_options(options),
      m_memory(options.memoryLimit),
      m_surroundings{options, member, m_memory, m_departure},
      m_mostOpen(mostOpen(options)),
      m_tls(options),
      m_acceptor(m_context),
      m_signals(m_context, SIGTERM, SIGINT),
      m_hangUp(m_context, SIGHUP),
      m_pause(m_context),
      m_fileCheck(m_context),
      m_trim(m_context),
      m_grace(m_context),
      m_lobby(m_context, options, [this](Guest guest) { call(std::move(guest)); }) {
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
  m_acceptor.native_non_blocking(true);
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
  hearSignals();
  watchFiles();
  accept();
  m_context.run();
  // SIGHUP never ends the process.
  m_hangUp.clear();
  std::signal(SIGHUP, SIG_IGN);
}

void Server::hearSignals() {
  m_hangUp.async_wait([this](const asio::error_code& error, int) {
    if (!error) {
      m_tls.readAgain();
      hearSignals();
    }
  });
}

void Server::watchFiles() {
  if (!m_options.usesTls()) {
    return;
  }
  m_fileCheck.expires_after(kFileCheck);
  m_fileCheck.async_wait([this](const asio::error_code& error) {
    if (!error) {
      m_tls.readAgainIfChanged();
      watchFiles();
    }
  });
}

void Server::accept() {
  if (!m_acceptor.is_open()) {
    return;
  }
  m_acceptor.async_wait(asio::socket_base::wait_read, [this](const asio::error_code& error) {
    if (error == asio::error::operation_aborted || !m_acceptor.is_open()) {
      return;
    }
    if (acceptSome()) {
      accept();
      return;
    }
    m_pause.expires_after(kPause);
    m_pause.async_wait([this](const asio::error_code&) { accept(); });
  });
}

// Whether more can be accepted when they come.
bool Server::acceptSome() {
  for (int turn = 0; turn < kAcceptsATurn; ++turn) {
    asio::ip::tcp::endpoint client;
    auto size = static_cast<socklen_t>(client.capacity());
    FileDescriptor socket(
        ::accept4(m_acceptor.native_handle(), client.data(), &size, SOCK_CLOEXEC));
    if (socket.owns()) {
      client.resize(size);
      welcome(std::move(socket), textOf(client));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      return true;
    } else if (!isPassing(errno) && !(lacksRoom(errno) && m_lobby.dropOldest())) {
      Events::cannotAccept(std::system_category().message(errno));
      return false;
    }
  }
  return true;
}

void Server::welcome(FileDescriptor socket, const std::string& client) {
  while (m_lobby.size() + m_sessions.size() >= m_mostOpen && m_lobby.dropOldest()) {
  }
  try {
    PatientSocket patient(std::move(socket));
    asio::error_code error;
    patient.tune(kUnacknowledged, error);
    m_lobby.greet({connectionOf(std::move(patient)), client});
  } catch (const std::exception& failure) {
    Events::refused(client, failure.what());
  }
}

std::unique_ptr<Connection> Server::connectionOf(PatientSocket socket) const {
  const auto limit =
      static_cast<std::uint32_t>(std::min<std::uint64_t>(m_options.frameLimit, m_memory.largest()));
  if (m_tls.context() == nullptr) {
    return std::make_unique<PlainConnection>(std::move(socket), limit);
  }
  return std::make_unique<TlsConnection>(std::move(socket), limit, m_tls.context(),
                                         asio::ssl::stream_base::server);
}

// The guest's next command is there.
void Server::call(Guest guest) {
  if (m_departure.hasBegun()) {
    m_lobby.refuse(std::move(guest), Refusals::kGoingAway);
    return;
  }
  if (m_sessions.size() >= m_options.mostConnections) {
    m_lobby.refuse(std::move(guest), Refusals::kFull);
    return;
  }
  const auto session = m_sessions.emplace(m_sessions.end(), std::move(guest), *this);
  try {
    session->thread = std::thread(&Server::serve, this, session);
  } catch (const std::system_error&) {
    Guest refused{session->session.takeConnection(), session->client, true};
    m_sessions.erase(session);
    m_lobby.refuse(std::move(refused), Refusals::kNoThread);
  }
}

// On the session's thread. The session has finished also where a handler ends the thread.
void Server::serve(Sessions::iterator session) {
  const std::shared_ptr<void> finishing(nullptr, [this, session](void*) {
    asio::post(m_context, [this, session] { finish(session); });
  });
  session->end = session->session.run();
}

void Server::finish(Sessions::iterator session) {
  session->thread.join();
  Guest guest{session->session.takeConnection(), session->client, true};
  const Session::End end = session->end;
  m_sessions.erase(session);
  giveMemoryBack();
  try {
    goOn(std::move(guest), end);
  } catch (const std::exception& failure) {
    Events::cannotAccept(failure.what());
  }
  if (m_departure.hasBegun() && m_sessions.empty()) {
    m_grace.cancel();
  }
}

void Server::goOn(Guest guest, Session::End end) {
  switch (end) {
    case Session::End::Closed:
      break;
    case Session::End::Idle:
      if (!m_departure.hasBegun()) {
        m_lobby.await(std::move(guest));
        break;
      }
      [[fallthrough]];
    case Session::End::GoingAway:
      m_lobby.sayGoodbye(std::move(guest), Refusals::kGoingAway);
      break;
    case Session::End::Answered:
      m_lobby.close(std::move(guest));
      break;
  }
}

// The C library keeps what was freed; after large frames the system gets it back.
void Server::giveMemoryBack() {
  if (m_trimIsDue || m_departure.hasBegun() || !m_memory.hasGivenBack()) {
    return;
  }
  m_trimIsDue = true;
  m_trim.expires_after(kTrim);
  m_trim.async_wait([this](const asio::error_code& error) {
    m_trimIsDue = false;
    if (!error) {
      malloc_trim(0);
    }
  });
}

// The handlers of the signals go, too: a second signal ends the process as it is.
void Server::end() {
  m_signals.clear();
  m_hangUp.cancel();
  m_pause.cancel();
  m_fileCheck.cancel();
  m_trim.cancel();
  m_acceptor.close();
  m_departure.begin();
  m_lobby.goAway(Refusals::kGoingAway);
  if (m_sessions.empty()) {
    return;
  }
  m_grace.expires_after(m_options.shutdownGrace);
  m_grace.async_wait([this](const asio::error_code& error) {
    if (!error) {
      cut();
    }
  });
}

void Server::cut() {
  Events::cut(m_sessions.size());
  m_lobby.cut();
  for (Running& running : m_sessions) {
    running.session.cut();
  }
  m_grace.expires_after(kAfterCut);
  m_grace.async_wait([this](const asio::error_code& error) {
    if (!error && !m_sessions.empty()) {
      Events::abandoned(m_sessions.size());
      std::_Exit(EXIT_FAILURE);
    }
  });
}

}  // namespace Ferrolink::Companions::Tcp::Server
