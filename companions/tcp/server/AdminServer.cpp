#include "companions/tcp/server/AdminServer.h"

#include <pthread.h>
#include <sys/socket.h>

#include <array>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/read_until.hpp>
#include <asio/steady_timer.hpp>
#include <asio/thread_pool.hpp>
#include <asio/write.hpp>
#include <csignal>
#include <exception>
#include <list>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/server/HttpRequest.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

using asio::ip::tcp;

constexpr std::size_t kLongestHead = 8192;
// The pause after a failure to accept, which may last: no memory, no descriptors.
constexpr std::chrono::milliseconds kPause{100};

constexpr const char* kText = "text/plain; charset=utf-8";
constexpr const char* kMetrics = "text/plain; version=0.0.4; charset=utf-8";

// Blocks signals for new threads, which inherit the mask: other threads handle them.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &m_before);
  }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

 private:
  sigset_t m_before{};
};

}  // namespace

class AdminServer::Service {
 public:
  Service(const Settings& settings, const Readiness& readiness,
          std::function<std::string()> metrics)
      : m_settings(settings),
        m_readiness(readiness),
        m_metrics(std::move(metrics)),
        m_acceptor(m_context),
        m_pause(m_context) {
    Listen();
    Accept();
    m_thread = std::thread([this] { m_context.run(); });
  }

  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  ~Service() {
    m_context.stop();
    m_thread.join();
    m_writing.join();
  }

  [[nodiscard]] tcp::endpoint Address() const { return m_address; }

 private:
  struct Peer {
    Peer(tcp::socket itsSocket, asio::io_context& context)
        : socket(std::move(itsSocket)), limit(context) {}

    tcp::socket socket;
    asio::steady_timer limit;
    std::string head;
    std::string response;
    std::array<char, 512> rest{};
    bool withBody = true;
  };
  using PeerPointer = std::shared_ptr<Peer>;

  void Listen() {
    const auto require = [this](const asio::error_code& error) {
      if (error) {
        throw std::system_error(error,
                                "Cannot listen on " + NameOf(m_settings.listen) + " (--admin)");
      }
    };
    asio::error_code error;
    m_acceptor.open(m_settings.listen.protocol(), error);
    require(error);
    CloseOnExec(m_acceptor.native_handle());
    m_acceptor.set_option(asio::socket_base::reuse_address(true));
    m_acceptor.bind(m_settings.listen, error);
    require(error);
    m_acceptor.listen(asio::socket_base::max_listen_connections, error);
    require(error);
    m_address = m_acceptor.local_endpoint();
  }

  void Accept() {
    m_acceptor.async_accept([this](asio::error_code error, tcp::socket socket) {
      if (error && error != asio::error::connection_aborted) {
        m_pause.expires_after(kPause);
        m_pause.async_wait([this](const asio::error_code& /*error*/) { Accept(); });
        return;
      }
      if (!error) {
        CloseOnExec(socket.native_handle());
        Serve(std::make_shared<Peer>(std::move(socket), m_context));
      }
      Accept();
    });
  }

  // Pending operations own the peer. Cutting it ends all of them.
  void Serve(const PeerPointer& peer) {
    m_peers.remove_if([](const auto& other) { return other.expired(); });
    if (m_peers.size() >= m_settings.mostConnections) {
      Cut(*PeerPointer(m_peers.front()));
      m_peers.pop_front();
    }
    m_peers.push_back(peer);
    peer->limit.expires_after(m_settings.timeLimit);
    peer->limit.async_wait([weak = std::weak_ptr(peer)](const asio::error_code& error) {
      if (const PeerPointer late = weak.lock(); late != nullptr && !error) {
        Cut(*late);
      }
    });
    asio::async_read_until(peer->socket, asio::dynamic_buffer(peer->head, kLongestHead), "\r\n\r\n",
                           [this, peer](const asio::error_code& error, std::size_t) {
                             if (!error || error == asio::error::not_found) {
                               Answer(peer);
                             }
                           });
  }

  static void Cut(Peer& peer) {
    asio::error_code ignored;
    peer.socket.close(ignored);
  }

  void Answer(const PeerPointer& peer) {
    const auto request =
        peer->head.size() < kLongestHead ? HttpRequestOf(peer->head) : std::nullopt;
    if (!request) {
      Respond(peer, "400 Bad Request", kText, "This is no request of HTTP/1.\n");
      return;
    }
    peer->withBody = request->method != "HEAD";
    if (request->method != "GET" && request->method != "HEAD") {
      Respond(peer, "405 Method Not Allowed", kText, "GET and HEAD are served.\n");
    } else if (request->path == "/livez") {
      Respond(peer, "200 OK", kText, "live\n");
    } else if (request->path == "/readyz") {
      AnswerReadiness(peer);
    } else if (request->path == "/metrics") {
      AskForMetrics(peer);
    } else {
      Respond(peer, "404 Not Found", kText, "/livez, /readyz and /metrics are served.\n");
    }
  }

  void AnswerReadiness(const PeerPointer& peer) {
    switch (m_readiness.CurrentState()) {
      case Readiness::State::Ready:
        Respond(peer, "200 OK", kText, "ready\n");
        return;
      case Readiness::State::Starting:
        Respond(peer, "503 Service Unavailable", kText, "starting\n");
        return;
      default:
        Respond(peer, "503 Service Unavailable", kText, "draining\n");
    }
  }

  // Requests that arrive while the metrics are being written share them.
  void AskForMetrics(const PeerPointer& peer) {
    std::erase_if(m_awaiting, [](const PeerPointer& other) { return !other->socket.is_open(); });
    m_awaiting.push_back(peer);
    if (std::exchange(m_isWriting, true)) {
      return;
    }
    asio::post(m_writing, [this] {
      std::string text;
      try {
        text = m_metrics();
      } catch (const std::exception&) {
        text.clear();
      }
      asio::post(m_context, [this, text = std::move(text)] { AnswerMetrics(text); });
    });
  }

  void AnswerMetrics(const std::string& text) {
    m_isWriting = false;
    for (const PeerPointer& peer : std::exchange(m_awaiting, {})) {
      if (text.empty()) {
        Respond(peer, "500 Internal Server Error", kText, "The metrics cannot be written.\n");
      } else {
        Respond(peer, "200 OK", kMetrics, text);
      }
    }
  }

  void Respond(const PeerPointer& peer, std::string_view status, std::string_view type,
               std::string_view body) {
    peer->response = HttpResponse(status, type, body, peer->withBody);
    asio::async_write(peer->socket, asio::buffer(peer->response),
                      [this, peer](const asio::error_code& error, std::size_t) {
                        if (!error) {
                          asio::error_code ignored;
                          peer->socket.shutdown(tcp::socket::shutdown_send, ignored);
                          Drain(peer);
                        }
                      });
  }

  // A close with unread bytes would reset the connection, and the peer could lose the response.
  void Drain(const PeerPointer& peer) {
    peer->socket.async_read_some(asio::buffer(peer->rest),
                                 [this, peer](const asio::error_code& error, std::size_t) {
                                   if (!error) {
                                     Drain(peer);
                                   }
                                 });
  }

  const Settings m_settings;
  const Readiness& m_readiness;
  const std::function<std::string()> m_metrics;
  tcp::endpoint m_address;

  // Used by the thread, which the constructor starts last. Destroyed after everything that uses it.
  asio::io_context m_context{1};
  tcp::acceptor m_acceptor;
  asio::steady_timer m_pause;
  std::list<std::weak_ptr<Peer>> m_peers;
  std::vector<PeerPointer> m_awaiting;
  bool m_isWriting = false;

  asio::thread_pool m_writing{1};
  std::thread m_thread;
};

AdminServer::AdminServer(const Settings& settings, const Readiness& readiness,
                         std::function<std::string()> metrics)
    : m_service([&] {
        const BlockedSignals blocked;
        return std::make_unique<Service>(settings, readiness, std::move(metrics));
      }()) {}

AdminServer::~AdminServer() = default;

tcp::endpoint AdminServer::Address() const {
  return m_service->Address();
}

}  // namespace Ferrolink::Companions::Tcp::Server
