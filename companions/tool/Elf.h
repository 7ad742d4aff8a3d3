#ifndef FERROLINK_COMPANIONS_TOOL_ELF_H
#define FERROLINK_COMPANIONS_TOOL_ELF_H

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

  [[nodiscard]] bool IsForThisMachine() const { return bits == 64 && machine == "x86-64"; }
  /// Whether it is built for musl instead of the GNU C library.
  [[nodiscard]] bool NeedsMusl() const;
};

/// Reads a file. A damaged or missing one has facts as far as they can be read.
ElfFacts ReadElf(const std::filesystem::path& file);

}  // namespace Ferrolink::Companions::Tool

#endif
