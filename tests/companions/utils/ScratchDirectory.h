#ifndef FERROLINK_TESTS_COMPANIONS_UTILS_SCRATCHDIRECTORY_H
#define FERROLINK_TESTS_COMPANIONS_UTILS_SCRATCHDIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Ferrolink::Tests {

/// Owns a new directory and everything below it.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "ferrolink-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("mkdtemp failed");
    }
    m_directory = std::filesystem::canonical(name);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ScratchDirectory(ScratchDirectory&&) = delete;
  ScratchDirectory& operator=(ScratchDirectory&&) = delete;
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
  }

  [[nodiscard]] std::string Path() const { return m_directory.string(); }
  [[nodiscard]] std::string Path(const std::string& name) const {
    return (m_directory / name).string();
  }

  /// Writes a new file `name` with `text`, and returns its path.
  [[nodiscard]] std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream file(m_directory / name, std::ios::binary);
    file << text;
    if (!file.flush()) {
      throw std::runtime_error("cannot write " + Path(name));
    }
    return Path(name);
  }

  [[nodiscard]] std::string MakeDirectory(const std::string& name) const {
    std::filesystem::create_directory(m_directory / name);
    return Path(name);
  }

 private:
  std::filesystem::path m_directory;
};

inline std::string ContentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace Ferrolink::Tests

#endif
