#include "jvm/JvmFinder.h"

#include <sys/stat.h>

#include <cstdlib>
#include <exception>
#include <filesystem>

#include "native/ConfigHandler.h"
#include "native/Console.h"

using Ferrolink::Native::ConfigHandler::ConfigHandler;
using Ferrolink::Native::Console::PrintOut;
namespace Loader = Ferrolink::Native::Loader;

namespace {

// A configuration that cannot be asked only skips this place to look.
std::string ConfiguredRuntimePath() {
  try {
    return ConfigHandler::GetChannelRuntimePath("jvm", "default");
  } catch (const std::exception&) {
    return {};
  }
}

// Opening a pipe or a device may block for ever.
bool IsPipeOrDevice(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

}  // namespace

JvmFinder::JvmFinder(const LauncherErrors& errors) : m_errors(errors) {}

void JvmFinder::SetRuntimePath() {
  std::string path = ConfiguredRuntimePath();
  KeepRuntimePath(path);
  if (!path.empty()) {
    PrintOut("Looking for JVM runtime in path: " + path + "\n");
    return;
  }
  if (const char* variable = std::getenv("FERROLINK_JVM_RUNTIME_PATH")) {
    path = variable;
    KeepRuntimePath(path);
    PrintOut("Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " + path +
             "\n");
  }
  if (!path.empty()) {
    return;
  }
  const char* javaHome = std::getenv("JAVA_HOME");
  if (javaHome == nullptr) {
    m_errors.Raise("001. \nSet JAVA_HOME environment variable");
  }
  KeepRuntimePath(javaHome);
}

void JvmFinder::KeepRuntimePath(const std::string& path) {
  const std::lock_guard<std::mutex> lock(m_pathMutex);
  m_runtimePath = path;
}

bool JvmFinder::TryToOpen(const std::string& candidate) {
  {
    const std::lock_guard<std::mutex> lock(m_pathMutex);
    m_libraryPath = candidate;
  }
  if (IsPipeOrDevice(candidate)) {
    return false;
  }
  // With deep binding the JVM uses its own symbols, whatever the host exports.
  void* handle = dlopen(candidate.c_str(), Loader::kBindDeep);
  if (handle == nullptr) {
    return false;
  }
  m_library.Adopt(handle);
  return true;
}

void JvmFinder::OpenLibrary() {
  std::string path;
  {
    const std::lock_guard<std::mutex> lock(m_pathMutex);
    if (!m_runtimePath.empty()) {
      m_runtimePath = std::filesystem::path(m_runtimePath).generic_string();
    }
    path = m_runtimePath;
  }
  if (TryToOpen(path) || TryToOpen(path + "/jre/lib/server/libjvm.so") ||
      TryToOpen(path + "/lib/server/libjvm.so")) {
    return;
  }
  if (dlerror() == nullptr) {
    return;
  }
  m_errors.Raise(
      "002. \nCheck JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
      "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file (libjvm.so)");
}

void JvmFinder::FindEntryPoints() {
  void* library = m_library.get();
  m_getCreatedJavaVMs =
      Loader::FindFunction<GetCreatedJavaVMsFunction>(library, "JNI_GetCreatedJavaVMs");
  m_createJavaVM = Loader::FindFunction<CreateJavaVMFunction>(library, "JNI_CreateJavaVM");
  if (m_getCreatedJavaVMs == nullptr || m_createJavaVM == nullptr) {
    m_errors.Raise(
        "003. \nCheck JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
        "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file (jvm.dll or libjvm.so or "
        "libjvm.dylib)");
  }
}

std::string JvmFinder::RuntimePath() const {
  const std::lock_guard<std::mutex> lock(m_pathMutex);
  return m_runtimePath;
}

std::string JvmFinder::LibraryPath() const {
  const std::lock_guard<std::mutex> lock(m_pathMutex);
  return m_libraryPath;
}
