#include "companions/tcp/server/Server.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <asio/post.hpp>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <system_error>

#include "companions/tcp/Connection.h"
#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/server/Guest.h"
#include "companions/tcp/server/Metrics.h"
#include "companions/tcp/server/Refusals.h"
#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

constexpr std::chrono::seconds kFileCheck{1};

// The time for cut connections to notice it.
constexpr std::chrono::seconds kAfterCut{1};

// TCP_USER_TIMEOUT: a dead machine does not acknowledge what was sent to it.
constexpr std::chrono::milliseconds kUnacknowledged{120'000};

// The limit of open connections: far more than connections with commands, but handlers need
// descriptors, too.
std::size_t MostOpen(const ServerOptions& options) {
  rlimit descriptors{};
  getrlimit(RLIMIT_NOFILE, &descriptors);
  const auto all = static_cast<std::size_t>(descriptors.rlim_cur);
  const std::size_t forOthers = std::min(all / 2, std::max<std::size_t>(all / 8, 64));
  return std::min(5 * options.mostConnections + 1024, all - forOthers);
}

}  // namespace

Server::Server(const ServerOptions& options, const Member& member, Operations operations,
               const FileDescriptor& listener)
    : m_options(options),
      m_operations(operations),
      m_crowd(options.mostConnections),
      m_surroundings{options, member, operations.memory, m_departure, m_crowd, operations.events},
      m_tls(options, operations.events),
      m_listener(m_context, MostOpen(options), operations.events,
                 {[this] { return m_lobby.size() + m_sessions.size(); },
                  [this] { return m_lobby.DropOldest(); },
                  [this](FileDescriptor socket, const asio::ip::tcp::endpoint& client) {
                    Welcome(std::move(socket), client);
                  }}),
      m_signals(m_context, SIGTERM, SIGINT),
      m_hangUp(m_context, [this] { Reload(); }),
      m_fileCheck(m_context),
      m_trim(m_context),
      m_grace(m_context),
      m_lobby(m_context, options, operations.events,
              [this](Guest guest) { Call(std::move(guest)); }) {
  if (listener.Owns()) {
    m_listener.Adopt(listener);
  } else {
    m_listener.Listen(options.listen);
  }
}

std::string Server::Address() const {
  return NameOf(m_listener.Address());
}

bool Server::IsReachableFromOutside() const {
  return !m_listener.Address().address().is_loopback();
}

void Server::Run() {
  m_signals.async_wait([this](const asio::error_code& error, int) {
    if (!error) {
      Drain();
    }
  });
  WatchFiles();
  m_listener.Start();
  m_operations.readiness.BecomeReady();
  m_operations.manager.NotifyReady();
  m_context.run();
  m_operations.events.Drained();
}

// A draining server stays not ready.
void Server::Reload() {
  m_operations.manager.NotifyReloading();
  m_tls.ReadAgain();
  if (m_operations.readiness.IsReady()) {
    m_operations.manager.NotifyReady();
  } else {
    m_operations.manager.NotifyStopping();
  }
}

void Server::WatchFiles() {
  if (!m_options.UsesTls()) {
    return;
  }
  m_fileCheck.expires_after(kFileCheck);
  m_fileCheck.async_wait([this](const asio::error_code& error) {
    // A handler that was already due cannot be cancelled.
    if (!error && !m_departure.HasBegun()) {
      m_tls.ReadAgainIfChanged();
      WatchFiles();
    }
  });
}

void Server::Welcome(FileDescriptor socket, const asio::ip::tcp::endpoint& client) {
  Guest guest{nullptr, NameOf(client), client.address().to_string()};
  try {
    PatientSocket patient(std::move(socket));
    asio::error_code error;
    patient.Tune(kUnacknowledged, error);
    guest.connection = ConnectionOf(std::move(patient));
    m_lobby.Greet(std::move(guest));
  } catch (const std::exception& failure) {
    m_operations.events.CannotAccept(NameOf(client) + ": " + failure.what());
  }
}

std::unique_ptr<Connection> Server::ConnectionOf(PatientSocket socket) const {
  const auto limit = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(m_options.frameLimit, m_operations.memory.Largest()));
  if (m_tls.Context() == nullptr) {
    return std::make_unique<PlainConnection>(std::move(socket), limit);
  }
  return std::make_unique<TlsConnection>(std::move(socket), limit, m_tls.Context(),
                                         asio::ssl::stream_base::server);
}

// Called when the header of the guest's next command has arrived.
void Server::Call(Guest guest) {
  if (m_departure.HasBegun()) {
    m_lobby.Refuse(std::move(guest), Refusals::kGoingAway, Refusal::GoingAway);
    return;
  }
  if (m_sessions.size() >= m_options.mostConnections) {
    m_lobby.Refuse(std::move(guest), Refusals::kFull, Refusal::Busy);
    return;
  }
  guest.isKnown = true;
  const auto session = m_sessions.emplace(m_sessions.end(), std::move(guest), *this);
  m_crowd.Enter();
  try {
    session->thread = std::thread(&Server::Serve, this, session);
  } catch (const std::exception&) {
    Guest refused = session->session.TakeGuest();
    m_sessions.erase(session);
    m_crowd.Leave();
    m_lobby.Refuse(std::move(refused), Refusals::kNoThread, Refusal::Busy);
  }
}

// Runs on the session's thread. The session finishes even if a handler ends the thread.
void Server::Serve(Sessions::iterator session) {
  const std::shared_ptr<void> finishing(nullptr, [this, session](void*) {
    asio::post(m_context, [this, session] { Finish(session); });
  });
  session->end = session->session.Run();
}

void Server::Finish(Sessions::iterator session) {
  session->thread.join();
  Guest guest = session->session.TakeGuest();
  const Session::End end = session->end;
  m_sessions.erase(session);
  m_crowd.Leave();
  GiveMemoryBack();
  try {
    GoOn(std::move(guest), end);
  } catch (const std::exception& failure) {
    m_operations.events.CannotAccept(failure.what());
  }
  if (m_departure.HasBegun() && m_sessions.empty()) {
    m_grace.cancel();
  }
}

void Server::GoOn(Guest guest, Session::End end) {
  switch (end) {
    case Session::End::Closed:
      break;
    case Session::End::Idle:
      if (!m_departure.HasBegun()) {
        m_lobby.Await(std::move(guest));
        break;
      }
      [[fallthrough]];
    case Session::End::GoingAway:
      m_lobby.SayGoodbye(std::move(guest), Refusals::kGoingAway);
      break;
    case Session::End::Answered:
      m_lobby.Close(std::move(guest));
      break;
  }
}

// Returns freed memory of large frames from the C library to the system.
void Server::GiveMemoryBack() {
  if (m_trim.IsDue() || m_departure.HasBegun() || !m_operations.memory.HasGivenBack()) {
    return;
  }
  m_trim.Schedule();
}

// First /readyz fails, while commands are still served. The signal handlers are removed, so a
// second signal ends the process.
void Server::Drain() {
  m_signals.clear();
  m_operations.readiness.BeginDraining();
  m_operations.manager.NotifyStopping();
  if (m_options.drain.count() == 0) {
    End();
    return;
  }
  m_grace.expires_after(m_options.drain);
  m_grace.async_wait([this](const asio::error_code& error) {
    if (!error) {
      End();
    }
  });
}

void Server::End() {
  m_hangUp.Ignore();
  m_fileCheck.cancel();
  m_trim.Cancel();
  m_listener.Close();
  m_departure.Begin();
  m_lobby.GoAway(Refusals::kGoingAway);
  if (m_sessions.empty()) {
    return;
  }
  m_grace.expires_after(m_options.shutdownGrace);
  m_grace.async_wait([this](const asio::error_code& error) {
    if (!error) {
      Cut();
    }
  });
}

void Server::Cut() {
  m_operations.events.Cut(m_sessions.size());
  m_lobby.Cut();
  for (Running& running : m_sessions) {
    running.session.Cut();
  }
  m_grace.expires_after(kAfterCut);
  m_grace.async_wait([this](const asio::error_code& error) {
    if (!error && !m_sessions.empty()) {
      PrintLine(STDERR_FILENO, std::to_string(m_sessions.size()) +
                                   " commands do not end; the process ends without them");
      std::_Exit(EXIT_FAILURE);
    }
  });
}

}  // namespace Ferrolink::Companions::Tcp::Server
