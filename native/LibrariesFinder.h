#ifndef FERROLINK_NATIVE_LIBRARIESFINDER_H
#define FERROLINK_NATIVE_LIBRARIESFINDER_H

#include <atomic>
#include <string>

#include "native/Export.h"

/// Does nothing. The finder passes its address to the loader to learn the file of this library.
/// Each member of the family defines it in its entry layer.
FERROLINK_EXPORT void emptyFunctionInNativeLib();

namespace Ferrolink::Native::LibrariesFinder {

/// Locates and opens the companions of this library: always by full path, relative to the directory
/// of this library, never through the system's search path.
///
/// The load operations take `throwOnError`: if it is true, a failure raises code 001; otherwise
/// they return null, and echo the error on standard error if `printError` is true. Ownership:
/// handles stay open until the process ends. Thread rule: any thread. Concurrent first loads of a
/// companion may both open it, which yields the same handle.
class LibrariesFinder {
 public:
  /// The process's current directory with "\" replaced by "/" and a "/" appended. Called by other
  /// libraries only.
  FERROLINK_EXPORT static std::string getCurrentWorkingDirectory();

  /// The library directory with a trailing "/", as the loader reports it (a relative path stays
  /// relative). Computed on every call. Errors: code 002 if the loader does not know this library.
  FERROLINK_EXPORT static std::string getThisLibraryPath();

  /// The result of the first getThisLibraryPath(), valid until the process ends.
  FERROLINK_EXPORT static const std::string& getPathToDir();

  /// The root of the installation tree, four levels above the library directory.
  FERROLINK_EXPORT static std::string getBinariesRootPath();

  /// "/Binaries/Native/Linux/X64/". Platform and architecture are fixed, not detected. Called by
  /// other libraries only.
  FERROLINK_EXPORT static const std::string& getNativeDirectoryRelativePath();

  FERROLINK_EXPORT static void* loadLibrary(std::string path, bool throwOnError, bool printError);

  /// As loadLibrary, but the opened library prefers its own symbols.
  FERROLINK_EXPORT static void* loadLibraryDeepBind(std::string path, bool throwOnError,
                                                    bool printError);

  FERROLINK_EXPORT static void* loadUtilsLibrary(bool throwOnError);
  FERROLINK_EXPORT static void* loadConfigsLibrary(bool throwOnError);
  FERROLINK_EXPORT static void* loadTcpClientLibrary(bool throwOnError);

  /// Looks in the library directory, then in its subdirectory openssl3. With `throwOnError` the
  /// first failure raises, so the subdirectory is searched only without it.
  FERROLINK_EXPORT static void* loadTcpTlsClientLibrary(bool throwOnError);

  /// The library directory plus the file name of the runtime's library (RuntimeNameHandler).
  FERROLINK_EXPORT static std::string getRuntimeLibraryPath(int runtime);

 private:
  // Null means not loaded: the next request tries again. Atomic, without a lock: see the thread
  // rule.
  static std::atomic<void*> utilsLibraryInstance;
  static std::atomic<void*> configsLibraryInstance;
  static std::atomic<void*> tcpClientLibraryInstance;
  static std::atomic<void*> tcpTlsClientLibraryInstance;
};

}  // namespace Ferrolink::Native::LibrariesFinder

#endif
