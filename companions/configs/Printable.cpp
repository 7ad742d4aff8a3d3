#include "companions/configs/Printable.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace Ferrolink::Companions {
namespace {

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// The code point of the well-formed first character of `text`, if it has two or three bytes; longer
// ones do not matter here.
unsigned ShortCodePoint(std::string_view text) {
  const auto bits = [&](std::size_t index, unsigned mask) {
    return static_cast<unsigned char>(text[index]) & mask;
  };
  if (text.size() == 2) {
    return bits(0, 0x1FU) << 6U | bits(1, 0x3FU);
  }
  return text.size() == 3 ? bits(0, 0x0FU) << 12U | bits(1, 0x3FU) << 6U | bits(2, 0x3FU) : 0;
}

// Beyond ASCII: C1 controls, separators, embeddings, overrides and isolates.
bool DisturbsALine(unsigned codePoint) {
  return (codePoint >= 0x80U && codePoint <= 0x9FU) ||
         (codePoint >= 0x2028U && codePoint <= 0x202EU) ||
         (codePoint >= 0x2066U && codePoint <= 0x2069U);
}

std::string Escape(unsigned codePoint) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "\\u%04x", codePoint & 0xFFFFU);
  return text.data();
}

}  // namespace

std::string Printable(std::string_view text) {
  const std::string quoted =
      nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  const std::string_view inner = std::string_view(quoted).substr(1, quoted.size() - 2);
  std::string result;
  for (std::size_t begin = 0; begin < inner.size();) {
    std::size_t end = begin + 1;
    while (end < inner.size() && IsContinuation(inner[end])) {
      ++end;
    }
    const std::string_view character = inner.substr(begin, end - begin);
    const unsigned codePoint = ShortCodePoint(character);
    if (character == "\x7f") {
      result += Escape(0x7FU);
    } else if (DisturbsALine(codePoint)) {
      result += Escape(codePoint);
    } else {
      result += character;
    }
    begin = end;
  }
  return result;
}

std::size_t PrefixLength(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) {
    return text.size();
  }
  while (limit > 0 && IsContinuation(text[limit])) {
    --limit;
  }
  return limit;
}

}  // namespace Ferrolink::Companions
