#include "companions/tcp/PatientSocket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <asio/error.hpp>
#include <cerrno>
#include <climits>

namespace Ferrolink::Companions::Tcp {
namespace {

// A dead peer is detected after two minutes.
constexpr int kKeepIdleSeconds = 60;
constexpr int kKeepIntervalSeconds = 10;
constexpr int kKeepCount = 6;

asio::error_code LastError() {
  return {errno, asio::system_category()};
}

bool WouldBlock() {
  return errno == EAGAIN || errno == EWOULDBLOCK;
}

// Milliseconds for poll(2), rounded up.
int PollTime(std::chrono::nanoseconds left) {
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(left).count();
  return static_cast<int>(std::clamp<long long>(milliseconds, 0, INT_MAX));
}

}  // namespace

void CloseOnExec(int descriptor) {
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

PatientSocket PatientSocket::Open(const asio::ip::tcp& protocol) {
  FileDescriptor socket(
      ::socket(protocol.family(), protocol.type() | SOCK_CLOEXEC, protocol.protocol()));
  if (!socket.Owns()) {
    throw std::system_error(LastError());
  }
  return PatientSocket(std::move(socket));
}

// Connects without blocking, because only poll(2) has a time limit, and a connect that a signal has
// interrupted cannot be repeated.
void PatientSocket::Connect(const Endpoint& endpoint, asio::error_code& error) {
  const int descriptor = m_socket.get();
  const int flags = fcntl(descriptor, F_GETFL);
  fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
  if (::connect(descriptor, endpoint.data(), static_cast<socklen_t>(endpoint.size())) != 0) {
    if (errno != EINPROGRESS && errno != EINTR) {
      error = LastError();
    } else if (Wait(POLLOUT, error)) {
      int reason = 0;
      socklen_t size = sizeof reason;
      getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &reason, &size);
      error = asio::error_code(reason, asio::system_category());
    }
  }
  fcntl(descriptor, F_SETFL, flags);
}

void PatientSocket::Tune(std::chrono::milliseconds unacknowledged, asio::error_code& error) {
  const auto set = [&](int level, int option, int value) {
    if (!error && setsockopt(m_socket.get(), level, option, &value, sizeof value) != 0) {
      error = LastError();
    }
  };
  set(IPPROTO_TCP, TCP_NODELAY, 1);
  set(SOL_SOCKET, SO_KEEPALIVE, 1);
  set(IPPROTO_TCP, TCP_KEEPIDLE, kKeepIdleSeconds);
  set(IPPROTO_TCP, TCP_KEEPINTVL, kKeepIntervalSeconds);
  set(IPPROTO_TCP, TCP_KEEPCNT, kKeepCount);
  set(IPPROTO_TCP, TCP_USER_TIMEOUT,
      static_cast<int>(std::min<long long>(unacknowledged.count(), INT_MAX)));
}

// Event loops leave sockets non-blocking. If the option cannot be set, recv(2) would block without
// limit, so it is not used then.
void PatientSocket::ExpectWithin(std::chrono::milliseconds time) {
  timeval limit{};
  limit.tv_sec = time.count() / 1000;
  limit.tv_usec = time.count() % 1000 * 1000;
  int nonBlocking = 0;
  const bool set = ioctl(m_socket.get(), FIONBIO, &nonBlocking) == 0 &&
                   setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0;
  m_expected = set ? time : std::chrono::milliseconds(0);
}

std::size_t PatientSocket::Receive(std::span<std::uint8_t> room, asio::error_code& error) {
  error.clear();
  if (room.empty()) {
    return 0;
  }
  bool inKernel = m_expected.count() > 0 && !m_deadline && !m_span && !m_dontWait;
  // With limits it waits first, because the expected bytes have usually not arrived yet.
  bool waitFirst = IsLimited() && !inKernel && !m_dontWait && !m_moreExpected;
  std::chrono::milliseconds waited{0};
  for (;;) {
    if (waitFirst && !Wait(POLLIN, error, waited)) {
      return 0;
    }
    const ssize_t got = ::recv(m_socket.get(), room.data(), room.size(),
                               IsLimited() && !inKernel ? MSG_DONTWAIT : 0);
    if (got > 0) {
      m_moreExpected = static_cast<std::size_t>(got) == room.size();
      Moved(static_cast<std::size_t>(got));
      return static_cast<std::size_t>(got);
    }
    if (got == 0) {
      error = asio::error::eof;
      return 0;
    }
    waitFirst = WouldBlock();
    if (waitFirst && m_dontWait) {
      error = asio::error::would_block;
      return 0;
    }
    if (!waitFirst && errno != EINTR) {
      error = LastError();
      return 0;
    }
    if (waitFirst && inKernel) {
      waited = m_expected;
      inKernel = false;
    }
  }
}

std::size_t PatientSocket::Send(std::span<const std::uint8_t> head,
                                std::span<const std::uint8_t> bytes, asio::error_code& error) {
  error.clear();
  const int flags = MSG_NOSIGNAL | (IsLimited() ? MSG_DONTWAIT : 0);
  std::array<iovec, 2> parts{iovec{const_cast<std::uint8_t*>(head.data()), head.size()},
                             iovec{const_cast<std::uint8_t*>(bytes.data()), bytes.size()}};
  msghdr both{};
  both.msg_iov = parts.data();
  both.msg_iovlen = parts.size();
  for (;;) {
    const ssize_t sent = head.empty() ? ::send(m_socket.get(), bytes.data(), bytes.size(), flags)
                                      : ::sendmsg(m_socket.get(), &both, flags);
    if (sent >= 0) {
      Moved(static_cast<std::size_t>(sent));
      return static_cast<std::size_t>(sent);
    }
    if (WouldBlock()) {
      if (m_dontWait) {
        error = asio::error::would_block;
        return 0;
      }
      if (!Wait(POLLOUT, error)) {
        return 0;
      }
    } else if (errno != EINTR) {
      error = LastError();
      return 0;
    }
  }
}

std::uint8_t PatientSocket::Peek(asio::error_code& error) {
  error.clear();
  std::uint8_t byte = 0;
  for (;;) {
    if (!m_dontWait && IsLimited() && !Wait(POLLIN, error)) {
      return 0;
    }
    const ssize_t got =
        ::recv(m_socket.get(), &byte, 1, MSG_PEEK | (IsLimited() ? MSG_DONTWAIT : 0));
    if (got > 0) {
      return byte;
    }
    if (got == 0) {
      error = asio::error::eof;
      return 0;
    }
    if (WouldBlock() && m_dontWait) {
      error = asio::error::would_block;
      return 0;
    }
    if (!WouldBlock() && errno != EINTR) {
      error = LastError();
      return 0;
    }
  }
}

bool PatientSocket::IsQuiet() const {
  std::uint8_t byte = 0;
  return ::recv(m_socket.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && WouldBlock();
}

void PatientSocket::EndWriting() {
  ::shutdown(m_socket.get(), SHUT_WR);
}

void PatientSocket::Cut() {
  ::shutdown(m_socket.get(), SHUT_RDWR);
}

void PatientSocket::Moved(std::size_t bytes) {
  if (m_deadline && m_perByte.count() > 0) {
    const auto bought = m_perByte * static_cast<std::chrono::nanoseconds::rep>(bytes);
    m_deadline = std::min(*m_deadline + bought, Clock::now() + m_progress);
  }
}

// False if a limit was over before the socket became ready.
bool PatientSocket::Wait(short events, asio::error_code& error, std::chrono::milliseconds waited) {
  const auto started = Clock::now() - waited;
  if (m_span) {
    m_deadline = started + *m_span;
    m_span.reset();
  }
  for (;;) {
    const auto now = Clock::now();
    std::optional<std::chrono::nanoseconds> left;
    if (m_deadline) {
      left = *m_deadline - now;
    }
    if (m_silence) {
      const std::chrono::nanoseconds ofSilence = started + *m_silence - now;
      left = left ? std::min(*left, ofSilence) : ofSilence;
    }
    std::array<pollfd, 2> watched{pollfd{m_socket.get(), events, 0},
                                  pollfd{events == POLLIN ? m_abort : -1, POLLIN, 0}};
    const int ready = poll(watched.data(), m_abort >= 0 ? 2 : 1, left ? PollTime(*left) : -1);
    if (ready > 0 && watched[1].revents != 0) {
      error = asio::error::operation_aborted;
      return false;
    }
    if (ready > 0) {
      error.clear();
      return true;
    }
    if (ready == 0) {
      error = asio::error::timed_out;
      return false;
    }
    if (errno != EINTR) {
      error = LastError();
      return false;
    }
  }
}

}  // namespace Ferrolink::Companions::Tcp
