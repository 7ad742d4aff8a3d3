#include "companions/tcp/server/ServiceManager.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// The first passed descriptor, after the standard streams.
constexpr int kFirstDescriptor = 3;

std::string Taken(const char* variable) {
  const char* value = std::getenv(variable);
  std::string text = value == nullptr ? "" : value;
  unsetenv(variable);
  return text;
}

int OptionOf(int socket, int option) {
  int value = -1;
  socklen_t size = sizeof value;
  return getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

bool ListensForTcp(int descriptor) {
  const int family = OptionOf(descriptor, SO_DOMAIN);
  return (family == AF_INET || family == AF_INET6) &&
         OptionOf(descriptor, SO_TYPE) == SOCK_STREAM && OptionOf(descriptor, SO_ACCEPTCONN) == 1;
}

}  // namespace

ServiceManager::ServiceManager()
    : m_notifySocket(Taken("NOTIFY_SOCKET")),
      m_listenProcess(Taken("LISTEN_PID")),
      m_listenCount(Taken("LISTEN_FDS")) {
  Taken("LISTEN_FDNAMES");
}

FileDescriptor ServiceManager::TakeListener() {
  if (m_listenCount.empty() || m_listenProcess != std::to_string(getpid())) {
    return {};
  }
  if (m_listenCount != "1") {
    throw std::runtime_error("The service manager passes " + m_listenCount +
                             " sockets (LISTEN_FDS). The server takes one: name one ListenStream= "
                             "in the socket unit.");
  }
  FileDescriptor listener(kFirstDescriptor);
  if (!ListensForTcp(listener.get())) {
    throw std::runtime_error(
        "What the service manager passes (LISTEN_FDS) is no TCP socket that listens. Use "
        "ListenStream= with a port, and Accept=no, in the socket unit.");
  }
  fcntl(listener.get(), F_SETFD, FD_CLOEXEC);
  return listener;
}

void ServiceManager::NotifyReloading() const {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const long long microseconds =
      static_cast<long long>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
  Notify("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds) + "\n");
}

void ServiceManager::Notify(std::string_view lines) const {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (m_notifySocket.empty() || m_notifySocket.size() >= sizeof address.sun_path) {
    return;
  }
  std::memcpy(address.sun_path, m_notifySocket.data(), m_notifySocket.size());
  if (address.sun_path[0] == '@') {
    address.sun_path[0] = '\0';  // abstract: the name has no file
  }
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + m_notifySocket.size());
  while (socket.Owns() &&
         sendto(socket.get(), lines.data(), lines.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                reinterpret_cast<const sockaddr*>(&address), size) < 0 &&
         errno == EINTR) {
  }
}

}  // namespace Ferrolink::Companions::Tcp::Server
