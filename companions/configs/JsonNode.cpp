#include "companions/configs/JsonNode.h"

#include <algorithm>
#include <cstddef>

#include "companions/configs/Configuration.h"
#include "companions/configs/JsonDocument.h"
#include "companions/configs/Printable.h"

namespace Ferrolink::Companions {
namespace {

constexpr std::size_t kLongestQuotation = 60;

std::string KindOf(const nlohmann::json& value) {
  switch (value.type()) {
    case nlohmann::json::value_t::object:
      return "an object";
    case nlohmann::json::value_t::array:
      return "an array";
    case nlohmann::json::value_t::string:
      return "a text";
    case nlohmann::json::value_t::boolean:
      return "a truth value";
    case nlohmann::json::value_t::null:
      return "null";
    default:
      return "a number";
  }
}

bool IsControlCharacter(char letter) {
  const auto byte = static_cast<unsigned char>(letter);
  return byte < 0x20U || byte == 0x7FU;
}

}  // namespace

std::string Listed(JsonNode::Words words) {
  std::string list;
  for (const std::string_view word : words) {
    list += list.empty() ? "\"" : ", \"";
    list += word;
    list += '"';
  }
  return list;
}

JsonNode JsonNode::Secret() const {
  return {m_value, m_pointer, true};
}

void JsonNode::Refuse(const std::string& reason) const {
  throw ConfigurationError(m_pointer.empty() ? reason : m_pointer + ": " + reason);
}

void JsonNode::RefuseFor(const std::string& wanted) const {
  Refuse("expected " + wanted + ", got " + Description());
}

std::string JsonNode::Description() const {
  if (m_hidden || m_value.is_structured() || m_value.is_null()) {
    return KindOf(m_value);
  }
  if (!m_value.is_string()) {
    return m_value.dump();
  }
  const auto& text = m_value.get_ref<const std::string&>();
  const std::size_t shown = PrefixLength(text, kLongestQuotation);
  return '"' + Printable(std::string_view(text).substr(0, shown)) +
         (shown < text.size() ? "...\"" : "\"");
}

void JsonNode::RequireObject() const {
  if (!m_value.is_object()) {
    RefuseFor("an object");
  }
}

void JsonNode::RequireKeys(Words allowed) const {
  RequireObject();
  for (const auto& [key, ignored] : m_value.items()) {
    if (std::find(allowed.begin(), allowed.end(), key) == allowed.end()) {
      throw ConfigurationError(MemberPointer(m_pointer, key) + ": unknown key; allowed are " +
                               Listed(allowed));
    }
  }
}

std::optional<JsonNode> JsonNode::Member(std::string_view key) const {
  const auto found = m_value.find(key);
  if (found == m_value.end()) {
    return std::nullopt;
  }
  return JsonNode(*found, MemberPointer(m_pointer, key), m_hidden);
}

void JsonNode::EachMember(
    const std::function<void(const std::string&, const JsonNode&)>& visit) const {
  RequireObject();
  for (const auto& [key, memberValue] : m_value.items()) {
    visit(key, JsonNode(memberValue, MemberPointer(m_pointer, key), m_hidden));
  }
}

std::string JsonNode::Text() const {
  if (!m_value.is_string() || m_value.get_ref<const std::string&>().empty()) {
    RefuseFor("a text that is not empty");
  }
  const auto& text = m_value.get_ref<const std::string&>();
  if (std::any_of(text.begin(), text.end(), IsControlCharacter)) {
    RefuseFor("a text without control characters");
  }
  return text;
}

std::string JsonNode::Word(Words words) const {
  if (m_value.is_string()) {
    const std::string given = LowerCase(m_value.get_ref<const std::string&>());
    const auto found = std::find_if(words.begin(), words.end(), [&](std::string_view word) {
      return LowerCase(word) == given;
    });
    if (found != words.end()) {
      return std::string(*found);
    }
  }
  RefuseFor("one of " + Listed(words));
}

std::vector<JsonNode> JsonNode::OneOrMore() const {
  if (!m_value.is_array()) {
    return {*this};
  }
  if (m_value.empty()) {
    Refuse("expected at least one element");
  }
  std::vector<JsonNode> elements;
  for (const auto& [key, element] : m_value.items()) {
    elements.push_back(JsonNode(element, MemberPointer(m_pointer, key), m_hidden));
  }
  return elements;
}

int JsonNode::Port() const {
  constexpr int kHighest = 65535;
  return static_cast<int>(Integer(1, kHighest));
}

std::uint64_t JsonNode::Integer(std::uint64_t least, std::uint64_t greatest) const {
  if (!m_value.is_number_unsigned() || m_value.get<std::uint64_t>() < least ||
      m_value.get<std::uint64_t>() > greatest) {
    RefuseFor("an integer " + std::to_string(least) + " to " + std::to_string(greatest));
  }
  return m_value.get<std::uint64_t>();
}

bool JsonNode::Flag() const {
  if (!m_value.is_boolean()) {
    RefuseFor("true or false");
  }
  return m_value.get<bool>();
}

void JsonNode::EachElement(const std::function<void(const JsonNode&)>& visit) const {
  if (!m_value.is_array()) {
    RefuseFor("an array");
  }
  std::size_t index = 0;
  for (const nlohmann::json& element : m_value) {
    visit(JsonNode(element, m_pointer + '/' + std::to_string(index++), m_hidden));
  }
}

}  // namespace Ferrolink::Companions
