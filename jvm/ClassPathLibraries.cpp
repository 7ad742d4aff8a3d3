#include "jvm/ClassPathLibraries.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "native/Console.h"
#include "native/FerrolinkNativeException.h"
#include "native/LibrariesFinder.h"
#include "native/LowerCase.h"
#include "native/interfaces/CommandHeader.h"

namespace Ferrolink::Runtimes::Jvm::Native {

namespace fs = std::filesystem;
namespace CommandHeader = Ferrolink::Native::Definitions::CommandHeader;
using Ferrolink::Native::Console::PrintOut;
using Ferrolink::Native::LibrariesFinder::LibrariesFinder;

namespace {

constexpr int kDebugHeapSize = 2048;
constexpr const char* kDebugHeapUnit = "m";

bool IsArchive(const fs::path& file) {
  return fs::is_regular_file(file) &&
         Ferrolink::Native::LowerCase(file.extension().string()) == ".jar";
}

[[noreturn]] void RaiseFileSystemError(const char* what, const fs::path& path) {
  throw fs::filesystem_error(what, path, std::error_code(errno, std::generic_category()));
}

/// Owns an open directory. The iterator of std::filesystem ends the process if memory runs out.
class Directory {
 public:
  explicit Directory(const fs::path& path) : m_path(path), m_stream(opendir(path.c_str())) {
    if (m_stream == nullptr) {
      RaiseFileSystemError("directory iterator cannot open directory", path);
    }
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory() { closedir(m_stream); }

  /// The next entry's name; null after the last one.
  const char* Next() {
    errno = 0;
    const dirent* entry = readdir(m_stream);
    if (entry == nullptr && errno != 0) {
      RaiseFileSystemError("directory iterator cannot advance", m_path);
    }
    return entry != nullptr ? entry->d_name : nullptr;
  }

 private:
  const fs::path& m_path;
  DIR* m_stream;
};

// The archives of a directory, in the order of its listing, or the path itself.
std::vector<std::string> ListArchives(const fs::path& path) {
  std::vector<std::string> archives;
  if (!fs::is_directory(path)) {
    archives.push_back(path.generic_string());
    return archives;
  }
  Directory directory(path);
  while (const char* name = directory.Next()) {
    if (const fs::path file = path / name; IsArchive(file)) {
      archives.push_back(file.generic_string());
    }
  }
  return archives;
}

void PrintPath(const std::string& text, std::size_t capacity) {
  std::string trace = "LoadLibrary path length: " + std::to_string(text.size()) +
                      " (payload capacity " + std::to_string(capacity) + ")\n";
  for (const char byte : text) {
    std::array<char, 4> hexadecimal{};
    std::snprintf(hexadecimal.data(), hexadecimal.size(), "%02X ",
                  static_cast<unsigned>(static_cast<unsigned char>(byte)));
    trace += hexadecimal.data();
  }
  PrintOut(trace + "\n");
}

}  // namespace

ClassPathLibraries::ClassPathLibraries(const LauncherErrors& errors, bool debugMode)
    : m_errors(errors), m_debugMode(debugMode) {}

void ClassPathLibraries::Load(const std::uint8_t* message, int length) {
  if (length <= CommandHeader::kLibraryPath) {
    m_errors.Raise("004. \nLoadLibrary message too short\n");
  }
  const auto capacity = static_cast<std::size_t>(length - CommandHeader::kLibraryPath);
  const auto* pathBytes = reinterpret_cast<const char*>(message + CommandHeader::kLibraryPath);
  const std::string text(pathBytes, strnlen(pathBytes, capacity));
  if (m_debugMode) {
    PrintPath(text, capacity);
  }
  fs::path path = text;
  if (!fs::exists(path)) {
    path = fs::current_path() / path;
    if (!fs::exists(path)) {
      m_errors.Raise("004. \nCannot find file: " + text + "\n");
    }
  }
  Add(path.generic_string());
}

void ClassPathLibraries::Add(const std::string& path) {
  const std::lock_guard<std::mutex> lock(m_librariesMutex);
  if (!fs::exists(path)) {
    throw FerrolinkNativeException(
        "JVM Launcher: Exception code 004. \nCannot find file: " + path + "\n", "Unknown");
  }
  for (std::string& archive : ListArchives(path)) {
    if (std::find(m_librariesToLoad.begin(), m_librariesToLoad.end(), archive) ==
        m_librariesToLoad.end()) {
      m_librariesToLoad.push_back(std::move(archive));
    }
  }
}

std::vector<std::string> ClassPathLibraries::List() const {
  const std::lock_guard<std::mutex> lock(m_librariesMutex);
  return m_librariesToLoad;
}

void ClassPathLibraries::CreateClassPath() {
  fs::path archive = LibrariesFinder::getBinariesRootPath();
  archive /= "Binaries";
  archive /= "Jvm";
  archive /= "FerrolinkJvmRuntime.jar";
  m_classPath = archive.generic_string();

  const std::lock_guard<std::mutex> lock(m_librariesMutex);
  for (const std::string& library : m_librariesToLoad) {
    m_classPath += ":" + library;
  }
}

void ClassPathLibraries::PrintClassPath() const {
  PrintOut("Final classPath = [" + m_classPath + "]\n");
  PrintOut("JVM option (full) = [" + m_classPathOption + "]\n");
}

void ClassPathLibraries::BuildOptions(const std::string& runtimePath) {
  CreateClassPath();
  m_classPathOption = "-Djava.class.path=" + m_classPath;
  if (m_debugMode) {
    PrintClassPath();
  }
  // If the runtime path names the library file, this option has no effect. Kept: it harms nothing.
  m_libraryPathOption =
      "-Djava.library.path=" + runtimePath + "/lib" + ":" + runtimePath + "/jre/lib";
  std::vector<std::string*> options = {&m_classPathOption, &m_libraryPathOption};
  if (m_debugMode) {
    const std::string size = std::to_string(kDebugHeapSize) + kDebugHeapUnit;
    // Only debug mode sets the heap size, on purpose; otherwise the JVM's defaults apply.
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
  m_arguments.version = JNI_VERSION_1_8;
  m_arguments.nOptions = static_cast<jint>(options.size());
  m_arguments.options = m_options.get();
  m_arguments.ignoreUnrecognized = JNI_FALSE;
}

void ClassPathLibraries::ReleaseOptions() {
  m_options.reset();
  m_arguments.options = nullptr;
}

}  // namespace Ferrolink::Runtimes::Jvm::Native
