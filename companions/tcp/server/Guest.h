#ifndef FERROLINK_COMPANIONS_TCP_SERVER_GUEST_H
#define FERROLINK_COMPANIONS_TCP_SERVER_GUEST_H

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "companions/tcp/Connection.h"
#include "companions/tcp/server/AccessRules.h"
#include "companions/tcp/server/Metrics.h"

namespace Ferrolink::Companions::Tcp::Server {

/// A greeted and connected client: its identity and its rights. Counts as one connection.
class Visit {
 public:
  /// `client` is null without rules. The metrics must outlive it.
  Visit(Metrics& metrics, std::string subject, std::unique_ptr<AccessRules::Client> client)
      : m_metrics(metrics), m_subject(std::move(subject)), m_client(std::move(client)) {
    m_metrics.ConnectionAccepted();
  }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;
  ~Visit() { m_metrics.ConnectionClosed(); }

  /// The subject of its certificate; empty without one.
  [[nodiscard]] const std::string& Subject() const { return m_subject; }
  [[nodiscard]] const AccessRules::Client* Client() const { return m_client.get(); }

 private:
  Metrics& m_metrics;
  const std::string m_subject;
  const std::unique_ptr<AccessRules::Client> m_client;
};

/// One client's connection.
struct Guest {
  std::unique_ptr<Connection> connection;
  std::string client;              ///< its address and port, for the log
  std::string address{};           ///< without the port
  bool isKnown = false;            ///< whether it has sent a command before
  std::unique_ptr<Visit> visit{};  ///< from the greeting on

  [[nodiscard]] std::string_view Subject() const {
    return visit == nullptr ? std::string_view() : visit->Subject();
  }
  /// Null without rules.
  [[nodiscard]] const AccessRules::Client* Rules() const {
    return visit == nullptr ? nullptr : visit->Client();
  }
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
