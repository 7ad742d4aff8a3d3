#include "companions/configs/Configs.h"

#include <cxxabi.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

#include "companions/configs/Configuration.h"
#include "companions/configs/ConfigurationSource.h"
#include "companions/configs/ConfigurationStore.h"
#include "companions/configs/JsonDocument.h"
#include "companions/configs/Printable.h"

namespace {

using namespace Ferrolink::Companions;

constexpr int kRefused = -1;

// The outermost frame of every exported function: passes exceptions of `body` to `report` as texts.
template <class Body, class Report>
int Guarded(Body body, Report report) {
  try {
    return body();
  } catch (const std::exception& error) {
    return report(error.what());
  } catch (const abi::__forced_unwind&) {
    throw;  // the thread is being cancelled, which must not be stopped
  } catch (...) {
    return report("unknown error");
  }
}

// One write for the whole line, so that lines of several threads do not mix.
int PrintRefusal(const char* reason) {
  try {
    const std::string line = std::string("Ferrolink configuration: ") + reason + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
  } catch (const std::exception&) {
    std::fputs("Ferrolink configuration: out of memory\n", stderr);
  }
  return kRefused;
}

int RefuseSilently(const char* /*reason*/) {
  return kRefused;
}

const char* NotNull(const char* text, const char* what) {
  if (text == nullptr) {
    throw ConfigurationError(std::string(what) + " is a null pointer");
  }
  return text;
}

void CopyWithEnd(std::string_view text, char* buffer) {
  std::memcpy(buffer, text.data(), text.size());
  buffer[text.size()] = '\0';
}

// Writes the text that `select` returns for the configuration. `place` is its name in an error
// text.
template <class Select, class Place>
int GiveText(char* buffer, std::size_t size, Place place, Select select) {
  if (buffer == nullptr || size == 0) {
    return kRefused;
  }
  const auto give = [&] {
    const std::string text = select(ConfigurationStore::Instance().Current());
    if (text.size() >= size) {
      throw ConfigurationError(std::string(place()) + ": the value does not fit into a buffer of " +
                               std::to_string(size) + " bytes");
    }
    CopyWithEnd(text, buffer);
    return static_cast<int>(text.size());
  };
  return Guarded(give, [&](const char* reason) {
    CopyWithEnd(std::string_view(reason, PrefixLength(reason, size - 1)), buffer);
    return kRefused;
  });
}

int GiveProxyText(char* buffer, std::size_t size, const char* place, std::string Proxy::*member) {
  return GiveText(
      buffer, size, [&] { return place; },
      [&](const ConfigurationStore::Snapshot& now) { return now.configuration->proxy.*member; });
}

// Returns the defaults if the channel is not configured.
Channel ChannelOf(const Configuration& configuration, const char* runtimeName,
                  const char* configName) {
  const std::string runtime = LowerCase(NotNull(runtimeName, "the runtime name"));
  const std::string config = NotNull(configName, "the configuration name");
  const auto configs = configuration.runtimes.find(runtime);
  if (configs == configuration.runtimes.end()) {
    return {};
  }
  const auto channel = configs->second.find(config);
  return channel == configs->second.end() ? Channel{} : channel->second;
}

int GiveChannelText(const char* runtimeName, const char* configName, char* buffer, std::size_t size,
                    const char* key, std::string Channel::*member) {
  const auto place = [&] {
    return MemberPointer(MemberPointer("/runtimes", runtimeName), configName) + "/" + key;
  };
  return GiveText(buffer, size, place, [&](const ConfigurationStore::Snapshot& now) {
    return ChannelOf(*now.configuration, runtimeName, configName).*member;
  });
}

}  // namespace

int SetConfigSource(const char* source) {
  return Guarded(
      [&] {
        Configuration configuration = LoadConfiguration(NotNull(source, "the source"));
        ConfigurationStore::Instance().ReplaceConfiguration(std::move(configuration));
        return 0;
      },
      PrintRefusal);
}

int SetWorkingDirectory(const char* path) {
  return Guarded(
      [&] {
        const std::string_view given = NotNull(path, "the working directory");
        if (given.empty()) {
          throw ConfigurationError("the working directory is empty");
        }
        std::string directory = AbsolutePath(given, CurrentDirectory());
        if (const std::string reason = WhyNoDirectory(directory); !reason.empty()) {
          throw ConfigurationError("the working directory: " + reason);
        }
        ConfigurationStore::Instance().OverrideDirectory(std::move(directory));
        return 0;
      },
      PrintRefusal);
}

int GetChannelPort(const char* runtimeName, const char* configName) {
  return Guarded(
      [&] {
        const auto now = ConfigurationStore::Instance().Current();
        return ChannelOf(*now.configuration, runtimeName, configName).port;
      },
      RefuseSilently);
}

int ProxyExists(void) {
  return Guarded(
      [] {
        const auto now = ConfigurationStore::Instance().Current();
        return now.configuration->proxy.host.empty() ? 0 : 1;
      },
      [](const char*) { return 0; });
}

int GetProxyPort(void) {
  return Guarded([] { return ConfigurationStore::Instance().Current().configuration->proxy.port; },
                 RefuseSilently);
}

int GetConfigSource(char* buffer, std::size_t size) {
  return GiveText(
      buffer, size, [] { return "the source"; },
      [](const ConfigurationStore::Snapshot& now) { return now.configuration->source; });
}

int GetWorkingDirectory(char* buffer, std::size_t size) {
  return GiveText(
      buffer, size, [] { return "/workingDirectory"; },
      [](const ConfigurationStore::Snapshot& now) {
        if (now.directoryOverride != nullptr) {
          return *now.directoryOverride;
        }
        const std::string& configured = now.configuration->workingDirectory;
        return configured.empty() ? CurrentDirectory() : configured;
      });
}

int GetLoggingLevel(char* buffer, std::size_t size) {
  return GiveText(
      buffer, size, [] { return "/loggingLevel"; },
      [](const ConfigurationStore::Snapshot& now) { return now.configuration->loggingLevel; });
}

int GetProxyHost(char* buffer, std::size_t size) {
  return GiveProxyText(buffer, size, "/proxy/host", &Proxy::host);
}

int GetProxyUsername(char* buffer, std::size_t size) {
  return GiveProxyText(buffer, size, "/proxy/username", &Proxy::username);
}

int GetProxyPassword(char* buffer, std::size_t size) {
  return GiveProxyText(buffer, size, "/proxy/password", &Proxy::password);
}

int GetProxyDomain(char* buffer, std::size_t size) {
  return GiveProxyText(buffer, size, "/proxy/domain", &Proxy::domain);
}

int GetRuntimeName(const char* runtimeName, const char* configName, char* buffer,
                   std::size_t size) {
  const auto place = [&] {
    return MemberPointer(MemberPointer("/runtimes", runtimeName), configName) + "/runtimeName";
  };
  return GiveText(buffer, size, place, [&](const ConfigurationStore::Snapshot& now) {
    const Channel channel = ChannelOf(*now.configuration, runtimeName, configName);
    return channel.runtimeName.empty() ? std::string(runtimeName) : channel.runtimeName;
  });
}

int GetChannelType(const char* runtimeName, const char* configName, char* buffer,
                   std::size_t size) {
  return GiveChannelText(runtimeName, configName, buffer, size, "channel", &Channel::type);
}

int GetChannelHost(const char* runtimeName, const char* configName, char* buffer,
                   std::size_t size) {
  return GiveChannelText(runtimeName, configName, buffer, size, "host", &Channel::host);
}

int GetChannelRuntimePath(const char* runtimeName, const char* configName, char* buffer,
                          std::size_t size) {
  return GiveChannelText(runtimeName, configName, buffer, size, "runtimePath",
                         &Channel::runtimePath);
}

int GetEndpoint(const char* address, char* buffer, std::size_t size) {
  const auto place = [&] { return MemberPointer("/endpoints", address); };
  return GiveText(buffer, size, place, [&](const ConfigurationStore::Snapshot& now) {
    const auto& endpoints = now.configuration->endpoints;
    const auto found = endpoints.find(std::string_view(NotNull(address, "the address")));
    std::string lines;
    if (found != endpoints.end()) {
      for (const auto& [key, value] : found->second) {
        lines.append(key).append("=").append(value).append("\n");
      }
    }
    return lines;
  });
}

unsigned GetConfigRevision(void) {
  return ConfigurationStore::Instance().Revision();
}
