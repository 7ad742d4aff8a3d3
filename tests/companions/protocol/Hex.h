#ifndef FERROLINK_TESTS_COMPANIONS_PROTOCOL_HEX_H
#define FERROLINK_TESTS_COMPANIONS_PROTOCOL_HEX_H

#include <ferrolink/protocol/Bytes.h>

#include <array>
#include <cstdio>
#include <string>

namespace Ferrolink::Tests {

/// Two upper-case digits a byte.
inline std::string Hex(Ferrolink::Protocol::ByteView bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02X", byte);
    text += digits.data();
  }
  return text;
}

}  // namespace Ferrolink::Tests

#endif
