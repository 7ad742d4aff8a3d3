#ifndef FERROLINK_JVM_CLASSPATHLIBRARIES_H
#define FERROLINK_JVM_CLASSPATHLIBRARIES_H

#include <jni.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "jvm/LauncherErrors.h"
#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Runtimes::Jvm::Native {

/// The Java archives on the class path of a new JVM besides the installation's own, the
/// load-library command that adds them, and the options for the JVM.
///
/// Thread rule: the list on any thread; class path and options on one thread at a time.
class ClassPathLibraries {
 public:
  /// A complete response: from and to the JVM, command type 0, and two bytes that say "library
  /// loaded".
  static constexpr auto kLoaded = Ferrolink::Native::Definitions::CommandHeader::LibraryLoadedBy(
      Ferrolink::Native::Definitions::Runtime::Jvm);

  ClassPathLibraries(const LauncherErrors& errors, bool debugMode);
  ClassPathLibraries(const ClassPathLibraries&) = delete;
  ClassPathLibraries& operator=(const ClassPathLibraries&) = delete;
  ~ClassPathLibraries() = default;

  /// Executes a load-library command of `length` bytes; the response is kLoaded. A path that does
  /// not exist is tried below the working directory. Errors: 004; those of Add.
  void Load(const std::uint8_t* message, int length);

  /// Adds a file, or for a directory its top-level ".jar" files (case-insensitive). Ignores
  /// duplicates. If the listing fails, the list is unchanged. Errors: 004, without runtime
  /// information; std::filesystem::filesystem_error.
  void Add(const std::string& path);

  /// A copy of the list, in order of addition.
  [[nodiscard]] std::vector<std::string> List() const;

  /// Composes the class path: the installation's archive, then the list.
  void CreateClassPath();

  /// Composes the class path and the JVM's options. In debug mode also prints the class path.
  void BuildOptions(const std::string& runtimePath);

  /// The argument of JNI_CreateJavaVM. Valid until ReleaseOptions. Owned by this object.
  [[nodiscard]] JavaVMInitArgs* Arguments() { return &m_arguments; }
  void ReleaseOptions();

 private:
  void PrintClassPath() const;

  // Constant after construction.
  const LauncherErrors& m_errors;
  const bool m_debugMode;

  // Guarded by m_librariesMutex.
  mutable std::mutex m_librariesMutex;
  std::vector<std::string> m_librariesToLoad;

  // Used by one thread at a time. m_options points into the option strings, m_arguments to
  // m_options.
  std::string m_classPath;
  std::string m_classPathOption;
  std::string m_libraryPathOption;
  std::vector<std::string> m_debugOptions;
  std::unique_ptr<JavaVMOption[]> m_options;
  JavaVMInitArgs m_arguments{};
};

}  // namespace Ferrolink::Runtimes::Jvm::Native

#endif
