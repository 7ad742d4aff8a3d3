#include "tests/support/TemporaryDirectory.h"

#include <stdlib.h>

#include <stdexcept>
#include <string>

namespace Ferrolink::Tests {

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "ferrolink-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot create a temporary directory: " + pattern);
  }
  m_path = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

}  // namespace Ferrolink::Tests
