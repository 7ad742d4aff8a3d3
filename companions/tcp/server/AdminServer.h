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
/// One thread has all connections, and a second one writes the metrics, so that neither a peer that
/// says nothing nor metrics that take their time keep /livez and /readyz from answering. A
/// connection serves one request. Its peer has a limited time, and where there are as many
/// connections as there may be, the oldest goes.
class AdminServer {
 public:
  struct Settings {
    asio::ip::tcp::endpoint listen;
    std::chrono::milliseconds timeLimit{5'000};  ///< of a connection
    std::size_t mostConnections = 64;
  };

  /// Listens and serves from now on. `metrics` is called on one thread, again and again, until the
  /// destructor has returned. Errors: std::system_error, which names the address.
  AdminServer(const Settings& settings, const Readiness& readiness,
              std::function<std::string()> metrics);
  AdminServer(const AdminServer&) = delete;
  AdminServer& operator=(const AdminServer&) = delete;
  /// Closes all connections, and waits for metrics that are being written.
  ~AdminServer();

  /// Where it listens, with the real port.
  [[nodiscard]] asio::ip::tcp::endpoint Address() const;

 private:
  class Service;
  const std::unique_ptr<Service> m_service;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
