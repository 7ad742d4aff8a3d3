#include "tests/fuzz/Fuzzing.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "tests/support/TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace Ferrolink::Fuzz {
namespace {

// A copy of standard error: the fuzzer closes it, because the code under test prints a lot.
const int errorOutput = dup(STDERR_FILENO);

class Jail {
 public:
  Jail() {
    const fs::path& root = m_directory.Path();
    fs::create_directories(root / "d/deeper");
    fs::create_directories(root / "loops");
    for (const char* empty : {"a.jar", "d/b.jar", "d/C.JAR", "d/.jar", "d/deeper/e.jar"}) {
      std::ofstream(root / empty).flush();
    }
    for (const char* text : {"text.jar", "d/text.txt"}) {
      std::ofstream(root / text) << "no archive and no library\n";
    }
    fs::create_symlink("loop.jar", root / "loops/loop.jar");
  }

  [[nodiscard]] const fs::path& Path() const { return m_directory.Path(); }

 private:
  const Ferrolink::Tests::TemporaryDirectory m_directory;
};

}  // namespace

void Require(bool holds, std::string_view rule) {
  if (!holds) {
    dprintf(errorOutput, "A rule is broken: %.*s\n", static_cast<int>(rule.size()), rule.data());
    std::abort();
  }
}

std::uint8_t Input::TakeByte() {
  const Bytes taken = Take(1);
  return taken.empty() ? std::uint8_t{0} : taken.front();
}

Bytes Input::Take(std::size_t count) {
  const auto taken = m_rest.first(std::min(count, m_rest.size()));
  m_rest = m_rest.subspan(taken.size());
  return {taken.begin(), taken.end()};
}

std::string TextOf(std::span<const std::uint8_t> bytes) {
  return {bytes.begin(), bytes.end()};
}

Bytes BytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

const fs::path& JailDirectory() {
  static const Jail jail;
  return jail.Path();
}

std::string Confined(std::string_view path) {
  const std::size_t end = std::min(path.find('\0'), path.size());
  std::string text(path.substr(0, end));
  for (std::size_t at = 0; (at = text.find("..", at)) != std::string::npos; at += 2) {
    text.replace(at, 2, "__");
  }
  if (text.starts_with('/')) {
    text.insert(0, JailDirectory().string());
  }
  return text.append(path.substr(end));
}

InJail::InJail() : m_before(fs::current_path()) {
  fs::current_path(JailDirectory());
}

InJail::~InJail() {
  if (chdir(m_before.c_str()) != 0) {
    std::abort();
  }
}

}  // namespace Ferrolink::Fuzz
