#ifndef FERROLINK_NATIVE_LIBRARIESFINDER_H
#define FERROLINK_NATIVE_LIBRARIESFINDER_H

#include <atomic>
#include <string>

#include "native/Export.h"

/// Does nothing. Its address certainly lies inside this library, so the loader can be asked for the
/// library's own file by it. Each member of the family defines it in its entry layer.
FERROLINK_EXPORT void emptyFunctionInNativeLib();

namespace Ferrolink::Native::LibrariesFinder {

/// Locates and opens the library's companions: always by full path, relative to the directory that
/// this library itself was loaded from, never through the system's search path.
///
/// Handles stay open for the life of the process. Thread rule: any thread; two first loads of one
/// companion may both open it, which yields the same handle.
///
/// The loading operations take `throwOnError`: with it a failure is raised (code 001), without it
/// null is returned, after an echo on standard error where the operation's `PrintError` is set.
class LibrariesFinder {
 public:
  /// The process's current directory, with "/" for every "\" and a "/" appended.
  FERROLINK_EXPORT static std::string getCurrentWorkingDirectory();

  /// The library directory, ending in "/", as the loader reports it (a relative form stays
  /// relative); computed anew on every call. Raises code 002 where the loader does not know it.
  FERROLINK_EXPORT static std::string getThisLibraryPath();

  /// getThisLibraryPath() as it was on first use; valid for the life of the process.
  FERROLINK_EXPORT static const std::string& getPathToDir();

  /// The root of the installation tree, four levels above the library directory.
  FERROLINK_EXPORT static std::string getBinariesRootPath();

  /// "/Binaries/Native/Linux/X64/"; platform and architecture are fixed, not detected.
  FERROLINK_EXPORT static const std::string& getNativeDirectoryRelativePath();

  FERROLINK_EXPORT static void* loadLibrary(std::string path, bool throwOnError, bool printError);

  /// As loadLibrary, with the opened library binding its own symbols first.
  FERROLINK_EXPORT static void* loadLibraryDeepBind(std::string path, bool throwOnError,
                                                    bool printError);

  FERROLINK_EXPORT static void* loadUtilsLibrary(bool throwOnError);
  FERROLINK_EXPORT static void* loadConfigsLibrary(bool throwOnError);
  FERROLINK_EXPORT static void* loadTcpClientLibrary(bool throwOnError);

  /// Looks in the library directory, then in its subdirectory openssl3. With `throwOnError` the
  /// first failure raises, so the second place is looked at only without it.
  FERROLINK_EXPORT static void* loadTcpTlsClientLibrary(bool throwOnError);

  /// The library directory plus the runtime's library file name (RuntimeNameHandler).
  FERROLINK_EXPORT static std::string getRuntimeLibraryPath(int runtime);

 private:
  // Null means not loaded: the next request tries again. Atomic, not locked: see the thread rule.
  static std::atomic<void*> utilsLibraryInstance;
  static std::atomic<void*> configsLibraryInstance;
  static std::atomic<void*> tcpClientLibraryInstance;
  static std::atomic<void*> tcpTlsClientLibraryInstance;
};

}  // namespace Ferrolink::Native::LibrariesFinder

#endif
