#ifndef FERROLINK_TESTS_COMPANIONS_TCP_SERVICEMANAGERSIDE_H
#define FERROLINK_TESTS_COMPANIONS_TCP_SERVICEMANAGERSIDE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Tests {

using Ferrolink::Companions::FileDescriptor;

/// The socket on which a service manager receives messages of its services. An "@" begins an
/// abstract name.
class Ear {
 public:
  explicit Ear(const std::string& name) : m_socket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@') {
      address.sun_path[0] = '\0';
    }
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    EXPECT_EQ(bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
  }

  /// The received message; empty if there is none.
  [[nodiscard]] std::string Heard() const {
    std::array<char, 512> text{};
    const ssize_t got = recv(m_socket.get(), text.data(), text.size(), MSG_DONTWAIT);
    return got < 0 ? "" : std::string(text.data(), static_cast<std::size_t>(got));
  }

  /// Waits for a message.
  [[nodiscard]] std::string Hear() const {
    pollfd waits{m_socket.get(), POLLIN, 0};
    poll(&waits, 1, 60'000);
    return Heard();
  }

 private:
  FileDescriptor m_socket;
};

/// Passes the descriptor as a service manager does between fork and exec.
inline void PassOn(FileDescriptor descriptor) {
  const FileDescriptor elsewhere(fcntl(descriptor.get(), F_DUPFD, 10));
  descriptor = FileDescriptor();
  dup2(elsewhere.get(), 3);
  setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
  setenv("LISTEN_FDS", "1", 1);
  setenv("LISTEN_FDNAMES", "ferrolink-server.socket", 1);
}

}  // namespace Ferrolink::Tests

#endif
