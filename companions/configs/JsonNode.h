#ifndef FERROLINK_COMPANIONS_CONFIGS_JSONNODE_H
#define FERROLINK_COMPANIONS_CONFIGS_JSONNODE_H

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ferrolink::Companions {

/// One value of a document with its place. Each accessor checks the value and throws
/// ConfigurationError, "<JSON Pointer>: expected <what>, got <value>", if the check fails. Valid as
/// long as the document.
class JsonNode {
 public:
  using Words = std::span<const std::string_view>;

  /// The document itself.
  explicit JsonNode(const nlohmann::json& document) : m_value(document) {}

  /// The same value, for which error texts give only the kind of values, here and below.
  [[nodiscard]] JsonNode Secret() const;

  /// Requires an object with no keys other than the `allowed` ones.
  void RequireKeys(Words allowed) const;

  /// The member `key` of the object, if it exists.
  [[nodiscard]] std::optional<JsonNode> Member(std::string_view key) const;

  /// Requires an object, and calls `visit` for each of its members.
  void EachMember(const std::function<void(const std::string&, const JsonNode&)>& visit) const;

  /// The elements of an array, at least one; for any other value, the value itself.
  [[nodiscard]] std::vector<JsonNode> OneOrMore() const;

  /// A text that is not empty and has no control characters.
  [[nodiscard]] std::string Text() const;

  /// One of `words`, case-insensitive; returned as in the list.
  [[nodiscard]] std::string Word(Words words) const;

  /// 1 to 65535.
  [[nodiscard]] int Port() const;

  /// An integer of that range.
  [[nodiscard]] std::uint64_t Integer(std::uint64_t least, std::uint64_t greatest) const;

  [[nodiscard]] bool Flag() const;

  [[nodiscard]] bool IsArray() const { return m_value.is_array(); }

  /// Requires an array, and calls `visit` for each of its elements.
  void EachElement(const std::function<void(const JsonNode&)>& visit) const;

  /// Throws ConfigurationError with the place and `reason`.
  [[noreturn]] void Refuse(const std::string& reason) const;

  /// The same for a value that is not `wanted`.
  [[noreturn]] void RefuseFor(const std::string& wanted) const;

 private:
  JsonNode(const nlohmann::json& memberValue, std::string memberPlace, bool isSecret)
      : m_value(memberValue), m_pointer(std::move(memberPlace)), m_hidden(isSecret) {}

  [[nodiscard]] std::string Description() const;
  void RequireObject() const;

  const nlohmann::json& m_value;
  std::string m_pointer;
  bool m_hidden = false;
};

/// `"a", "b", "c"`
std::string Listed(JsonNode::Words words);

}  // namespace Ferrolink::Companions

#endif
