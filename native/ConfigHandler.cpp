#include "native/ConfigHandler.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <vector>

#include "native/FerrolinkNativeException.h"
#include "native/LibrariesFinder.h"
#include "native/Loader.h"
#include "native/LowerCase.h"

namespace Ferrolink::Native::ConfigHandler {
namespace {

// The configuration library is expected to fit every value; there is no retry with a larger buffer.
constexpr std::size_t kBufferSize = 8192;

using DirectFunction = int();
using DirectTextFunction = int(const char*);
using DirectChannelFunction = int(const char*, const char*);
using TextFunction = int(char*, std::size_t);
using ChannelTextFunction = int(const char*, const char*, char*, std::size_t);

template <class Function, class... Texts>
std::string CallConfigStringFunction(Function* function, const Texts&... texts) {
  std::vector<char> buffer(kBufferSize, '\0');
  const int result = function(texts.c_str()..., buffer.data(), buffer.size());
  if (result < 0) {
    throw FerrolinkNativeException(
        std::string(buffer.data(), strnlen(buffer.data(), buffer.size())), "Unknown");
  }
  return {buffer.data(), std::min(static_cast<std::size_t>(result), buffer.size())};
}

template <class Function>
Function* FindFunction(void* library, const char* name) {
  auto* function = Loader::FindFunction<Function>(library, name);
  if (function == nullptr) {
    throw FerrolinkNativeException(std::string(name) + " function not found in Utils library",
                                   "Unknown");
  }
  return function;
}

// Whatever the configuration library throws, and a missing function as well, reaches the caller as
// a newly raised exception with the same text.
template <class Call>
auto Reraised(Call call) -> decltype(call()) {
  try {
    return call();
  } catch (const std::exception& error) {
    throw FerrolinkNativeException(error.what(), "Unknown");
  }
}

template <class Function, class... Texts>
int AskNumber(void* library, const char* name, const Texts&... texts) {
  return Reraised([&] { return FindFunction<Function>(library, name)(texts.c_str()...); });
}

template <class Function, class... Texts>
std::string AskText(void* library, const char* name, const Texts&... texts) {
  return Reraised(
      [&] { return CallConfigStringFunction(FindFunction<Function>(library, name), texts...); });
}

// The level of a level word in lower case; -1 for any other text.
int LevelOf(const std::string& word) {
  if (word == "off") {
    return 0;
  }
  if (word == "runtimeinfo") {
    return 1;
  }
  return word == "all" ? 2 : -1;
}

}  // namespace

std::atomic<void*> ConfigHandler::configsLibraryInstance{nullptr};

void ConfigHandler::initializeConfigsLibrary() {
  if (configsLibraryInstance.load(std::memory_order_acquire) == nullptr) {
    configsLibraryInstance.store(LibrariesFinder::LibrariesFinder::loadConfigsLibrary(true),
                                 std::memory_order_release);
  }
}

void* ConfigHandler::ConfigsLibrary() {
  initializeConfigsLibrary();
  return configsLibraryInstance.load(std::memory_order_acquire);
}

int ConfigHandler::SetConfigSource(const std::string& source) {
  return AskNumber<DirectTextFunction>(ConfigsLibrary(), "SetConfigSource", source);
}

int ConfigHandler::SetWorkingDirectory(const std::string& path) {
  return AskNumber<DirectTextFunction>(ConfigsLibrary(), "SetWorkingDirectory", path);
}

int ConfigHandler::GetChannelPort(const std::string& runtimeName, const std::string& configName) {
  return AskNumber<DirectChannelFunction>(ConfigsLibrary(), "GetChannelPort", runtimeName,
                                          configName);
}

int ConfigHandler::ProxyExists() {
  return AskNumber<DirectFunction>(ConfigsLibrary(), "ProxyExists");
}

int ConfigHandler::GetProxyPort() {
  return AskNumber<DirectFunction>(ConfigsLibrary(), "GetProxyPort");
}

std::string ConfigHandler::GetConfigSource() {
  return AskText<TextFunction>(ConfigsLibrary(), "GetConfigSource");
}

std::string ConfigHandler::GetWorkingDirectory() {
  return AskText<TextFunction>(ConfigsLibrary(), "GetWorkingDirectory");
}

std::string ConfigHandler::GetProxyHost() {
  return AskText<TextFunction>(ConfigsLibrary(), "GetProxyHost");
}

std::string ConfigHandler::GetProxyUsername() {
  return AskText<TextFunction>(ConfigsLibrary(), "GetProxyUsername");
}

std::string ConfigHandler::GetProxyPassword() {
  return AskText<TextFunction>(ConfigsLibrary(), "GetProxyPassword");
}

std::string ConfigHandler::GetProxyDomain() {
  return AskText<TextFunction>(ConfigsLibrary(), "GetProxyDomain");
}

std::string ConfigHandler::GetRuntimeName(const std::string& runtimeName,
                                          const std::string& configName) {
  return AskText<ChannelTextFunction>(ConfigsLibrary(), "GetRuntimeName", runtimeName, configName);
}

std::string ConfigHandler::GetChannelType(const std::string& runtimeName,
                                          const std::string& configName) {
  return AskText<ChannelTextFunction>(ConfigsLibrary(), "GetChannelType", runtimeName, configName);
}

std::string ConfigHandler::GetChannelHost(const std::string& runtimeName,
                                          const std::string& configName) {
  return AskText<ChannelTextFunction>(ConfigsLibrary(), "GetChannelHost", runtimeName, configName);
}

std::string ConfigHandler::GetChannelRuntimePath(const std::string& runtimeName,
                                                 const std::string& configName) {
  return AskText<ChannelTextFunction>(ConfigsLibrary(), "GetChannelRuntimePath", runtimeName,
                                      configName);
}

int ConfigHandler::GetLoggingLevel() {
  if (const char* value = std::getenv("FERROLINK_LOGGING_LEVEL")) {
    const int level = LevelOf(LowerCase(value));
    if (level >= 0) {
      return level;
    }
  }
  try {
    const int level = LevelOf(LowerCase(
        CallConfigStringFunction(FindFunction<TextFunction>(ConfigsLibrary(), "GetLoggingLevel"))));
    return level >= 0 ? level : 1;
  } catch (const std::exception&) {
    return 1;
  }
}

}  // namespace Ferrolink::Native::ConfigHandler
