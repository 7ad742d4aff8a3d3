#ifndef FERROLINK_COMPANIONS_CONFIGS_JSONDOCUMENT_H
#define FERROLINK_COMPANIONS_CONFIGS_JSONDOCUMENT_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace Ferrolink::Companions {

/// The JSON Pointer of the member `key` of the object at `pointer`, fit for an error text.
std::string MemberPointer(const std::string& pointer, std::string_view key);

/// Parses a whole text as JSON, stricter than JSON itself: a key may not appear twice in an object,
/// and nesting ends at a depth that no configuration needs.
///
/// Throws ConfigurationError. Its text names line and column (in characters, both from 1) of what
/// is not JSON, or the place of what is refused, but repeats no value, which may be a password.
nlohmann::json ParseJson(const std::string& text);

}  // namespace Ferrolink::Companions

#endif
