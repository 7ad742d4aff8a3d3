#include "jvm/ModifiedUtf8.h"

#include <cstddef>

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::string_view kModifiedZero = "\xC0\x80";

bool IsContinuation(unsigned char byte) {
  return (byte & 0xC0U) == 0x80U;
}

/// One decoded character and how many bytes it took; a malformed byte is U+FFFD of one byte.
struct Decoded {
  char32_t character;
  std::size_t size;
};

Decoded Decode(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80U) {
    return {first, 1};
  }
  if (text.substr(0, 2) == kModifiedZero) {
    return {0, 2};
  }
  const std::size_t size = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
  if (first < 0xC2U || first > 0xF4U || text.size() < size) {
    return {kReplacement, 1};
  }
  char32_t character = first & (0xFFU >> (size + 1));
  for (std::size_t i = 1; i < size; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if (!IsContinuation(next)) {
      return {kReplacement, 1};
    }
    character = (character << 6U) | (next & 0x3FU);
  }
  const bool overlong = (size == 3 && character < 0x800U) || (size == 4 && character < 0x10000U);
  if (overlong || character > 0x10FFFFU) {
    return {kReplacement, 1};
  }
  return {character, size};
}

void AppendThreeBytes(std::string& out, char32_t unit) {
  out.push_back(static_cast<char>(0xE0U | (unit >> 12U)));
  out.push_back(static_cast<char>(0x80U | ((unit >> 6U) & 0x3FU)));
  out.push_back(static_cast<char>(0x80U | (unit & 0x3FU)));
}

void Append(std::string& out, char32_t character) {
  if (character >= 0x10000U) {
    const char32_t offset = character - 0x10000U;
    AppendThreeBytes(out, 0xD800U + (offset >> 10U));
    AppendThreeBytes(out, 0xDC00U + (offset & 0x3FFU));
  } else if (character >= 0x800U) {
    AppendThreeBytes(out, character);
  } else if (character >= 0x80U || character == 0) {
    out.push_back(static_cast<char>(0xC0U | (character >> 6U)));
    out.push_back(static_cast<char>(0x80U | (character & 0x3FU)));
  } else {
    out.push_back(static_cast<char>(character));
  }
}

bool IsHighSurrogate(char32_t character) {
  return character >= 0xD800U && character <= 0xDBFFU;
}

bool IsLowSurrogate(char32_t character) {
  return character >= 0xDC00U && character <= 0xDFFFU;
}

void AppendFourBytes(std::string& out, char32_t character) {
  out.push_back(static_cast<char>(0xF0U | (character >> 18U)));
  out.push_back(static_cast<char>(0x80U | ((character >> 12U) & 0x3FU)));
  out.push_back(static_cast<char>(0x80U | ((character >> 6U) & 0x3FU)));
  out.push_back(static_cast<char>(0x80U | (character & 0x3FU)));
}

}  // namespace

std::string FromModifiedUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Decoded high = Decode(text);
    const Decoded low = IsHighSurrogate(high.character) && text.size() > high.size
                            ? Decode(text.substr(high.size))
                            : Decoded{0, 0};
    std::size_t taken = high.size;
    if (IsLowSurrogate(low.character)) {
      AppendFourBytes(out,
                      0x10000U + ((high.character - 0xD800U) << 10U) + (low.character - 0xDC00U));
      taken += low.size;
    } else {
      out.append(text.substr(0, taken));
    }
    text.remove_prefix(taken);
  }
  return out;
}

std::string ToModifiedUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Decoded decoded = Decode(text);
    Append(out, decoded.character);
    text.remove_prefix(decoded.size);
  }
  return out;
}
