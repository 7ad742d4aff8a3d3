#include "companions/tcp/client/EndpointConfiguration.h"

#include <cstddef>
#include <string_view>

#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/SiblingLibrary.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

using GetEndpointFunction = int(const char* address, char* buffer, std::size_t size);
using GetConfigRevisionFunction = unsigned();

// Plain data, so it has no destructor to run while the process exits.
struct ConfigurationLibrary {
  GetEndpointFunction* endpoint;
  GetConfigRevisionFunction* revision;
};

const ConfigurationLibrary& Library() {
  static const ConfigurationLibrary opened = [] {
    const SiblingLibrary configs("libConfigs.so");
    return ConfigurationLibrary{configs.Find<GetEndpointFunction>("GetEndpoint"),
                                configs.Find<GetConfigRevisionFunction>("GetConfigRevision")};
  }();
  return opened;
}

constexpr std::size_t kRoom = 64U << 10U;

}  // namespace

EndpointConfiguration::EndpointConfiguration(const Peer& endpoint) {
  if (Library().endpoint == nullptr) {
    return;
  }
  std::string buffer(kRoom, '\0');
  const int length = Library().endpoint(endpoint.Name().c_str(), buffer.data(), buffer.size());
  if (length < 0) {
    const char* reason = buffer.data();
    Fail(ClientError::Settings, "The configuration of " + endpoint.Name() +
                                    " cannot be read: " + reason + ". The command was not sent.");
  }
  m_lines = buffer.substr(0, static_cast<std::size_t>(length));
}

std::vector<std::string> EndpointConfiguration::All(const std::string& key) const {
  std::vector<std::string> values;
  std::string_view rest = m_lines;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(line.size() + 1);
    if (line.starts_with(key) && line.substr(key.size()).starts_with('=')) {
      values.emplace_back(line.substr(key.size() + 1));
    }
  }
  return values;
}

std::string EndpointConfiguration::One(const std::string& key) const {
  const std::vector<std::string> values = All(key);
  return values.empty() ? "" : values.front();
}

unsigned EndpointConfiguration::Revision() {
  return Library().revision == nullptr ? 0 : Library().revision();
}

}  // namespace Ferrolink::Companions::Tcp::Client
