#ifndef FERROLINK_COMPANIONS_CPP_UTF8_H
#define FERROLINK_COMPANIONS_CPP_UTF8_H

#include <string>
#include <string_view>

namespace Ferrolink::Runtimes::Cpp::Native {

/// The text as valid UTF-8: U+FFFD replaces every byte that is no part of a well-formed character.
std::string ValidUtf8(std::string_view text);

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
