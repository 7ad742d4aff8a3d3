// The baseline for the network companions: their framing over a socket, written by hand, with or
// without OpenSSL, and an echo in a process of its own with a thread for each connection.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "bench/harness/Serve.h"
#include "bench/harness/Team.h"
#include "bench/network/Framing.h"

namespace {

using namespace Ferrolink::Bench;

void Require(bool condition, const char* what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

class PlainEnd {
 public:
  explicit PlainEnd(int socket) : m_socket(socket) {}
  long read(char* room, std::size_t size) const { return ::read(m_socket, room, size); }
  long write(const char* bytes, std::size_t size) const { return ::write(m_socket, bytes, size); }

 private:
  int m_socket;
};

class TlsEnd {
 public:
  TlsEnd(SSL_CTX* context, int socket, bool server) : m_tls(SSL_new(context)) {
    SSL_set_fd(m_tls.get(), socket);
    Require((server ? SSL_accept(m_tls.get()) : SSL_connect(m_tls.get())) == 1, "handshake");
  }
  long read(char* room, std::size_t size) { return SSL_read(m_tls.get(), room, Clamp(size)); }
  long write(const char* bytes, std::size_t size) {
    return SSL_write(m_tls.get(), bytes, Clamp(size));
  }

 private:
  struct Free {
    void operator()(SSL* tls) const { SSL_free(tls); }
  };
  static int Clamp(std::size_t size) {
    return static_cast<int>(std::min<std::size_t>(size, 1U << 30U));
  }

  std::unique_ptr<SSL, Free> m_tls;
};

// Null for plain TCP.
SSL_CTX* ContextOf(const SSL_METHOD* method, const char* certificate, const char* key) {
  SSL_CTX* context = SSL_CTX_new(method);
  SSL_CTX_set_num_tickets(context, 0);
  SSL_CTX_set_read_ahead(context, 1);
  if (certificate != nullptr) {
    Require(SSL_CTX_use_certificate_chain_file(context, certificate) == 1 &&
                SSL_CTX_use_PrivateKey_file(context, key, SSL_FILETYPE_PEM) == 1,
            "certificate");
  }
  return context;
}

void Tune(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

template <class End>
void Echo(End end) {
  FrameReader<End> reader(end);
  Bytes command;
  Bytes answer;
  while (reader.Receive(command)) {
    const std::size_t size = command.size() - kCommandExtra + kAnswerExtra;
    if (answer.size() != kFrameHeader + size) {
      answer = FrameOf(size);
    }
    std::memcpy(answer.data() + kFrameHeader, command.data() + (command.size() - size), size);
    SendAll(end, answer.data(), answer.size());
  }
}

[[noreturn]] void RunServer(int listener, SSL_CTX* context) {
  for (;;) {
    const int socket = accept(listener, nullptr, nullptr);
    Tune(socket);
    std::thread([socket, context] {
      if (context == nullptr) {
        Echo(PlainEnd(socket));
      } else {
        Echo(TlsEnd(context, socket, true));
      }
      close(socket);
    }).detach();
  }
}

struct Listener {
  int socket = -1;
  sockaddr_in address{};
};

Listener ListenOnLoopback() {
  Listener listener;
  listener.socket = socket(AF_INET, SOCK_STREAM, 0);
  listener.address.sin_family = AF_INET;
  listener.address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof listener.address;
  auto* generic = reinterpret_cast<sockaddr*>(&listener.address);
  Require(bind(listener.socket, generic, size) == 0 && listen(listener.socket, 64) == 0, "listen");
  Require(getsockname(listener.socket, generic, &size) == 0, "getsockname");
  return listener;
}

template <class End>
void CallMany(End& end, std::size_t size, long calls) {
  const Bytes command = FrameOf(size + kCommandExtra);
  Bytes answer;
  FrameReader<End> reader(end);
  for (long i = 0; i < calls; ++i) {
    SendAll(end, command.data(), command.size());
    Require(reader.Receive(answer) && answer.size() == size + kAnswerExtra, "answer");
  }
}

int ConnectTo(const sockaddr_in& address) {
  const int made = socket(AF_INET, SOCK_STREAM, 0);
  Require(connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
          "connect");
  Tune(made);
  return made;
}

template <class End>
void RunClient(std::vector<End> ends) {
  Team team(
      ends.size(), [] {}, [] {});
  Serve([&](std::size_t size, long calls) {
    return team.Run([&](std::size_t thread, long own) { CallMany(ends[thread], size, own); },
                    std::max(1L, calls / static_cast<long>(ends.size())));
  });
}

}  // namespace

int main(int count, char** values) {
  const bool tls = count == 5;
  const std::size_t threads = count > 2 ? std::strtoul(values[2], nullptr, 10) : 0;
  if (threads == 0 || std::string(values[1]) != (tls ? "tls" : "tcp")) {
    std::fprintf(stderr, "usage: ferrolink-bench-raw tcp THREADS | tls THREADS CERTIFICATE KEY\n");
    return 2;
  }
  try {
    const Listener listener = ListenOnLoopback();
    if (fork() == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      RunServer(listener.socket,
                tls ? ContextOf(TLS_server_method(), values[3], values[4]) : nullptr);
    }
    if (tls) {
      SSL_CTX* context = ContextOf(TLS_client_method(), nullptr, nullptr);
      std::vector<TlsEnd> ends;
      for (std::size_t i = 0; i < threads; ++i) {
        ends.emplace_back(context, ConnectTo(listener.address), false);
      }
      RunClient(std::move(ends));
    } else {
      std::vector<PlainEnd> ends;
      for (std::size_t i = 0; i < threads; ++i) {
        ends.emplace_back(ConnectTo(listener.address));
      }
      RunClient(std::move(ends));
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
