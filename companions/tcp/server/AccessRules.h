#ifndef FERROLINK_COMPANIONS_TCP_SERVER_ACCESSRULES_H
#define FERROLINK_COMPANIONS_TCP_SERVER_ACCESSRULES_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "companions/configs/JsonNode.h"
#include "companions/tcp/server/ClientIdentity.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Whether a handler is part of typed calls: Java's `objects`, and the handlers of the C++ member
/// that answer it. These can run any code.
bool IsForObjects(std::string_view handler);

/// Which clients may connect, what they may call, and how much of it at once. The first rule that
/// names a client applies. A client without a rule is refused. Without rules every client may call
/// everything.
///
/// Thread-safe. Must outlive its clients.
class AccessRules {
 public:
  class Client;
  class Call;

  /// The admitted client, or the reason for the refusal.
  using Admission = std::variant<std::unique_ptr<Client>, std::string>;

  /// No rules.
  AccessRules() = default;

  /// Reads the member "rules" of a configuration. Errors: ConfigurationError, which names the
  /// place.
  explicit AccessRules(const JsonNode& rules);

  [[nodiscard]] bool Exist() const { return !m_rules.empty(); }

  /// Whether any rule names clients by their certificates.
  [[nodiscard]] bool NeedCertificates() const;

  /// Whether any rule allows clients the handlers of typed calls.
  [[nodiscard]] bool AllowObjects() const;

  /// Whether any rule allows clients to load libraries of this machine.
  [[nodiscard]] bool AllowLoadLibrary() const;

  /// Admits a connection; it counts as long as the Client lives. Precondition: rules exist.
  [[nodiscard]] Admission Admit(const ClientIdentity& identity);

 private:
  static constexpr std::size_t kUnlimited = SIZE_MAX;

  struct Rule {
    std::vector<std::string> clients;  ///< canonical names; "*" is everybody
    std::vector<std::string> handlers;
    bool loadLibraries = false;
    bool objects = false;
    std::size_t mostConnections = kUnlimited;
    std::size_t mostCalls = kUnlimited;
  };
  // The use by all connections of a client.
  struct Use {
    std::size_t connections = 0;  // guarded by m_mutex
    std::atomic<std::size_t> calls{0};
  };
  using Uses = std::map<std::string, Use>;

  static Rule ReadRule(const JsonNode& node);
  static bool Names(const Rule& rule, const ClientIdentity& identity);
  void Leave(Uses::iterator use);

  // Constant after construction.
  std::vector<Rule> m_rules;

  std::mutex m_mutex;
  // Guarded by m_mutex. Entries of connected clients, by Client::name.
  Uses m_uses;
};

/// A connected client, which counts as one connection. Thread-safe.
class AccessRules::Client {
 public:
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() { m_rules.Leave(m_use); }

  /// The subject of its certificate, or its address without one. Connections with equal names are
  /// counted together.
  [[nodiscard]] const std::string& Name() const { return m_use->first; }

  [[nodiscard]] bool MayCall(std::string_view handler) const;
  [[nodiscard]] bool MayLoad() const { return m_rule.loadLibraries; }
  [[nodiscard]] bool MayUseObjects() const { return m_rule.objects; }

  /// Counts a call as long as the result lives; it must not outlive the client. None if the client
  /// has reached the limit of its rule.
  [[nodiscard]] std::optional<Call> BeginCall() const;
  /// Why beginning a call failed.
  [[nodiscard]] std::string TooManyCalls() const;

 private:
  friend class AccessRules;
  friend class Call;
  Client(AccessRules& rules, const Rule& rule, Uses::iterator use)
      : m_rules(rules), m_rule(rule), m_use(use) {}

  AccessRules& m_rules;
  const Rule& m_rule;
  const Uses::iterator m_use;
};

class AccessRules::Call {
 public:
  Call(Call&& other) noexcept : m_client(std::exchange(other.m_client, nullptr)) {}
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  Call& operator=(Call&&) = delete;
  ~Call() {
    if (m_client != nullptr) {
      --m_client->m_use->second.calls;
    }
  }

 private:
  friend class Client;
  explicit Call(const Client& client) : m_client(&client) {}

  const Client* m_client;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
