// The load-library command, which the launcher answers itself.
#include <dirent.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "jvm/JvmLauncher.h"
#include "native/Console.h"
#include "native/LowerCase.h"
#include "native/interfaces/CommandHeader.h"

namespace fs = std::filesystem;
using Ferrolink::Native::Console::printOut;

namespace {

constexpr int kPathOffset = 24;

// A complete response: from and to the JVM, command type 0, and two bytes that say "library
// loaded".
constexpr std::array<std::uint8_t, 17> kAnswer = {0x02, 0, 0,    0,    0, 0, 0, 0, 0,
                                                  0x02, 0, 0x02, 0x04, 0, 0, 0, 0};

bool isArchive(const fs::path& file) {
  return fs::is_regular_file(file) &&
         Ferrolink::Native::lowerCase(file.extension().string()) == ".jar";
}

[[noreturn]] void raiseFileSystemError(const char* what, const fs::path& path) {
  throw fs::filesystem_error(what, path, std::error_code(errno, std::generic_category()));
}

/// Owns an open directory. std::filesystem's iterator ends the process where memory runs out.
class Directory {
 public:
  explicit Directory(const fs::path& path) : m_path(path), m_stream(opendir(path.c_str())) {
    if (m_stream == nullptr) {
      raiseFileSystemError("directory iterator cannot open directory", path);
    }
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory() { closedir(m_stream); }

  /// The next entry's name; null after the last one.
  const char* next() {
    errno = 0;
    const dirent* entry = readdir(m_stream);
    if (entry == nullptr && errno != 0) {
      raiseFileSystemError("directory iterator cannot advance", m_path);
    }
    return entry != nullptr ? entry->d_name : nullptr;
  }

 private:
  const fs::path& m_path;
  DIR* m_stream;
};

// The archives to add: those of a directory, in the order of its listing, or the path itself.
std::vector<std::string> listArchives(const fs::path& path) {
  std::vector<std::string> archives;
  if (!fs::is_directory(path)) {
    archives.push_back(path.generic_string());
    return archives;
  }
  Directory directory(path);
  while (const char* name = directory.next()) {
    if (const fs::path file = path / name; isArchive(file)) {
      archives.push_back(file.generic_string());
    }
  }
  return archives;
}

}  // namespace

int JvmLauncher::HandleLoadLibraryCommand(std::uint8_t* message, int length) {
  if (length <= kPathOffset) {
    raise("004. \nLoadLibrary message too short\n");
  }
  const auto capacity = static_cast<std::size_t>(length - kPathOffset);
  const auto* pathBytes = reinterpret_cast<const char*>(message + kPathOffset);
  const std::string text(pathBytes, strnlen(pathBytes, capacity));
  if (m_debugMode) {
    printLoadLibraryPath(text, capacity);
  }
  fs::path path = text;
  if (!fs::exists(path)) {
    path = fs::current_path() / path;
    if (!fs::exists(path)) {
      raise("004. \nCannot find file: " + text + "\n");
    }
  }
  AddToLibrariesToLoad(path.generic_string());
  m_responses.store(kAnswer.data(), kAnswer.size());
  return static_cast<int>(kAnswer.size());
}

void JvmLauncher::printLoadLibraryPath(const std::string& text, std::size_t capacity) const {
  std::string trace = "LoadLibrary path length: " + std::to_string(text.size()) +
                      " (payload capacity " + std::to_string(capacity) + ")\n";
  for (const char byte : text) {
    std::array<char, 4> hexadecimal{};
    std::snprintf(hexadecimal.data(), hexadecimal.size(), "%02X ",
                  static_cast<unsigned>(static_cast<unsigned char>(byte)));
    trace += hexadecimal.data();
  }
  printOut(trace + "\n");
}

// The list changes only once the whole listing has succeeded.
void JvmLauncher::AddToLibrariesToLoad(std::string path) {
  const std::lock_guard<std::mutex> lock(m_librariesMutex);
  if (!fs::exists(path)) {
    throw FerrolinkNativeException(
        "JVM Launcher: Exception code 004. \nCannot find file: " + path + "\n", "Unknown");
  }
  for (std::string& archive : listArchives(path)) {
    if (std::find(m_librariesToLoad.begin(), m_librariesToLoad.end(), archive) ==
        m_librariesToLoad.end()) {
      m_librariesToLoad.push_back(std::move(archive));
    }
  }
}
