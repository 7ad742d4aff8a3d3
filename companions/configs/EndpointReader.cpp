#include "companions/configs/EndpointReader.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <system_error>

#include "companions/configs/ConfigurationSource.h"

namespace Ferrolink::Companions {
namespace {

struct Range {
  std::string_view key;
  std::uint64_t least;
  std::uint64_t greatest;
};

constexpr std::array<std::string_view, 12> kKeys = {"connect",
                                                    "name",
                                                    "authorities",
                                                    "revocationList",
                                                    "certificate",
                                                    "key",
                                                    "tls",
                                                    "connectTimeoutMs",
                                                    "maxFrameBytes",
                                                    "callTimeoutMs",
                                                    "unacknowledgedTimeoutMs",
                                                    "poolSize"};
constexpr std::array<std::string_view, 4> kFiles = {"authorities", "revocationList", "certificate",
                                                    "key"};
constexpr std::array<std::string_view, 1> kTls = {"required"};
constexpr std::uint64_t kHour = 3'600'000;
constexpr std::array<Range, 5> kNumbers = {{{"connectTimeoutMs", 1, kHour},
                                            {"maxFrameBytes", 1024, 0x7FFFFFFF},
                                            {"callTimeoutMs", 1, 0xFFFFFFFE},
                                            {"unacknowledgedTimeoutMs", 1, kHour},
                                            {"poolSize", 0, 4096}}};

bool IsPort(std::string_view text) {
  unsigned number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end && text[0] != '0' && number <= 65535;
}

bool IsAddressOf(int family, std::string_view text) {
  std::array<unsigned char, sizeof(in6_addr)> bytes{};
  return inet_pton(family, std::string(text).c_str(), bytes.data()) == 1;
}

// Whether it is "host:port", with brackets around an IPv6 address.
bool IsTarget(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos || colon == 0 || !IsPort(text.substr(colon + 1))) {
    return false;
  }
  const std::string_view host = text.substr(0, colon);
  if (host.front() == '[') {
    return host.back() == ']' && IsAddressOf(AF_INET6, host.substr(1, host.size() - 2));
  }
  return host.find_first_of(":[]/ ") == std::string_view::npos;
}

void RequireAddress(const std::string& address, const JsonNode& node) {
  const std::size_t colon = address.rfind(':');
  if (colon == std::string::npos || !IsAddressOf(AF_INET, address.substr(0, colon)) ||
      !IsPort(std::string_view(address).substr(colon + 1))) {
    node.Refuse("expected an IPv4 address and a port as the key, such as \"10.0.0.1:8080\"");
  }
}

}  // namespace

Endpoint ReadEndpoint(const std::string& address, const JsonNode& node,
                      const std::string& baseDirectory) {
  RequireAddress(address, node);
  node.RequireKeys(kKeys);
  Endpoint endpoint;
  if (const auto connect = node.Member("connect")) {
    for (const JsonNode& target : connect->OneOrMore()) {
      const std::string text = target.Text();
      if (!IsTarget(text)) {
        target.RefuseFor("\"host:port\" or \"[IPv6]:port\"");
      }
      endpoint.emplace_back("connect", text);
    }
  }
  if (const auto name = node.Member("name")) {
    endpoint.emplace_back("name", name->Text());
  }
  for (const std::string_view key : kFiles) {
    if (const auto file = node.Member(key)) {
      endpoint.emplace_back(key, AbsolutePath(file->Text(), baseDirectory));
    }
  }
  if (node.Member("certificate").has_value() != node.Member("key").has_value()) {
    node.Refuse("\"certificate\" and \"key\" need each other");
  }
  if (const auto tls = node.Member("tls")) {
    endpoint.emplace_back("tls", tls->Word(kTls));
  }
  for (const Range& range : kNumbers) {
    if (const auto number = node.Member(range.key)) {
      endpoint.emplace_back(range.key,
                            std::to_string(number->Integer(range.least, range.greatest)));
    }
  }
  return endpoint;
}

}  // namespace Ferrolink::Companions
