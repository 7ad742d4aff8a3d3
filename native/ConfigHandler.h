#ifndef FERROLINK_NATIVE_CONFIGHANDLER_H
#define FERROLINK_NATIVE_CONFIGHANDLER_H

#include <atomic>
#include <string>

#include "native/Export.h"

namespace Ferrolink::Native::ConfigHandler {

/// Bridge to the configuration library. Each operation opens that library if need be, looks up its
/// function of the same name and calls it; nothing but the library's handle is cached, so every
/// query sees the configuration's current state.
///
/// Errors (FerrolinkNativeException): the finder's code 001 where the library cannot be opened;
/// "<name> function not found in Utils library" where it lacks the function; the error text that it
/// wrote where a text query fails; the text of any std::exception that it throws.
/// Thread rule: any thread; the configuration library is called on the caller's thread.
class ConfigHandler {
 public:
  FERROLINK_EXPORT static void initializeConfigsLibrary();

  FERROLINK_EXPORT static int SetConfigSource(const std::string& source);
  FERROLINK_EXPORT static int SetWorkingDirectory(const std::string& path);
  FERROLINK_EXPORT static int GetChannelPort(const std::string& runtimeName,
                                             const std::string& configName);
  /// Nonzero when a proxy is configured.
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

  /// 0 off, 1 runtime information, 2 all. FERROLINK_LOGGING_LEVEL ("off", "runtimeinfo", "all", in
  /// any case) wins over the configuration; without a usable answer from either the level is 1.
  /// Read anew on every call. Never raises.
  FERROLINK_EXPORT static int GetLoggingLevel();

 private:
  static void* ConfigsLibrary();

  static std::atomic<void*> configsLibraryInstance;
};

}  // namespace Ferrolink::Native::ConfigHandler

#endif
