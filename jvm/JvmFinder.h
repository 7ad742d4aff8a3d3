#ifndef FERROLINK_JVM_JVMFINDER_H
#define FERROLINK_JVM_JVMFINDER_H

#include <atomic>
#include <mutex>
#include <string>

#include "jvm/JvmEntryPoints.h"
#include "jvm/LauncherErrors.h"
#include "native/Loader.h"

/// Finds a JVM library on the machine and owns it. Steps: SetRuntimePath, OpenLibrary,
/// FindEntryPoints, in this order.
///
/// Thread rule: the steps on one thread at a time; everything else on any thread, also meanwhile.
/// Errors: 001 to 003. Lifetime: closes the library, so no JVM of it may be in use any more.
class JvmFinder {
 public:
  explicit JvmFinder(const LauncherErrors& errors);
  JvmFinder(const JvmFinder&) = delete;
  JvmFinder& operator=(const JvmFinder&) = delete;
  ~JvmFinder() = default;

  /// Takes the path from the configuration, else from FERROLINK_JVM_RUNTIME_PATH, else from
  /// JAVA_HOME. Errors: 001 if none of them has it.
  void SetRuntimePath();

  /// Opens the first of three candidates: the path itself, then libjvm.so in the layout of a JDK 8,
  /// then in that of a JRE or a later JDK. Errors: 002 if none can be opened and the loader says
  /// why; without a text of the loader this returns and the finder has no library.
  void OpenLibrary();

  /// Without a library the entry points are looked up in the process's global scope, where a host
  /// may have loaded a JVM library. Errors: 003 if one is missing.
  void FindEntryPoints();

  /// A JVM library or a Java home directory; empty before SetRuntimePath.
  [[nodiscard]] std::string RuntimePath() const;
  /// The candidate that was tried last; empty before OpenLibrary.
  [[nodiscard]] std::string LibraryPath() const;

  /// The entry points; null before they are found.
  [[nodiscard]] GetCreatedJavaVMsFunction* GetCreatedJavaVMs() const { return m_getCreatedJavaVMs; }
  [[nodiscard]] CreateJavaVMFunction* CreateJavaVm() const { return m_createJavaVM; }

 private:
  void KeepRuntimePath(const std::string& path);
  bool TryToOpen(const std::string& candidate);

  const LauncherErrors& m_errors;

  // Guarded by m_pathMutex, which is held for a copy or an assignment only: error texts read the
  // paths on any thread while the steps write them.
  mutable std::mutex m_pathMutex;
  std::string m_runtimePath;
  std::string m_libraryPath;

  // Written by the steps; each provides its own synchronisation.
  Ferrolink::Native::Loader::OwnedLibrary m_library;
  std::atomic<GetCreatedJavaVMsFunction*> m_getCreatedJavaVMs{nullptr};
  std::atomic<CreateJavaVMFunction*> m_createJavaVM{nullptr};
};

#endif
