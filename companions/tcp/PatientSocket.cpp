#include "companions/tcp/PatientSocket.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

namespace Ferrolink::Companions::Tcp {
namespace {

// A peer that is gone without a word is noticed after two minutes.
using KeepIdle = asio::detail::socket_option::integer<IPPROTO_TCP, TCP_KEEPIDLE>;
using KeepInterval = asio::detail::socket_option::integer<IPPROTO_TCP, TCP_KEEPINTVL>;
using KeepCount = asio::detail::socket_option::integer<IPPROTO_TCP, TCP_KEEPCNT>;
constexpr int kKeepIdleSeconds = 60;
constexpr int kKeepIntervalSeconds = 10;
constexpr int kKeepCount = 6;

asio::error_code lastError() {
  return {errno, asio::system_category()};
}

}  // namespace

void closeOnExec(int descriptor) {
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

PatientSocket::PatientSocket(Socket socket) : m_socket(std::move(socket)) {
  m_socket.non_blocking(true);
  closeOnExec(m_socket.native_handle());
}

void PatientSocket::connect(const asio::ip::tcp::endpoint& endpoint, asio::error_code& error) {
  const int descriptor = m_socket.native_handle();
  if (::connect(descriptor, endpoint.data(), static_cast<socklen_t>(endpoint.size())) == 0) {
    return;
  }
  if (errno != EINPROGRESS && errno != EINTR) {
    error = lastError();
    return;
  }
  if (!wait(POLLOUT, error)) {
    return;
  }
  int reason = 0;
  socklen_t size = sizeof reason;
  getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &reason, &size);
  error = asio::error_code(reason, asio::system_category());
}

void PatientSocket::tune(asio::error_code& error) {
  const auto set = [&](const auto& option) {
    if (!error) {
      m_socket.set_option(option, error);
    }
  };
  set(asio::ip::tcp::no_delay(true));
  set(asio::socket_base::keep_alive(true));
  set(KeepIdle(kKeepIdleSeconds));
  set(KeepInterval(kKeepIntervalSeconds));
  set(KeepCount(kKeepCount));
}

std::uint8_t PatientSocket::peek(asio::error_code& error) {
  std::uint8_t byte = 0;
  const std::size_t got = retry(POLLIN, error, [&] {
    return m_socket.receive(asio::buffer(&byte, 1), asio::socket_base::message_peek, error);
  });
  return got == 1 ? byte : std::uint8_t{0};
}

bool PatientSocket::isQuiet() {
  std::uint8_t byte = 0;
  asio::error_code error;
  m_socket.receive(asio::buffer(&byte, 1), asio::socket_base::message_peek, error);
  return error == asio::error::would_block || error == asio::error::try_again;
}

void PatientSocket::drain() {
  asio::error_code error;
  m_socket.shutdown(Socket::shutdown_send, error);
  std::array<std::uint8_t, 4096> unwanted;
  while (!error) {
    read_some(asio::buffer(unwanted), error);
  }
}

void PatientSocket::endReading() {
  ::shutdown(m_socket.native_handle(), SHUT_RD);
}

bool PatientSocket::wait(short events, asio::error_code& error) {
  for (;;) {
    int milliseconds = -1;
    if (m_deadline) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*m_deadline - Clock::now());
      milliseconds = static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
    }
    pollfd watched{m_socket.native_handle(), events, 0};
    const int ready = poll(&watched, 1, milliseconds);
    if (ready > 0) {
      error.clear();
      return true;
    }
    if (ready == 0) {
      error = asio::error::timed_out;
      return false;
    }
    if (errno != EINTR) {
      error = lastError();
      return false;
    }
  }
}

}  // namespace Ferrolink::Companions::Tcp
