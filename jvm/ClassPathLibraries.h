#ifndef FERROLINK_JVM_CLASSPATHLIBRARIES_H
#define FERROLINK_JVM_CLASSPATHLIBRARIES_H

#include <jni.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "jvm/LauncherErrors.h"

/// The Java archives that a new JVM gets on its class path besides the installation's own, the
/// load-library command that adds them, and the options that pass them to the JVM.
///
/// Thread rule: the list on any thread. Class path and options by one thread at a time.
class ClassPathLibraries {
 public:
  /// A complete response: from and to the JVM, command type 0, and two bytes that say "library
  /// loaded".
  static constexpr std::array<std::uint8_t, 17> kLoaded = {0x02, 0, 0,    0,    0, 0, 0, 0, 0,
                                                           0x02, 0, 0x02, 0x04, 0, 0, 0, 0};

  ClassPathLibraries(const LauncherErrors& errors, bool debugMode);
  ClassPathLibraries(const ClassPathLibraries&) = delete;
  ClassPathLibraries& operator=(const ClassPathLibraries&) = delete;
  ~ClassPathLibraries() = default;

  /// Executes a load-library command, whose answer is kLoaded. A path that does not exist is looked
  /// for below the working directory. Errors: 004; those of add.
  void Load(const std::uint8_t* message, int length);

  /// Adds an archive, or for a directory its top-level ".jar" files (case-insensitive). What is in
  /// the list already is not added again. If the listing fails, the list stays as it was.
  /// Errors: 004, without runtime information; std::filesystem::filesystem_error.
  void Add(const std::string& path);

  /// A copy of the list, in the order of addition.
  [[nodiscard]] std::vector<std::string> List() const;

  /// Composes the class path: the installation's archive, then the list.
  void CreateClassPath();

  /// Composes the class path and the options of a JVM whose runtime path is given. In debug mode
  /// the class path is printed.
  void BuildOptions(const std::string& runtimePath);

  /// What JNI_CreateJavaVM takes. Points to the options until they are released.
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

  // Of the one thread that composes them. m_options points into the option strings, and
  // m_arguments to m_options.
  std::string m_classPath;
  std::string m_classPathOption;
  std::string m_libraryPathOption;
  std::vector<std::string> m_debugOptions;
  std::unique_ptr<JavaVMOption[]> m_options;
  JavaVMInitArgs m_arguments{};
};

#endif
