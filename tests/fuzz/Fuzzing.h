#ifndef FERROLINK_TESTS_FUZZ_FUZZING_H
#define FERROLINK_TESTS_FUZZ_FUZZING_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Every fuzz target defines these. libFuzzer calls them, or ReplayMain.cpp in builds without it.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace Ferrolink::Fuzz {

/// On the heap, exactly as long as the bytes, so AddressSanitizer detects reads beyond them.
using Bytes = std::vector<std::uint8_t>;

/// Ends the process if `holds` is false, which makes the input a finding. `rule` is the broken
/// rule.
void Require(bool holds, std::string_view rule);

/// Reads one input from its front. After its end there are zeros and empty bytes.
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

/// A directory of the process with a few useless files: a.jar, which is empty, text.jar, d with
/// b.jar, C.JAR and more, loops with a link to itself. Removed when the process exits.
const std::filesystem::path& JailDirectory();

/// The replacement of `path` inside the jail, so that no input names a file outside. An absolute
/// path is below the jail, ".." becomes two underscores, and a relative path stays, for use while
/// an InJail lives. A path ends at its first zero byte; bytes after it stay.
std::string Confined(std::string_view path);

/// Makes the jail the current directory while it lives.
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
