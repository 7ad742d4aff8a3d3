#ifndef FERROLINK_COMPANIONS_TOOL_ELF_H
#define FERROLINK_COMPANIONS_TOOL_ELF_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Ferrolink::Companions::Tool {

/// What the header and the notes of a program or library say.
struct ElfFacts {
  bool isElf = false;
  int bits = 0;         ///< 32 or 64; 0 if unknown
  std::string machine;  ///< such as "x86-64" or "machine 183"
  // Only of files for this machine:
  std::vector<std::string> needed;  ///< the libraries that it asks for
  std::string buildId;              ///< hexadecimal; empty without one
  std::string version;              ///< of Ferrolink; empty in files of others
  std::uint64_t size = 0;           ///< of the file, in bytes
  std::uint64_t loadedSize = 0;     ///< the file's bytes up to the last one that is loaded

  [[nodiscard]] bool IsForThisMachine() const { return bits == 64 && machine == "x86-64"; }
  /// Whether bytes that are loaded are missing at the end.
  [[nodiscard]] bool IsTruncated() const { return size < loadedSize; }
  /// Whether it is built for musl instead of the GNU C library.
  [[nodiscard]] bool NeedsMusl() const;
};

/// Reads a file. A damaged or missing one has facts as far as they can be read.
ElfFacts ReadElf(const std::filesystem::path& file);

}  // namespace Ferrolink::Companions::Tool

#endif
