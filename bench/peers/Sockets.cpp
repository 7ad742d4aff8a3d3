// The peer for programs with a protocol of their own: a length and that many bytes over a socket to
// an echo in a process of its own, and back.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/harness/Rounds.h"
#include "bench/harness/Serve.h"

namespace {

using Frame = std::vector<char>;  // a length of four bytes and the bytes

void Require(bool condition, const char* what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

void Send(int socket, const Frame& frame) {
  for (std::size_t sent = 0; sent < frame.size();) {
    const ssize_t count = write(socket, frame.data() + sent, frame.size() - sent);
    Require(count > 0, "write");
    sent += static_cast<std::size_t>(count);
  }
}

// False at the end of the connection.
bool Receive(int socket, Frame& frame) {
  std::uint32_t length = 0;
  frame.resize(sizeof length);
  std::size_t wanted = sizeof length;
  for (std::size_t received = 0; received < wanted;) {
    // The first read takes all that has arrived. Frames do not overlap: each is answered before the
    // next one.
    frame.resize(std::max(wanted, std::size_t{1} << 16U));
    const ssize_t count = read(socket, frame.data() + received, frame.size() - received);
    if (count <= 0) {
      return false;
    }
    received += static_cast<std::size_t>(count);
    if (received >= sizeof length) {
      std::memcpy(&length, frame.data(), sizeof length);
      wanted = sizeof length + length;
    }
  }
  frame.resize(wanted);
  return true;
}

struct Ends {
  int client;
  int server;
};

Ends TcpConnection() {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  Require(bind(listener, generic, size) == 0 && listen(listener, 1) == 0, "listen");
  Require(getsockname(listener, generic, &size) == 0, "getsockname");
  const int client = socket(AF_INET, SOCK_STREAM, 0);
  Require(connect(client, generic, size) == 0, "connect");
  const int server = accept(listener, nullptr, nullptr);
  for (const int end : {client, server}) {
    const int on = 1;
    setsockopt(end, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }
  close(listener);
  return {client, server};
}

Ends UnixConnection() {
  int ends[2];
  Require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "socketpair");
  return {ends[0], ends[1]};
}

void RunServer(int socket) {
  for (Frame frame; Receive(socket, frame);) {
    Send(socket, frame);
  }
}

void RunClient(int socket) {
  Ferrolink::Bench::Serve([socket](std::size_t size, long calls) {
    const auto length = static_cast<std::uint32_t>(size);
    Frame request(sizeof length + size, 'x');
    std::memcpy(request.data(), &length, sizeof length);
    Frame answer;
    return Ferrolink::Bench::Repeat([&] {
      Send(socket, request);
      Require(Receive(socket, answer) && answer.size() == request.size(), "answer");
    })(calls);
  });
}

}  // namespace

int main(int count, char** values) {
  const std::string kind = count == 2 ? values[1] : "";
  if (kind != "tcp" && kind != "unix") {
    std::fprintf(stderr, "usage: ferrolink-bench-sockets tcp|unix\n");
    return 2;
  }
  try {
    const Ends ends = kind == "tcp" ? TcpConnection() : UnixConnection();
    if (fork() == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(ends.client);
      RunServer(ends.server);
      return 0;
    }
    close(ends.server);
    RunClient(ends.client);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
