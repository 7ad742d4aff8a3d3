#include "companions/tcp/server/AccessRules.h"

#include <algorithm>
#include <array>
#include <utility>

#include "companions/configs/Printable.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

constexpr std::string_view kEverybody = "*";
constexpr std::string_view kLoadingHandler = "load-archives";
constexpr std::size_t kLongestHandler = 255;
constexpr std::uint64_t kMost = 65'535;
constexpr std::array<std::string_view, 5> kKeys = {"clients", "handlers", "load-libraries",
                                                   "max-connections", "max-calls"};

std::string readClient(const JsonNode& node) {
  std::string text = node.text();
  if (text == kEverybody) {
    return text;
  }
  std::string name = canonicalName(text);
  if (name.empty()) {
    node.refuse(
        "expected \"*\" or a name in a certificate, such as \"subject:CN=orders,O=Example\", "
        "\"dns:orders.example\", \"ip:10.0.0.7\", \"uri:spiffe://example/orders\" or "
        "\"email:orders@example.org\"");
  }
  return name;
}

std::string readHandler(const JsonNode& node) {
  std::string text = node.text();
  const std::size_t star = text.find('*');
  if (star != std::string::npos && star + 1 < text.size()) {
    node.refuse("a \"*\" may only stand at the end of a handler's name");
  }
  if (text.size() > kLongestHandler) {
    node.refuse("a handler's name has at most 255 bytes");
  }
  if (text == kLoadingHandler) {
    node.refuse("\"load-archives\" is allowed by \"load-libraries\": true");
  }
  return text;
}

template <class Read>
std::vector<std::string> readList(const JsonNode& rule, std::string_view key, Read read) {
  std::vector<std::string> list;
  const auto node = rule.member(key);
  if (!node) {
    rule.refuse("a rule needs \"" + std::string(key) + "\"");
  }
  node->eachElement([&](const JsonNode& element) { list.push_back(read(element)); });
  return list;
}

bool allows(std::string_view pattern, std::string_view handler) {
  if (!pattern.empty() && pattern.back() == '*') {
    pattern.remove_suffix(1);
    return handler.substr(0, pattern.size()) == pattern;
  }
  return handler == pattern;
}

}  // namespace

AccessRules::AccessRules(const JsonNode& rules) {
  rules.eachElement([this](const JsonNode& node) { m_rules.push_back(readRule(node)); });
  if (m_rules.empty()) {
    rules.refuse("expected at least one rule; without \"rules\" everybody may call");
  }
}

AccessRules::Rule AccessRules::readRule(const JsonNode& node) {
  node.requireKeys(kKeys);
  Rule rule;
  rule.clients = readList(node, "clients", readClient);
  if (rule.clients.empty()) {
    node.refuse("\"clients\" is empty, so the rule is for nobody");
  }
  rule.handlers = readList(node, "handlers", readHandler);
  if (const auto load = node.member("load-libraries")) {
    rule.loadLibraries = load->flag();
  }
  if (const auto most = node.member("max-connections")) {
    rule.mostConnections = most->integer(1, kMost);
  }
  if (const auto most = node.member("max-calls")) {
    rule.mostCalls = most->integer(1, kMost);
  }
  return rule;
}

bool AccessRules::needCertificates() const {
  return std::any_of(m_rules.begin(), m_rules.end(), [](const Rule& rule) {
    return std::any_of(rule.clients.begin(), rule.clients.end(),
                       [](const std::string& name) { return name != kEverybody; });
  });
}

// A certificate's subject may have types in mixed case, such as emailAddress.
bool AccessRules::names(const Rule& rule, const ClientIdentity& identity) {
  const std::string subject = canonicalName("subject:" + identity.subject);
  return std::any_of(rule.clients.begin(), rule.clients.end(), [&](const std::string& name) {
    return name == kEverybody || (!subject.empty() && name == subject) ||
           std::find(identity.names.begin(), identity.names.end(), name) != identity.names.end();
  });
}

AccessRules::Admission AccessRules::admit(const ClientIdentity& identity) {
  const auto rule = std::find_if(m_rules.begin(), m_rules.end(),
                                 [&](const Rule& one) { return names(one, identity); });
  const std::string& name = identity.subject.empty() ? identity.address : identity.subject;
  if (rule == m_rules.end()) {
    return "No rule of this server names " + printable(name) + ".";
  }
  const std::lock_guard lock(m_mutex);
  const auto use = m_uses.try_emplace(name).first;
  if (use->second.connections >= rule->mostConnections) {
    return printable(name) + " has " + std::to_string(use->second.connections) +
           " connections, as many as its rule allows.";
  }
  std::unique_ptr<Client> client(new Client(*this, *rule, use));
  ++use->second.connections;
  return client;
}

// Its calls have ended before.
void AccessRules::leave(Uses::iterator use) {
  const std::lock_guard lock(m_mutex);
  if (--use->second.connections == 0) {
    m_uses.erase(use);
  }
}

bool AccessRules::Client::mayCall(std::string_view handler) const {
  return !handler.empty() &&
         std::any_of(m_rule.handlers.begin(), m_rule.handlers.end(),
                     [&](const std::string& pattern) { return allows(pattern, handler); });
}

std::optional<AccessRules::Call> AccessRules::Client::beginCall() const {
  std::atomic<std::size_t>& calls = m_use->second.calls;
  if (calls++ >= m_rule.mostCalls) {
    --calls;
    return std::nullopt;
  }
  return Call(*this);
}

std::string AccessRules::Client::tooManyCalls() const {
  return printable(name()) + " has " + std::to_string(m_rule.mostCalls) +
         " calls under way, as many as its rule allows.";
}

}  // namespace Ferrolink::Companions::Tcp::Server
