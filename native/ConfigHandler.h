#ifndef FERROLINK_NATIVE_CONFIGHANDLER_H
#define FERROLINK_NATIVE_CONFIGHANDLER_H

#include <atomic>
#include <string>

#include "native/Export.h"

namespace Ferrolink::Native::ConfigHandler {

/// Bridge to the configuration library. Each operation opens that library if necessary, looks up
/// the function of the same name and calls it. Only the library's handle is cached, so every query
/// sees the current configuration.
///
/// Errors (FerrolinkNativeException): the finder's code 001 if the library cannot be opened;
/// "<name> function not found in Utils library" if it lacks the function (the text names the wrong
/// library and is kept: hosts match it); the library's own text if a text query fails; the text of
/// any std::exception that the library throws. Thread rule: any thread. The configuration library
/// runs on the caller's thread.
class ConfigHandler {
 public:
  FERROLINK_EXPORT static void initializeConfigsLibrary();

  FERROLINK_EXPORT static int SetConfigSource(const std::string& source);
  FERROLINK_EXPORT static int SetWorkingDirectory(const std::string& path);
  FERROLINK_EXPORT static int GetChannelPort(const std::string& runtimeName,
                                             const std::string& configName);
  /// Nonzero if a proxy is configured. The proxy queries and GetRuntimeName, GetChannelType,
  /// GetChannelHost and GetChannelPort have no caller in the library: other libraries call them.
  FERROLINK_EXPORT static int ProxyExists();
  FERROLINK_EXPORT static int GetProxyPort();

  FERROLINK_EXPORT static std::string GetConfigSource();
  FERROLINK_EXPORT static std::string GetWorkingDirectory();
  FERROLINK_EXPORT static std::string GetProxyHost();
  FERROLINK_EXPORT static std::string GetProxyUsername();
  FERROLINK_EXPORT static std::string GetProxyPassword();
  FERROLINK_EXPORT static std::string GetProxyDomain();

  FERROLINK_EXPORT static std::string GetRuntimeName(const std::string& runtimeName,
                                                     const std::string& configName);
  FERROLINK_EXPORT static std::string GetChannelType(const std::string& runtimeName,
                                                     const std::string& configName);
  FERROLINK_EXPORT static std::string GetChannelHost(const std::string& runtimeName,
                                                     const std::string& configName);
  FERROLINK_EXPORT static std::string GetChannelRuntimePath(const std::string& runtimeName,
                                                            const std::string& configName);

  /// 0 off, 1 runtime information, 2 all. FERROLINK_LOGGING_LEVEL ("off", "runtimeinfo" or "all",
  /// case-insensitive) overrides the configuration. The level is 1 if neither gives a valid value.
  /// Read on every call. Never raises.
  FERROLINK_EXPORT static int GetLoggingLevel();

 private:
  static void* ConfigsLibrary();

  static std::atomic<void*> configsLibraryInstance;
};

}  // namespace Ferrolink::Native::ConfigHandler

#endif
