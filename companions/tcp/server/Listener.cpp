#include "companions/tcp/server/Listener.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <asio/error.hpp>
#include <asio/socket_base.hpp>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// The pause after a failure to accept, which may last: no memory, no descriptors.
constexpr std::chrono::milliseconds kPause{100};
// The connections accepted before others get their turn.
constexpr int kAcceptsATurn = 64;

bool LacksRoom(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// Whether the error concerns one lost connection only.
bool IsPassing(int error) {
  return error == EINTR || error == ECONNABORTED || error == EPROTO || error == EPERM;
}

}  // namespace

Listener::Listener(asio::io_context& context, std::size_t mostOpen, const Events& events,
                   Hooks hooks)
    : m_mostOpen(mostOpen),
      m_events(events),
      m_hooks(std::move(hooks)),
      m_acceptor(context),
      m_pause(context) {}

void Listener::Listen(const asio::ip::tcp::endpoint& address) {
  m_acceptor.open(address.protocol());
  CloseOnExec(m_acceptor.native_handle());
  m_acceptor.set_option(asio::socket_base::reuse_address(true));
  asio::error_code error;
  m_acceptor.bind(address, error);
  if (error) {
    throw std::system_error(error, "Cannot listen on " + NameOf(address));
  }
  m_acceptor.listen();
  m_acceptor.native_non_blocking(true);
}

void Listener::Adopt(const FileDescriptor& bound) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (getsockname(bound.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::system_error(errno, std::system_category(), "Cannot use the socket that listens");
  }
  const auto protocol = address.ss_family == AF_INET6 ? asio::ip::tcp::v6() : asio::ip::tcp::v4();
  m_acceptor.assign(protocol, fcntl(bound.get(), F_DUPFD_CLOEXEC, 0));
  m_acceptor.native_non_blocking(true);
}

void Listener::Start() {
  Accept();
}

void Listener::Close() {
  m_pause.cancel();
  m_acceptor.close();
}

void Listener::Accept() {
  if (!m_acceptor.is_open()) {
    return;
  }
  m_acceptor.async_wait(asio::socket_base::wait_read, [this](const asio::error_code& error) {
    if (error == asio::error::operation_aborted || !m_acceptor.is_open()) {
      return;
    }
    if (AcceptSome()) {
      Accept();
      return;
    }
    m_pause.expires_after(kPause);
    m_pause.async_wait([this](const asio::error_code&) { Accept(); });
  });
}

// Accepts waiting connections. False after an error that pauses accepting.
bool Listener::AcceptSome() {
  for (int turn = 0; turn < kAcceptsATurn; ++turn) {
    asio::ip::tcp::endpoint client;
    auto size = static_cast<socklen_t>(client.capacity());
    FileDescriptor socket(
        ::accept4(m_acceptor.native_handle(), client.data(), &size, SOCK_CLOEXEC));
    if (socket.Owns()) {
      client.resize(size);
      while (m_hooks.countOpen() >= m_mostOpen && m_hooks.dropOldest()) {
      }
      m_hooks.welcome(std::move(socket), client);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      return true;
    } else if (!IsPassing(errno) && !(LacksRoom(errno) && m_hooks.dropOldest())) {
      m_events.CannotAccept(std::system_category().message(errno));
      return false;
    }
  }
  return true;
}

}  // namespace Ferrolink::Companions::Tcp::Server
