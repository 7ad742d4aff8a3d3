#ifndef FERROLINK_COMPANIONS_CONFIGS_JSONNODE_H
#define FERROLINK_COMPANIONS_CONFIGS_JSONNODE_H

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Ferrolink::Companions {

/// One value of a document together with its place. Each question checks the value and throws
/// ConfigurationError, "<JSON Pointer>: expected <what>, got <value>", where it is something else.
/// Valid as long as the document.
class JsonNode {
 public:
  using Words = std::span<const std::string_view>;

  /// The document itself.
  explicit JsonNode(const nlohmann::json& document) : value(document) {}

  /// From here downwards error texts say what kind a value is, but not the value.
  [[nodiscard]] JsonNode secret() const;

  /// Requires an object that has no other than the `allowed` keys.
  void requireKeys(Words allowed) const;

  /// The member `key` of the object, if it is there.
  [[nodiscard]] std::optional<JsonNode> member(std::string_view key) const;

  /// Requires an object, and calls `visit` for each of its members.
  void eachMember(const std::function<void(const std::string&, const JsonNode&)>& visit) const;

  /// The elements of an array, of which there must be one at least; of anything else, itself.
  [[nodiscard]] std::vector<JsonNode> oneOrMore() const;

  /// A text that is not empty and has no control characters.
  [[nodiscard]] std::string text() const;

  /// One of `words` in any case of letters; as the list writes it.
  [[nodiscard]] std::string word(Words words) const;

  /// 1 to 65535.
  [[nodiscard]] int port() const;

  /// An integer of that range.
  [[nodiscard]] std::uint64_t integer(std::uint64_t least, std::uint64_t greatest) const;

  [[nodiscard]] bool flag() const;

  [[nodiscard]] bool isArray() const { return value.is_array(); }

  /// Requires an array, and calls `visit` for each of its elements.
  void eachElement(const std::function<void(const JsonNode&)>& visit) const;

  /// Throws ConfigurationError with the place and `reason`.
  [[noreturn]] void refuse(const std::string& reason) const;

  /// The same for a value that is something else than `wanted`.
  [[noreturn]] void refuseFor(const std::string& wanted) const;

 private:
  JsonNode(const nlohmann::json& memberValue, std::string memberPlace, bool isSecret)
      : value(memberValue), pointer(std::move(memberPlace)), hidden(isSecret) {}

  [[nodiscard]] std::string description() const;
  void requireObject() const;

  const nlohmann::json& value;
  std::string pointer;
  bool hidden = false;
};

/// `"a", "b", "c"`
std::string listed(JsonNode::Words words);

}  // namespace Ferrolink::Companions

#endif
