#include "companions/tool/Address.h"

#include <charconv>

#include "companions/tool/Failure.h"

namespace Ferrolink::Companions::Tool {

std::string Address::Name() const {
  const bool brackets = host.find(':') != std::string::npos;
  return (brackets ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

Address AddressOf(const std::string& text) {
  constexpr std::size_t kScheme = 6;
  const std::string scheme = text.substr(0, kScheme);
  const std::string rest = text.size() > kScheme ? text.substr(kScheme) : std::string();
  const std::size_t colon = rest.rfind(':');
  Address address{scheme == "tls://", rest.substr(0, colon), 0};
  if (address.host.size() > 2 && address.host.front() == '[' && address.host.back() == ']') {
    address.host = address.host.substr(1, address.host.size() - 2);
  }
  const char* end = rest.data() + rest.size();
  const char* begin = colon == std::string::npos ? end : rest.data() + colon + 1;
  const auto [stop, error] = std::from_chars(begin, end, address.port);
  if ((scheme != "tcp://" && scheme != "tls://") || address.host.empty() || error != std::errc() ||
      stop != end || address.port == 0) {
    throw Failure("'" + text +
                  "' is no address of a server. Use tcp://host:port or tls://host:port.");
  }
  return address;
}

}  // namespace Ferrolink::Companions::Tool
