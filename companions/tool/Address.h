#ifndef FERROLINK_COMPANIONS_TOOL_ADDRESS_H
#define FERROLINK_COMPANIONS_TOOL_ADDRESS_H

#include <cstdint>
#include <string>

namespace Ferrolink::Companions::Tool {

/// A server as the user names it: tcp://host:port or tls://host:port, an IPv6 address in brackets.
struct Address {
  bool tls = false;
  std::string host;  ///< without brackets
  std::uint16_t port = 0;

  /// "host:port", with brackets around an IPv6 address.
  [[nodiscard]] std::string Name() const;
};

/// Errors: Failure that says what is expected.
Address AddressOf(const std::string& text);

}  // namespace Ferrolink::Companions::Tool

#endif
