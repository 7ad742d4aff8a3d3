#ifndef FERROLINK_COMPANIONS_CONFIGS_PRINTABLE_H
#define FERROLINK_COMPANIONS_CONFIGS_PRINTABLE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Ferrolink::Companions {

/// `text` for use in an error text: UTF-8 on one line. Quotes, backslashes, control characters,
/// line and paragraph separators and marks of writing direction become JSON escapes. Bytes that are
/// not UTF-8 become U+FFFD.
std::string Printable(std::string_view text);

/// The length of the longest prefix of `text` of at most `limit` bytes that does not end inside a
/// UTF-8 character.
std::size_t PrefixLength(std::string_view text, std::size_t limit);

}  // namespace Ferrolink::Companions

#endif
