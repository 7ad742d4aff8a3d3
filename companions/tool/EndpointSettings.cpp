#include "companions/tool/EndpointSettings.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string_view>

namespace Ferrolink::Companions::Tool {
namespace {

constexpr std::array<std::string_view, 5> kNumbers = {
    "connectTimeoutMs", "maxFrameBytes", "callTimeoutMs", "unacknowledgedTimeoutMs", "poolSize"};

bool ConnectsTo(const Endpoint& endpoint, const std::string& name) {
  return std::any_of(endpoint.begin(), endpoint.end(), [&](const auto& setting) {
    return setting.first == "connect" && LowerCase(setting.second) == LowerCase(name);
  });
}

}  // namespace

Endpoint EndpointFor(const Configuration& configuration, const Address& server) {
  const auto& all = configuration.endpoints;
  auto found = all.find(server.Name());
  if (found == all.end()) {
    found = std::find_if(all.begin(), all.end(), [&](const auto& endpoint) {
      return ConnectsTo(endpoint.second, server.Name());
    });
  }
  return found == all.end() ? Endpoint() : found->second;
}

std::string ValueOf(const Endpoint& endpoint, const std::string& key) {
  for (const auto& [name, value] : endpoint) {
    if (name == key) {
      return value;
    }
  }
  return {};
}

std::string ConfigurationFor(const Configuration& configuration, const Address& server,
                             const std::string& key) {
  nlohmann::json endpoint = {{"connect", server.Name()}};
  for (const auto& [name, value] : EndpointFor(configuration, server)) {
    if (std::find(kNumbers.begin(), kNumbers.end(), name) != kNumbers.end()) {
      endpoint[name] = std::stoull(value);
    } else if (name != "connect") {
      endpoint[name] = value;
    }
  }
  nlohmann::json text = {{"loggingLevel", configuration.loggingLevel},
                         {"endpoints", {{key, endpoint}}}};
  if (!configuration.workingDirectory.empty()) {
    text["workingDirectory"] = configuration.workingDirectory;
  }
  return text.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace Ferrolink::Companions::Tool
