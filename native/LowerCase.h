#ifndef FERROLINK_NATIVE_LOWERCASE_H
#define FERROLINK_NATIVE_LOWERCASE_H

#include <algorithm>
#include <string>

namespace Ferrolink::Native {

/// `text` in lower case. Changes ASCII letters only: the words that are compared are ASCII, and a
/// locale may lower other characters, or "I", differently. Any thread.
inline std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return text;
}

}  // namespace Ferrolink::Native

#endif
