#ifndef FERROLINK_TESTS_COMPANIONS_TCP_MACHINES_H
#define FERROLINK_TESTS_COMPANIONS_TCP_MACHINES_H

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/companions/tcp/ServerProcess.h"

/// Servers that end and restart at their address, and a balancer in front of them.
namespace Ferrolink::Tests {

/// An address of the loopback interface that no other process uses while this one runs. Its ports
/// stay free while no server listens: connections of others come from 127.0.0.1.
std::string OwnLoopbackAddress();

/// The answer of an HTTP server for that path; empty if nobody answers.
std::string HttpGet(const std::string& address, std::uint16_t port, std::string_view path);

/// A server with the handler "count" that can be restarted on the same ports.
class Machine {
 public:
  /// `options` are further options of the server.
  explicit Machine(std::uint16_t port, ServerProcess::Arguments options = {});

  /// Starts it and waits until it is ready.
  void Start();
  /// Ends it as an operator does, and waits. Returns its exit code.
  int end();
  /// Kills it, as if it lost its power.
  void Kill();

  /// address:port
  [[nodiscard]] std::string Name() const;
  [[nodiscard]] std::string Admin() const;

 private:
  const std::string m_address;
  const std::uint16_t m_port;
  const ServerProcess::Arguments m_options;
  std::unique_ptr<ServerProcess> m_server;
};

/// HAProxy with the configuration of the examples, in front of two servers.
class Balancer {
 public:
  /// Starts it and waits until it answers. The machines have the names "one" and "two".
  Balancer(std::uint16_t port, const Machine& one, const Machine& two);
  Balancer(const Balancer&) = delete;
  Balancer& operator=(const Balancer&) = delete;
  ~Balancer();

  [[nodiscard]] std::string Name() const;

  /// Waits until it sends clients to that server.
  void AwaitUp(std::string_view server) const;
  /// The number of connections that the balancer made to that server.
  [[nodiscard]] long Connections(std::string_view server) const;

 private:
  void AwaitStatistics();
  [[nodiscard]] std::string Statistic(std::string_view server, std::string_view column) const;
  [[nodiscard]] std::string Output() const;

  TemporaryDirectory m_directory;
  const std::string m_address;
  const std::uint16_t m_port;
  pid_t m_child = -1;
};

}  // namespace Ferrolink::Tests

#endif
