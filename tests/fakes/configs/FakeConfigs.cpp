// A configuration library that is steered by environment variables, read at every call:
//   FAKE_CONFIGS_<Function>         the text or number that <Function> answers; text functions
//   answer
//                                   an empty text without it, number functions 0. In a text the
//                                   byte 1 stands for a zero byte.
//   FAKE_CONFIGS_RESULT_<Function>  what a text function returns in place of the text's length
//   FAKE_CONFIGS_FAIL_<Function>    the error text with which a text function returns -1
//   FAKE_CONFIGS_THROW_<Function>   the text of the std::runtime_error that the function throws
//   FAKE_CONFIGS_CALLS              a file to which each call appends "<Function>(<arguments>)"
// A host in the same process may also have itself called back, see SetFakeConfigsHook.
// Built with FAKE_CONFIGS_OMIT_LOGGING_LEVEL it lacks GetLoggingLevel; with FAKE_CONFIGS_BASICS it
// has GetLoggingLevel and GetWorkingDirectory alone, with FAKE_CONFIGS_EMPTY neither.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

constexpr std::size_t kBufferSize = 8192;

using Hook = void(const char* function);
Hook* hook = nullptr;

const char* Setting(const std::string& name) {
  return std::getenv(("FAKE_CONFIGS_" + name).c_str());
}

void Called(const std::string& function, const std::string& arguments) {
  if (const char* file = Setting("CALLS")) {
    std::FILE* calls = std::fopen(file, "ae");
    std::fputs((function + "(" + arguments + ")\n").c_str(), calls);
    std::fclose(calls);
  }
  if (hook != nullptr) {
    hook(function.c_str());
  }
  if (const char* text = Setting("THROW_" + function)) {
    throw std::runtime_error(text);
  }
}

[[maybe_unused]] int Number(const std::string& function, const std::string& arguments) {
  Called(function, arguments);
  const char* value = Setting(function);
  return value != nullptr ? std::atoi(value) : 0;
}

[[maybe_unused]] int Text(const std::string& function, const std::string& arguments, char* buffer,
                          std::size_t size) {
  // Where bytes of an earlier text were left in the buffer, a bridge could take them for its own.
  const bool zeroed = std::all_of(buffer, buffer + size, [](char byte) { return byte == '\0'; });
  if (size != kBufferSize || !zeroed) {
    std::abort();
  }
  Called(function, arguments);
  const char* failure = Setting("FAIL_" + function);
  const char* value = failure != nullptr ? failure : Setting(function);
  std::string answer = value != nullptr ? value : "";
  std::replace(answer.begin(), answer.end(), '\1', '\0');
  if (answer.size() > size) {
    std::abort();
  }
  std::memcpy(buffer, answer.data(), answer.size());
  if (const char* result = Setting("RESULT_" + function)) {
    return std::atoi(result);
  }
  return failure != nullptr ? -1 : static_cast<int>(answer.size());
}

[[maybe_unused]] std::string Both(const char* runtimeName, const char* configName) {
  return std::string(runtimeName) + ", " + configName;
}

}  // namespace

// Has `function` called at every call of this library, on the caller's thread, with the name of the
// function that was called; null ends that.
EXPORTED void SetFakeConfigsHook(Hook* function) {
  hook = function;
}

#define TEXT_FUNCTION(name)                           \
  EXPORTED int name(char* buffer, std::size_t size) { \
    return Text(#name, "", buffer, size);             \
  }
#define CHANNEL_FUNCTION(name)                                                     \
  EXPORTED int name(const char* runtimeName, const char* configName, char* buffer, \
                    std::size_t size) {                                            \
    return Text(#name, Both(runtimeName, configName), buffer, size);               \
  }

#if !defined(FAKE_CONFIGS_EMPTY)
TEXT_FUNCTION(GetWorkingDirectory)
#if !defined(FAKE_CONFIGS_OMIT_LOGGING_LEVEL)
TEXT_FUNCTION(GetLoggingLevel)
#endif
#endif

#if !defined(FAKE_CONFIGS_EMPTY) && !defined(FAKE_CONFIGS_BASICS)
EXPORTED int SetConfigSource(const char* source) {
  return Number("SetConfigSource", source);
}
EXPORTED int SetWorkingDirectory(const char* path) {
  return Number("SetWorkingDirectory", path);
}
EXPORTED int GetChannelPort(const char* runtimeName, const char* configName) {
  return Number("GetChannelPort", Both(runtimeName, configName));
}
EXPORTED int ProxyExists() {
  return Number("ProxyExists", "");
}
EXPORTED int GetProxyPort() {
  return Number("GetProxyPort", "");
}
TEXT_FUNCTION(GetConfigSource)
TEXT_FUNCTION(GetProxyHost)
TEXT_FUNCTION(GetProxyUsername)
TEXT_FUNCTION(GetProxyPassword)
TEXT_FUNCTION(GetProxyDomain)
CHANNEL_FUNCTION(GetRuntimeName)
CHANNEL_FUNCTION(GetChannelType)
CHANNEL_FUNCTION(GetChannelHost)
CHANNEL_FUNCTION(GetChannelRuntimePath)
#endif
