#ifndef FERROLINK_COMPANIONS_CONFIGS_JSONDOCUMENT_H
#define FERROLINK_COMPANIONS_CONFIGS_JSONDOCUMENT_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace Ferrolink::Companions {

/// The JSON Pointer of the member `key` of the object at `pointer`, fit for an error text.
std::string MemberPointer(const std::string& pointer, std::string_view key);

/// Parses a whole text as JSON, with two more rules: a key must not appear twice in an object, and
/// the depth of nesting is limited.
///
/// Throws ConfigurationError. Its text has line and column (in characters, both from 1) of a syntax
/// error, or the place of a refused value. It never repeats a value, which may be a password.
nlohmann::json ParseJson(const std::string& text);

}  // namespace Ferrolink::Companions

#endif
