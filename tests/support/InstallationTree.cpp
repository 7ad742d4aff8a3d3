#include "tests/support/InstallationTree.h"

#include <fstream>
#include <sstream>

namespace FerrolinkTest {

InstallationTree::InstallationTree() {
  std::filesystem::create_directories(nativeDirectory());
  std::filesystem::create_directories(jvmDirectory());
  std::filesystem::create_directories(workDirectory());
}

void InstallationTree::addLibrary(const std::filesystem::path& library,
                                  const std::string& name) const {
  std::filesystem::copy_file(library, nativeDirectory() / name,
                             std::filesystem::copy_options::overwrite_existing);
}

std::string InstallationTree::errorLog() const {
  std::ostringstream text;
  for (const auto& entry : std::filesystem::directory_iterator(workDirectory())) {
    if (entry.path().filename().string().rfind("_FerrolinkNativeErrorLogger_", 0) == 0) {
      text << std::ifstream(entry.path()).rdbuf();
    }
  }
  return text.str();
}

}  // namespace FerrolinkTest
