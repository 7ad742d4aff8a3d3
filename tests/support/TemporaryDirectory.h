#ifndef FERROLINK_TESTS_SUPPORT_TEMPORARYDIRECTORY_H
#define FERROLINK_TESTS_SUPPORT_TEMPORARYDIRECTORY_H

#include <filesystem>

namespace Ferrolink::Tests {

/// Owns a fresh directory and removes it with all that is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }

 private:
  std::filesystem::path m_path;
};

}  // namespace Ferrolink::Tests

#endif
