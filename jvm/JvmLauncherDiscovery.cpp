// Finding and opening the JVM library.
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

#include "jvm/JvmLauncher.h"
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

// Opening a pipe or a device may wait for ever.
bool isPipeOrDevice(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

}  // namespace

void JvmLauncher::SetJvmRuntimePath() {
  const auto setRuntimePath = [this](const std::string& path) {
    const std::lock_guard<std::mutex> lock(m_pathMutex);
    m_runtimePath = path;
  };
  std::string path = configuredRuntimePath();
  setRuntimePath(path);
  if (!path.empty()) {
    printOut("Looking for JVM runtime in path: " + path + "\n");
    return;
  }
  if (const char* variable = std::getenv("FERROLINK_JVM_RUNTIME_PATH")) {
    path = variable;
    setRuntimePath(path);
    printOut("Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " + path +
             "\n");
  }
  if (!path.empty()) {
    return;
  }
  const char* javaHome = std::getenv("JAVA_HOME");
  if (javaHome == nullptr) {
    raise("001. \nSet JAVA_HOME environment variable");
  }
  setRuntimePath(javaHome);
}

bool JvmLauncher::tryOpenJvmLibrary(const std::string& candidate) {
  {
    const std::lock_guard<std::mutex> lock(m_pathMutex);
    m_jvmLibraryPath = candidate;
  }
  if (isPipeOrDevice(candidate)) {
    return false;
  }
  // Deeply bound, so that the JVM keeps to its own symbols whatever the host brings along.
  void* handle = dlopen(candidate.c_str(), Loader::kBindDeep);
  if (handle == nullptr) {
    return false;
  }
  m_jvmLibrary.adopt(handle);
  return true;
}

void JvmLauncher::LoadJvmSharedLibraryAndExportedFunctions() {
  std::string path;
  {
    const std::lock_guard<std::mutex> lock(m_pathMutex);
    if (!m_runtimePath.empty()) {
      m_runtimePath = std::filesystem::path(m_runtimePath).generic_string();
    }
    path = m_runtimePath;
  }
  if (tryOpenJvmLibrary(path) || tryOpenJvmLibrary(path + "/jre/lib/server/libjvm.so") ||
      tryOpenJvmLibrary(path + "/lib/server/libjvm.so")) {
    return;
  }
  // Without an error text the entry points are looked up in the process's global scope next, where
  // a host may have loaded a JVM library already.
  if (dlerror() == nullptr) {
    return;
  }
  raise(
      "002. \nCheck JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
      "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file (libjvm.so)");
}

void JvmLauncher::GetFunctionsPointers() {
  void* library = m_jvmLibrary.get();
  m_getCreatedJavaVMs =
      Loader::findFunction<GetCreatedJavaVMsFunction>(library, "JNI_GetCreatedJavaVMs");
  m_createJavaVM = Loader::findFunction<CreateJavaVMFunction>(library, "JNI_CreateJavaVM");
  if (m_getCreatedJavaVMs == nullptr || m_createJavaVM == nullptr) {
    raise(
        "003. \nCheck JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
        "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file (jvm.dll or libjvm.so or "
        "libjvm.dylib)");
  }
}
