// Class path and JVM options.
#include <filesystem>

#include "jvm/JvmLauncher.h"
#include "native/Console.h"
#include "native/LibrariesFinder.h"

using Ferrolink::Native::Console::printOut;
using Ferrolink::Native::LibrariesFinder::LibrariesFinder;

namespace {

constexpr int kDebugHeapSize = 2048;
constexpr const char* kDebugHeapUnit = "m";

}  // namespace

void JvmLauncher::CreateClassPath() {
  std::filesystem::path archive = LibrariesFinder::getBinariesRootPath();
  archive /= "Binaries";
  archive /= "Jvm";
  archive /= "FerrolinkJvmRuntime.jar";
  m_classPath = archive.generic_string();

  const std::lock_guard<std::mutex> lock(m_librariesMutex);
  for (const std::string& library : m_librariesToLoad) {
    m_classPath += ":" + library;
  }
}

void JvmLauncher::printClassPath() const {
  printOut("Final classPath = [" + m_classPath + "]\n");
  printOut("JVM option (full) = [" + m_classPathOption + "]\n");
}

void JvmLauncher::buildOptions() {
  CreateClassPath();
  m_classPathOption = "-Djava.class.path=" + m_classPath;
  if (m_debugMode) {
    printClassPath();
  }
  {
    // The runtime path may name the library file itself; the option then means nothing, and does
    // no harm.
    const std::lock_guard<std::mutex> lock(m_pathMutex);
    m_libraryPathOption =
        "-Djava.library.path=" + m_runtimePath + "/lib" + ":" + m_runtimePath + "/jre/lib";
  }
  std::vector<std::string*> options = {&m_classPathOption, &m_libraryPathOption};
  if (m_debugMode) {
    const std::string size = std::to_string(kDebugHeapSize) + kDebugHeapUnit;
    // Only debug mode limits the heap; otherwise the JVM's own defaults apply.
    m_debugOptions = {
        "-Xmx" + size,  "-Xms" + size,
        "-Xdebug",      "-Xrunjdwp:transport=dt_socket,address=127.0.0.1:8988,server=y,suspend=y",
        "-verbose:jni", "-Xcheck:jni"};
    for (std::string& option : m_debugOptions) {
      options.push_back(&option);
    }
  }
  m_options = std::make_unique<JavaVMOption[]>(options.size());
  for (std::size_t i = 0; i < options.size(); ++i) {
    m_options[i] = JavaVMOption{options[i]->data(), nullptr};
  }
  m_initArguments.version = JNI_VERSION_1_8;
  m_initArguments.nOptions = static_cast<jint>(options.size());
  m_initArguments.options = m_options.get();
  m_initArguments.ignoreUnrecognized = JNI_FALSE;
}
