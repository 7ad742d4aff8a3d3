#ifndef FERROLINK_COMPANIONS_TCP_SERVER_ADMINSERVER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_ADMINSERVER_H

#include <asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "companions/tcp/server/Readiness.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Serves /livez, /readyz and /metrics over HTTP, and nothing else, to monitors and load balancers.
///
/// One thread has all connections, and a second one writes the metrics. So neither silent peers nor
/// slow metrics block /livez and /readyz. A connection serves one request, within a limited time.
/// At the limit of connections the oldest one is closed.
class AdminServer {
 public:
  struct Settings {
    asio::ip::tcp::endpoint listen;
    std::chrono::milliseconds timeLimit{5'000};  ///< of a connection
    std::size_t mostConnections = 64;
  };

  /// Listens and serves from now on. `metrics` is called repeatedly on one thread, until the
  /// destructor has returned. Errors: std::system_error, which names the address.
  AdminServer(const Settings& settings, const Readiness& readiness,
              std::function<std::string()> metrics);
  AdminServer(const AdminServer&) = delete;
  AdminServer& operator=(const AdminServer&) = delete;
  /// Closes all connections, and blocks until the current metrics are written.
  ~AdminServer();

  /// The address on which it listens, with the real port.
  [[nodiscard]] asio::ip::tcp::endpoint Address() const;

 private:
  class Service;
  const std::unique_ptr<Service> m_service;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
