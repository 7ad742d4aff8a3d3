#ifndef FERROLINK_NATIVE_LOWERCASE_H
#define FERROLINK_NATIVE_LOWERCASE_H

#include <algorithm>
#include <string>

namespace Ferrolink::Native {

/// Lowers the letters of ASCII alone. The words compared so are such, and the host's locale may
/// lower others, or "I", in its own way.
inline std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return text;
}

}  // namespace Ferrolink::Native

#endif
