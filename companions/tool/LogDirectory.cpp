#include "companions/tool/LogDirectory.h"

#include <dlfcn.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace Ferrolink::Companions::Tool {

namespace fs = std::filesystem;

LogDirectory::LogDirectory() {
  std::error_code unknown;
  const fs::path parent = fs::temp_directory_path(unknown);
  std::string path = ((unknown ? fs::path("/tmp") : parent) / "ferrolink-XXXXXX").string();
  if (mkdtemp(path.data()) != nullptr) {
    m_path = path;
  }
}

LogDirectory::~LogDirectory() {
  std::error_code ignored;
  if (!m_path.empty()) {
    fs::remove_all(m_path, ignored);
  }
}

std::string LogDirectory::Text() const {
  std::string text;
  std::error_code unreadable;
  for (const auto& entry : fs::directory_iterator(m_path, unreadable)) {
    std::ifstream file(entry.path(), std::ios::binary);
    text.append(std::istreambuf_iterator<char>(file), {});
  }
  return text;
}

bool MoveErrorLog(const fs::path& libraries, const std::string& directory) {
  void* library = directory.empty()
                      ? nullptr
                      : dlopen((libraries / "libConfigs.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  using SetWorkingDirectory = int(const char*);
  auto* set = library == nullptr
                  ? nullptr
                  : reinterpret_cast<SetWorkingDirectory*>(dlsym(library, "SetWorkingDirectory"));
  return set != nullptr && set(directory.c_str()) == 0;
}

}  // namespace Ferrolink::Companions::Tool
