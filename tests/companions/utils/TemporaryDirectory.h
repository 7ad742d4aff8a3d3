#ifndef FERROLINK_TESTS_COMPANIONS_UTILS_TEMPORARYDIRECTORY_H
#define FERROLINK_TESTS_COMPANIONS_UTILS_TEMPORARYDIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Ferrolink::Tests {

/// Owns a new directory and everything below it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "ferrolink-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("mkdtemp failed");
    }
    directory = std::filesystem::canonical(name);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  TemporaryDirectory(TemporaryDirectory&&) = delete;
  TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
  }

  [[nodiscard]] std::string path() const { return directory.string(); }
  [[nodiscard]] std::string path(const std::string& name) const {
    return (directory / name).string();
  }

  /// The path of a new file `name` that consists of `text`.
  [[nodiscard]] std::string write(const std::string& name, const std::string& text) const {
    std::ofstream file(directory / name, std::ios::binary);
    file << text;
    if (!file.flush()) {
      throw std::runtime_error("cannot write " + path(name));
    }
    return path(name);
  }

  [[nodiscard]] std::string makeDirectory(const std::string& name) const {
    std::filesystem::create_directory(directory / name);
    return path(name);
  }

 private:
  std::filesystem::path directory;
};

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace Ferrolink::Tests

#endif
