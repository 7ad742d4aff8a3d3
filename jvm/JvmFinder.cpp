#include "jvm/JvmFinder.h"

#include <sys/stat.h>

#include <cstdlib>
#include <exception>
#include <filesystem>

#include "native/ConfigHandler.h"
#include "native/Console.h"

using Ferrolink::Native::ConfigHandler::ConfigHandler;
using Ferrolink::Native::Console::printOut;
namespace Loader = Ferrolink::Native::Loader;

namespace {

// A configuration that cannot be asked only skips this place to look.
std::string configuredRuntimePath() {
  try {
    return ConfigHandler::GetChannelRuntimePath("jvm", "default");
  } catch (const std::exception&) {
    return {};
  }
}

// Opening a pipe or a device may block for ever.
bool isPipeOrDevice(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

}  // namespace

JvmFinder::JvmFinder(const LauncherErrors& errors) : m_errors(errors) {}

void JvmFinder::setRuntimePath() {
  std::string path = configuredRuntimePath();
  keepRuntimePath(path);
  if (!path.empty()) {
    printOut("Looking for JVM runtime in path: " + path + "\n");
    return;
  }
  if (const char* variable = std::getenv("FERROLINK_JVM_RUNTIME_PATH")) {
    path = variable;
    keepRuntimePath(path);
    printOut("Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " + path +
             "\n");
  }
  if (!path.empty()) {
    return;
  }
  const char* javaHome = std::getenv("JAVA_HOME");
  if (javaHome == nullptr) {
    m_errors.raise("001. \nSet JAVA_HOME environment variable");
  }
  keepRuntimePath(javaHome);
}

void JvmFinder::keepRuntimePath(const std::string& path) {
  const std::lock_guard<std::mutex> lock(m_pathMutex);
  m_runtimePath = path;
}

bool JvmFinder::tryToOpen(const std::string& candidate) {
  {
    const std::lock_guard<std::mutex> lock(m_pathMutex);
    m_libraryPath = candidate;
  }
  if (isPipeOrDevice(candidate)) {
    return false;
  }
  // With deep binding the JVM uses its own symbols, whatever the host exports.
  void* handle = dlopen(candidate.c_str(), Loader::kBindDeep);
  if (handle == nullptr) {
    return false;
  }
  m_library.adopt(handle);
  return true;
}

void JvmFinder::openLibrary() {
  std::string path;
  {
    const std::lock_guard<std::mutex> lock(m_pathMutex);
    if (!m_runtimePath.empty()) {
      m_runtimePath = std::filesystem::path(m_runtimePath).generic_string();
    }
    path = m_runtimePath;
  }
  if (tryToOpen(path) || tryToOpen(path + "/jre/lib/server/libjvm.so") ||
      tryToOpen(path + "/lib/server/libjvm.so")) {
    return;
  }
  if (dlerror() == nullptr) {
    return;
  }
  m_errors.raise(
      "002. \nCheck JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
      "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file (libjvm.so)");
}

void JvmFinder::findEntryPoints() {
  void* library = m_library.get();
  m_getCreatedJavaVMs =
      Loader::findFunction<GetCreatedJavaVMsFunction>(library, "JNI_GetCreatedJavaVMs");
  m_createJavaVM = Loader::findFunction<CreateJavaVMFunction>(library, "JNI_CreateJavaVM");
  if (m_getCreatedJavaVMs == nullptr || m_createJavaVM == nullptr) {
    m_errors.raise(
        "003. \nCheck JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
        "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file (jvm.dll or libjvm.so or "
        "libjvm.dylib)");
  }
}

std::string JvmFinder::runtimePath() const {
  const std::lock_guard<std::mutex> lock(m_pathMutex);
  return m_runtimePath;
}

std::string JvmFinder::libraryPath() const {
  const std::lock_guard<std::mutex> lock(m_pathMutex);
  return m_libraryPath;
}
