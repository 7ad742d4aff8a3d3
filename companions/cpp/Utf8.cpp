#include "companions/cpp/Utf8.h"

#include <cstddef>

namespace Ferrolink::Runtimes::Cpp::Native {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

unsigned ByteAt(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

// What a leading byte announces; length 0 where it can lead nothing.
struct Lead {
  std::size_t length;
  unsigned lowest;   // of the second byte, which alone has bounds of its own:
  unsigned highest;  // no overlong forms, no surrogates, nothing above U+10FFFF
};

Lead LeadOf(unsigned first) {
  if (first < 0x80) {
    return {1, 0, 0};
  }
  if (first >= 0xC2 && first <= 0xDF) {
    return {2, 0x80, 0xBF};
  }
  if (first >= 0xE0 && first <= 0xEF) {
    return {3, first == 0xE0 ? 0xA0U : 0x80U, first == 0xED ? 0x9FU : 0xBFU};
  }
  if (first >= 0xF0 && first <= 0xF4) {
    return {4, first == 0xF0 ? 0x90U : 0x80U, first == 0xF4 ? 0x8FU : 0xBFU};
  }
  return {0, 0, 0};
}

// The length of the well-formed character at `start`; 0 where there is none.
std::size_t CharacterAt(std::string_view text, std::size_t start) {
  const Lead lead = LeadOf(ByteAt(text, start));
  if (lead.length == 0 || text.size() - start < lead.length) {
    return 0;
  }
  for (std::size_t offset = 1; offset < lead.length; ++offset) {
    const unsigned byte = ByteAt(text, start + offset);
    const unsigned lowest = offset == 1 ? lead.lowest : 0x80U;
    const unsigned highest = offset == 1 ? lead.highest : 0xBFU;
    if (byte < lowest || byte > highest) {
      return 0;
    }
  }
  return lead.length;
}

}  // namespace

std::string ValidUtf8(std::string_view text) {
  std::string valid;
  valid.reserve(text.size());
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t length = CharacterAt(text, at);
    valid += length > 0 ? text.substr(at, length) : kReplacement;
    at += length > 0 ? length : 1;
  }
  return valid;
}

}  // namespace Ferrolink::Runtimes::Cpp::Native
