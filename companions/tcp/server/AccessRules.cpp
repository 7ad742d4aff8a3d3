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
constexpr std::array<std::string_view, 6> kKeys = {"clients", "handlers",        "load-libraries",
                                                   "objects", "max-connections", "max-calls"};

std::string ReadClient(const JsonNode& node) {
  std::string text = node.Text();
  if (text == kEverybody) {
    return text;
  }
  std::string name = CanonicalName(text);
  if (name.empty()) {
    node.Refuse(
        "expected \"*\" or a name in a certificate, such as \"subject:CN=orders,O=Example\", "
        "\"dns:orders.example\", \"ip:10.0.0.7\", \"uri:spiffe://example/orders\" or "
        "\"email:orders@example.org\"");
  }
  return name;
}

std::string ReadHandler(const JsonNode& node) {
  std::string text = node.Text();
  const std::size_t star = text.find('*');
  if (star != std::string::npos && star + 1 < text.size()) {
    node.Refuse("a \"*\" may only stand at the end of a handler's name");
  }
  if (text.size() > kLongestHandler) {
    node.Refuse("a handler's name has at most 255 bytes");
  }
  if (text == kLoadingHandler) {
    node.Refuse("\"load-archives\" is allowed by \"load-libraries\": true");
  }
  if (IsForObjects(text)) {
    node.Refuse("\"" + text + "\" is allowed by \"objects\": true");
  }
  return text;
}

template <class Read>
std::vector<std::string> ReadList(const JsonNode& rule, std::string_view key, Read read) {
  std::vector<std::string> list;
  const auto node = rule.Member(key);
  if (!node) {
    rule.Refuse("a rule needs \"" + std::string(key) + "\"");
  }
  node->EachElement([&](const JsonNode& element) { list.push_back(read(element)); });
  return list;
}

bool Allows(std::string_view pattern, std::string_view handler) {
  if (!pattern.empty() && pattern.back() == '*') {
    pattern.remove_suffix(1);
    return handler.substr(0, pattern.size()) == pattern;
  }
  return handler == pattern;
}

}  // namespace

bool IsForObjects(std::string_view handler) {
  constexpr std::string_view kBroker = "objects";
  constexpr std::string_view kFunctions = "objects-";
  return handler == kBroker || handler.substr(0, kFunctions.size()) == kFunctions;
}

AccessRules::AccessRules(const JsonNode& rules) {
  rules.EachElement([this](const JsonNode& node) { m_rules.push_back(ReadRule(node)); });
  if (m_rules.empty()) {
    rules.Refuse("expected at least one rule; without \"rules\" everybody may call");
  }
}

AccessRules::Rule AccessRules::ReadRule(const JsonNode& node) {
  node.RequireKeys(kKeys);
  Rule rule;
  rule.clients = ReadList(node, "clients", ReadClient);
  if (rule.clients.empty()) {
    node.Refuse("\"clients\" is empty, so the rule is for nobody");
  }
  rule.handlers = ReadList(node, "handlers", ReadHandler);
  if (const auto load = node.Member("load-libraries")) {
    rule.loadLibraries = load->Flag();
  }
  if (const auto objects = node.Member("objects")) {
    rule.objects = objects->Flag();
  }
  if (const auto most = node.Member("max-connections")) {
    rule.mostConnections = most->Integer(1, kMost);
  }
  if (const auto most = node.Member("max-calls")) {
    rule.mostCalls = most->Integer(1, kMost);
  }
  return rule;
}

bool AccessRules::NeedCertificates() const {
  return std::any_of(m_rules.begin(), m_rules.end(), [](const Rule& rule) {
    return std::any_of(rule.clients.begin(), rule.clients.end(),
                       [](const std::string& name) { return name != kEverybody; });
  });
}

bool AccessRules::AllowObjects() const {
  return std::any_of(m_rules.begin(), m_rules.end(), [](const Rule& rule) { return rule.objects; });
}

bool AccessRules::AllowLoadLibrary() const {
  return std::any_of(m_rules.begin(), m_rules.end(),
                     [](const Rule& rule) { return rule.loadLibraries; });
}

// The comparison needs canonical subjects, because types may be in mixed case, such as
// emailAddress.
bool AccessRules::Names(const Rule& rule, const ClientIdentity& identity) {
  const std::string subject = CanonicalName("subject:" + identity.subject);
  return std::any_of(rule.clients.begin(), rule.clients.end(), [&](const std::string& name) {
    return name == kEverybody || (!subject.empty() && name == subject) ||
           std::find(identity.names.begin(), identity.names.end(), name) != identity.names.end();
  });
}

AccessRules::Admission AccessRules::Admit(const ClientIdentity& identity) {
  const auto rule = std::find_if(m_rules.begin(), m_rules.end(),
                                 [&](const Rule& one) { return Names(one, identity); });
  const std::string& name = identity.subject.empty() ? identity.address : identity.subject;
  if (rule == m_rules.end()) {
    return "No rule of this server names " + Printable(name) + ".";
  }
  const std::lock_guard lock(m_mutex);
  const auto use = m_uses.try_emplace(name).first;
  if (use->second.connections >= rule->mostConnections) {
    return Printable(name) + " has " + std::to_string(use->second.connections) +
           " connections, as many as its rule allows.";
  }
  std::unique_ptr<Client> client(new Client(*this, *rule, use));
  ++use->second.connections;
  return client;
}

// Precondition: the client's calls have ended.
void AccessRules::Leave(Uses::iterator use) {
  const std::lock_guard lock(m_mutex);
  if (--use->second.connections == 0) {
    m_uses.erase(use);
  }
}

bool AccessRules::Client::MayCall(std::string_view handler) const {
  return !handler.empty() &&
         std::any_of(m_rule.handlers.begin(), m_rule.handlers.end(),
                     [&](const std::string& pattern) { return Allows(pattern, handler); });
}

std::optional<AccessRules::Call> AccessRules::Client::BeginCall() const {
  std::atomic<std::size_t>& calls = m_use->second.calls;
  if (calls++ >= m_rule.mostCalls) {
    --calls;
    return std::nullopt;
  }
  return Call(*this);
}

std::string AccessRules::Client::TooManyCalls() const {
  return Printable(Name()) + " has " + std::to_string(m_rule.mostCalls) +
         " calls under way, as many as its rule allows.";
}

}  // namespace Ferrolink::Companions::Tcp::Server
