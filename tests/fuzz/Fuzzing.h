#ifndef FERROLINK_TESTS_FUZZ_FUZZING_H
#define FERROLINK_TESTS_FUZZ_FUZZING_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What every fuzz target defines; libFuzzer calls them, or ReplayMain.cpp where there is none.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace Ferrolink::Fuzz {

/// Exactly as long as its bytes, on the heap, so that AddressSanitizer sees a read beyond them.
using Bytes = std::vector<std::uint8_t>;

/// Ends the process where `holds` is false, which makes the input a finding. `rule` says what must
/// hold.
void Require(bool holds, std::string_view rule);

/// One input, taken apart from its front. Where it has ended there are zeros and empty bytes.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : m_rest(data, size) {}

  [[nodiscard]] bool AtEnd() const { return m_rest.empty(); }
  std::uint8_t TakeByte();
  /// At most `count` bytes.
  Bytes Take(std::size_t count);
  Bytes TakeRest() { return Take(m_rest.size()); }

 private:
  std::span<const std::uint8_t> m_rest;
};

std::string TextOf(std::span<const std::uint8_t> bytes);
Bytes BytesOf(std::string_view text);

/// A directory of the process's own with a few files of no use: a.jar, which is empty, text.jar, d
/// with b.jar, C.JAR and more, loops with a link to itself. Removed when the process exits.
const std::filesystem::path& JailDirectory();

/// What stands for `path` inside the jail, so that no input names a file outside: an absolute path
/// is one below the jail, ".." is two underscores, and a relative path stays as it is, for use
/// while an InJail lives. A path is taken to end at its first zero byte; what follows stays.
std::string Confined(std::string_view path);

/// Makes the jail the current directory for as long as it lives.
class InJail {
 public:
  InJail();
  InJail(const InJail&) = delete;
  InJail& operator=(const InJail&) = delete;
  ~InJail();

 private:
  const std::filesystem::path m_before;
};

}  // namespace Ferrolink::Fuzz

#endif
