#include "companions/cpp/Utf8.h"

#include <utf8.h>

namespace Ferrolink::Runtimes::Cpp::Native {

// utf8::replace_invalid would replace a whole malformed sequence by one U+FFFD.
std::string ValidUtf8(std::string_view text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  std::string valid;
  valid.reserve(text.size());
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    const char* const invalid = utf8::find_invalid(at, end);
    valid.append(at, invalid);
    at = invalid;
    if (at != end) {
      valid += kReplacement;
      ++at;
    }
  }
  return valid;
}

}  // namespace Ferrolink::Runtimes::Cpp::Native
