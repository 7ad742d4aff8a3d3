#include "companions/configs/ConfigurationReader.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "companions/configs/ConfigurationSource.h"
#include "companions/configs/EndpointReader.h"
#include "companions/configs/JsonDocument.h"
#include "companions/configs/JsonNode.h"

namespace Ferrolink::Companions {
namespace {

constexpr std::array<std::string_view, 5> kDocumentKeys = {"workingDirectory", "loggingLevel",
                                                           "proxy", "runtimes", "endpoints"};
constexpr std::array<std::string_view, 5> kProxyKeys = {"host", "port", "username", "password",
                                                        "domain"};
constexpr std::array<std::string_view, 5> kChannelKeys = {"runtimeName", "channel", "host", "port",
                                                          "runtimePath"};
constexpr std::array<std::string_view, 11> kRuntimes = {
    "clr", "cpp", "go", "jvm", "netcore", "nodejs", "perl", "php", "python", "python2", "ruby"};
constexpr std::string_view kInMemory = "inMemory";
constexpr std::array<std::string_view, 3> kChannelTypes = {kInMemory, "tcp", "tcpTls"};
constexpr std::array<std::string_view, 3> kLoggingLevels = {"off", "runtimeinfo", "all"};

void readText(const JsonNode& object, std::string_view key, std::string& target) {
  if (const auto node = object.member(key)) {
    target = node->text();
  }
}

void readPort(const JsonNode& object, int& target) {
  if (const auto node = object.member("port")) {
    target = node->port();
  }
}

Proxy readProxy(const JsonNode& node) {
  node.requireKeys(kProxyKeys);
  Proxy proxy;
  readText(node, "host", proxy.host);
  readPort(node, proxy.port);
  readText(node, "username", proxy.username);
  readText(node, "password", proxy.password);
  readText(node, "domain", proxy.domain);
  if (proxy.host.empty()) {
    node.refuse("a proxy needs \"host\"");
  }
  return proxy;
}

// In lower case. Throws for what is neither a key of "runtimes" nor a "runtimeName".
std::string requireRuntimeName(const JsonNode& node, const std::string& name) {
  std::string lower = lowerCase(name);
  if (std::find(kRuntimes.begin(), kRuntimes.end(), lower) == kRuntimes.end()) {
    node.refuse("unknown runtime; known are " + listed(kRuntimes));
  }
  return lower;
}

Channel readChannel(const JsonNode& node, const std::string& baseDirectory) {
  node.requireKeys(kChannelKeys);
  Channel channel;
  if (const auto name = node.member("runtimeName")) {
    channel.runtimeName = name->text();
    requireRuntimeName(*name, channel.runtimeName);
  }
  if (const auto type = node.member("channel")) {
    channel.type = type->word(kChannelTypes);
  }
  readText(node, "host", channel.host);
  readPort(node, channel.port);
  if (const auto path = node.member("runtimePath")) {
    channel.runtimePath = absolutePath(path->text(), baseDirectory);
  }
  if (channel.type != kInMemory && (channel.host.empty() || channel.port == kNoPort)) {
    node.refuse("the channel \"" + channel.type + "\" needs \"host\" and \"port\"");
  }
  return channel;
}

void readRuntimes(const JsonNode& node, const std::string& baseDirectory,
                  Configuration& configuration) {
  node.eachMember([&](const std::string& runtime, const JsonNode& configs) {
    auto& channels = configuration.runtimes;
    const auto [place, isNew] = channels.try_emplace(requireRuntimeName(configs, runtime));
    if (!isNew) {
      configs.refuse("the runtime appears twice, in different case of letters");
    }
    configs.eachMember([&, &target = place->second](const std::string& name, const JsonNode& one) {
      target.emplace(name, readChannel(one, baseDirectory));
    });
  });
}

}  // namespace

Configuration readConfiguration(const std::string& text, const std::string& baseDirectory) {
  const nlohmann::json document = parseJson(text);
  const JsonNode root(document);
  root.requireKeys(kDocumentKeys);
  Configuration configuration;
  if (const auto directory = root.member("workingDirectory")) {
    configuration.workingDirectory = absolutePath(directory->text(), baseDirectory);
    if (const std::string reason = whyNoDirectory(configuration.workingDirectory);
        !reason.empty()) {
      directory->refuse(reason);
    }
  }
  if (const auto level = root.member("loggingLevel")) {
    configuration.loggingLevel = level->word(kLoggingLevels);
  }
  if (const auto proxy = root.member("proxy")) {
    configuration.proxy = readProxy(proxy->secret());
  }
  if (const auto runtimes = root.member("runtimes")) {
    readRuntimes(*runtimes, baseDirectory, configuration);
  }
  if (const auto endpoints = root.member("endpoints")) {
    endpoints->eachMember([&](const std::string& address, const JsonNode& endpoint) {
      configuration.endpoints.emplace(address, readEndpoint(address, endpoint, baseDirectory));
    });
  }
  return configuration;
}

}  // namespace Ferrolink::Companions
