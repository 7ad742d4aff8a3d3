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
Function* findFunction(void* library, const char* name) {
  auto* function = Loader::findFunction<Function>(library, name);
  if (function == nullptr) {
    throw FerrolinkNativeException(std::string(name) + " function not found in Utils library",
                                   "Unknown");
  }
  return function;
}

// Whatever the configuration library throws, and a missing function as well, reaches the caller as
// a newly raised exception with the same text.
template <class Call>
auto reraised(Call call) -> decltype(call()) {
  try {
    return call();
  } catch (const std::exception& error) {
    throw FerrolinkNativeException(error.what(), "Unknown");
  }
}

template <class Function, class... Texts>
int askNumber(void* library, const char* name, const Texts&... texts) {
  return reraised([&] { return findFunction<Function>(library, name)(texts.c_str()...); });
}

template <class Function, class... Texts>
std::string askText(void* library, const char* name, const Texts&... texts) {
  return reraised(
      [&] { return CallConfigStringFunction(findFunction<Function>(library, name), texts...); });
}

// The level of a level word in lower case; -1 for any other text.
int levelOf(const std::string& word) {
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

void* ConfigHandler::configsLibrary() {
  initializeConfigsLibrary();
  return configsLibraryInstance.load(std::memory_order_acquire);
}

int ConfigHandler::SetConfigSource(const std::string& source) {
  return askNumber<DirectTextFunction>(configsLibrary(), "SetConfigSource", source);
}

int ConfigHandler::SetWorkingDirectory(const std::string& path) {
  return askNumber<DirectTextFunction>(configsLibrary(), "SetWorkingDirectory", path);
}

int ConfigHandler::GetChannelPort(const std::string& runtimeName, const std::string& configName) {
  return askNumber<DirectChannelFunction>(configsLibrary(), "GetChannelPort", runtimeName,
                                          configName);
}

int ConfigHandler::ProxyExists() {
  return askNumber<DirectFunction>(configsLibrary(), "ProxyExists");
}

int ConfigHandler::GetProxyPort() {
  return askNumber<DirectFunction>(configsLibrary(), "GetProxyPort");
}

std::string ConfigHandler::GetConfigSource() {
  return askText<TextFunction>(configsLibrary(), "GetConfigSource");
}

std::string ConfigHandler::GetWorkingDirectory() {
  return askText<TextFunction>(configsLibrary(), "GetWorkingDirectory");
}

std::string ConfigHandler::GetProxyHost() {
  return askText<TextFunction>(configsLibrary(), "GetProxyHost");
}

std::string ConfigHandler::GetProxyUsername() {
  return askText<TextFunction>(configsLibrary(), "GetProxyUsername");
}

std::string ConfigHandler::GetProxyPassword() {
  return askText<TextFunction>(configsLibrary(), "GetProxyPassword");
}

std::string ConfigHandler::GetProxyDomain() {
  return askText<TextFunction>(configsLibrary(), "GetProxyDomain");
}

std::string ConfigHandler::GetRuntimeName(const std::string& runtimeName,
                                          const std::string& configName) {
  return askText<ChannelTextFunction>(configsLibrary(), "GetRuntimeName", runtimeName, configName);
}

std::string ConfigHandler::GetChannelType(const std::string& runtimeName,
                                          const std::string& configName) {
  return askText<ChannelTextFunction>(configsLibrary(), "GetChannelType", runtimeName, configName);
}

std::string ConfigHandler::GetChannelHost(const std::string& runtimeName,
                                          const std::string& configName) {
  return askText<ChannelTextFunction>(configsLibrary(), "GetChannelHost", runtimeName, configName);
}

std::string ConfigHandler::GetChannelRuntimePath(const std::string& runtimeName,
                                                 const std::string& configName) {
  return askText<ChannelTextFunction>(configsLibrary(), "GetChannelRuntimePath", runtimeName,
                                      configName);
}

int ConfigHandler::GetLoggingLevel() {
  if (const char* value = std::getenv("FERROLINK_LOGGING_LEVEL")) {
    const int level = levelOf(lowerCase(value));
    if (level >= 0) {
      return level;
    }
  }
  try {
    const int level = levelOf(lowerCase(
        CallConfigStringFunction(findFunction<TextFunction>(configsLibrary(), "GetLoggingLevel"))));
    return level >= 0 ? level : 1;
  } catch (const std::exception&) {
    return 1;
  }
}

}  // namespace Ferrolink::Native::ConfigHandler
