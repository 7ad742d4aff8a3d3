#include "companions/configs/JsonNode.h"

#include <algorithm>
#include <cstddef>

#include "companions/configs/Configuration.h"
#include "companions/configs/JsonDocument.h"
#include "companions/configs/Printable.h"

namespace Ferrolink::Companions {
namespace {

constexpr std::size_t kLongestQuotation = 60;

std::string kindOf(const nlohmann::json& value) {
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

bool isControlCharacter(char letter) {
  const auto byte = static_cast<unsigned char>(letter);
  return byte < 0x20U || byte == 0x7FU;
}

}  // namespace

std::string listed(JsonNode::Words words) {
  std::string list;
  for (const std::string_view word : words) {
    list += list.empty() ? "\"" : ", \"";
    list += word;
    list += '"';
  }
  return list;
}

JsonNode JsonNode::secret() const {
  return {value, pointer, true};
}

void JsonNode::refuse(const std::string& reason) const {
  throw ConfigurationError(pointer.empty() ? reason : pointer + ": " + reason);
}

void JsonNode::refuseFor(const std::string& wanted) const {
  refuse("expected " + wanted + ", got " + description());
}

std::string JsonNode::description() const {
  if (hidden || value.is_structured() || value.is_null()) {
    return kindOf(value);
  }
  if (!value.is_string()) {
    return value.dump();
  }
  const auto& text = value.get_ref<const std::string&>();
  const std::size_t shown = prefixLength(text, kLongestQuotation);
  return '"' + printable(std::string_view(text).substr(0, shown)) +
         (shown < text.size() ? "...\"" : "\"");
}

void JsonNode::requireObject() const {
  if (!value.is_object()) {
    refuseFor("an object");
  }
}

void JsonNode::requireKeys(Words allowed) const {
  requireObject();
  for (const auto& [key, ignored] : value.items()) {
    if (std::find(allowed.begin(), allowed.end(), key) == allowed.end()) {
      throw ConfigurationError(memberPointer(pointer, key) + ": unknown key; allowed are " +
                               listed(allowed));
    }
  }
}

std::optional<JsonNode> JsonNode::member(std::string_view key) const {
  const auto found = value.find(key);
  if (found == value.end()) {
    return std::nullopt;
  }
  return JsonNode(*found, memberPointer(pointer, key), hidden);
}

void JsonNode::eachMember(
    const std::function<void(const std::string&, const JsonNode&)>& visit) const {
  requireObject();
  for (const auto& [key, memberValue] : value.items()) {
    visit(key, JsonNode(memberValue, memberPointer(pointer, key), hidden));
  }
}

std::string JsonNode::text() const {
  if (!value.is_string() || value.get_ref<const std::string&>().empty()) {
    refuseFor("a text that is not empty");
  }
  const auto& text = value.get_ref<const std::string&>();
  if (std::any_of(text.begin(), text.end(), isControlCharacter)) {
    refuseFor("a text without control characters");
  }
  return text;
}

std::string JsonNode::word(Words words) const {
  if (value.is_string()) {
    const std::string given = lowerCase(value.get_ref<const std::string&>());
    const auto found = std::find_if(words.begin(), words.end(), [&](std::string_view word) {
      return lowerCase(word) == given;
    });
    if (found != words.end()) {
      return std::string(*found);
    }
  }
  refuseFor("one of " + listed(words));
}

std::vector<JsonNode> JsonNode::oneOrMore() const {
  if (!value.is_array()) {
    return {*this};
  }
  if (value.empty()) {
    refuse("expected at least one element");
  }
  std::vector<JsonNode> elements;
  for (const auto& [key, element] : value.items()) {
    elements.push_back(JsonNode(element, memberPointer(pointer, key), hidden));
  }
  return elements;
}

int JsonNode::port() const {
  constexpr int kHighest = 65535;
  return static_cast<int>(integer(1, kHighest));
}

std::uint64_t JsonNode::integer(std::uint64_t least, std::uint64_t greatest) const {
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() < least ||
      value.get<std::uint64_t>() > greatest) {
    refuseFor("an integer " + std::to_string(least) + " to " + std::to_string(greatest));
  }
  return value.get<std::uint64_t>();
}

bool JsonNode::flag() const {
  if (!value.is_boolean()) {
    refuseFor("true or false");
  }
  return value.get<bool>();
}

void JsonNode::eachElement(const std::function<void(const JsonNode&)>& visit) const {
  if (!value.is_array()) {
    refuseFor("an array");
  }
  std::size_t index = 0;
  for (const nlohmann::json& element : value) {
    visit(JsonNode(element, pointer + '/' + std::to_string(index++), hidden));
  }
}

}  // namespace Ferrolink::Companions
