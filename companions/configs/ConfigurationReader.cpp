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

void ReadText(const JsonNode& object, std::string_view key, std::string& target) {
  if (const auto node = object.Member(key)) {
    target = node->Text();
  }
}

void ReadPort(const JsonNode& object, int& target) {
  if (const auto node = object.Member("port")) {
    target = node->Port();
  }
}

Proxy ReadProxy(const JsonNode& node) {
  node.RequireKeys(kProxyKeys);
  Proxy proxy;
  ReadText(node, "host", proxy.host);
  ReadPort(node, proxy.port);
  ReadText(node, "username", proxy.username);
  ReadText(node, "password", proxy.password);
  ReadText(node, "domain", proxy.domain);
  if (proxy.host.empty()) {
    node.Refuse("a proxy needs \"host\"");
  }
  return proxy;
}

// Returns the name in lower case. Throws if it is neither a key of "runtimes" nor a "runtimeName".
std::string RequireRuntimeName(const JsonNode& node, const std::string& name) {
  std::string lower = LowerCase(name);
  if (std::find(kRuntimes.begin(), kRuntimes.end(), lower) == kRuntimes.end()) {
    node.Refuse("unknown runtime; known are " + Listed(kRuntimes));
  }
  return lower;
}

Channel ReadChannel(const JsonNode& node, const std::string& baseDirectory) {
  node.RequireKeys(kChannelKeys);
  Channel channel;
  if (const auto name = node.Member("runtimeName")) {
    channel.runtimeName = name->Text();
    RequireRuntimeName(*name, channel.runtimeName);
  }
  if (const auto type = node.Member("channel")) {
    channel.type = type->Word(kChannelTypes);
  }
  ReadText(node, "host", channel.host);
  ReadPort(node, channel.port);
  if (const auto path = node.Member("runtimePath")) {
    channel.runtimePath = AbsolutePath(path->Text(), baseDirectory);
  }
  if (channel.type != kInMemory && (channel.host.empty() || channel.port == kNoPort)) {
    node.Refuse("the channel \"" + channel.type + "\" needs \"host\" and \"port\"");
  }
  return channel;
}

void ReadRuntimes(const JsonNode& node, const std::string& baseDirectory,
                  Configuration& configuration) {
  node.EachMember([&](const std::string& runtime, const JsonNode& configs) {
    auto& channels = configuration.runtimes;
    const auto [place, isNew] = channels.try_emplace(RequireRuntimeName(configs, runtime));
    if (!isNew) {
      configs.Refuse("the runtime appears twice, in different case of letters");
    }
    configs.EachMember([&, &target = place->second](const std::string& name, const JsonNode& one) {
      target.emplace(name, ReadChannel(one, baseDirectory));
    });
  });
}

}  // namespace

Configuration ReadConfiguration(const std::string& text, const std::string& baseDirectory) {
  const nlohmann::json document = ParseJson(text);
  const JsonNode root(document);
  root.RequireKeys(kDocumentKeys);
  Configuration configuration;
  if (const auto directory = root.Member("workingDirectory")) {
    configuration.workingDirectory = AbsolutePath(directory->Text(), baseDirectory);
    if (const std::string reason = WhyNoDirectory(configuration.workingDirectory);
        !reason.empty()) {
      directory->Refuse(reason);
    }
  }
  if (const auto level = root.Member("loggingLevel")) {
    configuration.loggingLevel = level->Word(kLoggingLevels);
  }
  if (const auto proxy = root.Member("proxy")) {
    configuration.proxy = ReadProxy(proxy->Secret());
  }
  if (const auto runtimes = root.Member("runtimes")) {
    ReadRuntimes(*runtimes, baseDirectory, configuration);
  }
  if (const auto endpoints = root.Member("endpoints")) {
    endpoints->EachMember([&](const std::string& address, const JsonNode& endpoint) {
      configuration.endpoints.emplace(address, ReadEndpoint(address, endpoint, baseDirectory));
    });
  }
  return configuration;
}

}  // namespace Ferrolink::Companions
