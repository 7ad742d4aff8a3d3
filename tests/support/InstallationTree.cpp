#include "tests/support/InstallationTree.h"

#include <fstream>
#include <sstream>

namespace Ferrolink::Tests {

InstallationTree::InstallationTree() {
  std::filesystem::create_directories(NativeDirectory());
  std::filesystem::create_directories(JvmDirectory());
  std::filesystem::create_directories(WorkDirectory());
}

void InstallationTree::AddLibrary(const std::filesystem::path& library,
                                  const std::string& name) const {
  std::filesystem::copy_file(library, NativeDirectory() / name,
                             std::filesystem::copy_options::overwrite_existing);
}

std::string InstallationTree::ErrorLog() const {
  std::ostringstream text;
  for (const auto& entry : std::filesystem::directory_iterator(WorkDirectory())) {
    if (entry.path().filename().string().rfind("_FerrolinkNativeErrorLogger_", 0) == 0) {
      text << std::ifstream(entry.path()).rdbuf();
    }
  }
  return text.str();
}

}  // namespace Ferrolink::Tests
