#ifndef FERROLINK_TESTS_INSTALLATION_ELFFILE_H
#define FERROLINK_TESTS_INSTALLATION_ELFFILE_H

#include <elf.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Ferrolink::Tests {

/// A symbol of a library's dynamic symbol table.
struct ElfSymbol {
  std::string name;
  unsigned binding = 0;  ///< STB_
  unsigned type = 0;     ///< STT_
  bool defined = false;
  Elf64_Addr address = 0;
};

/// What is in a 64-bit little-endian shared library or position-independent program. Raises
/// std::runtime_error for a file that is none.
class ElfFile {
 public:
  explicit ElfFile(const std::filesystem::path& path);

  /// The values of all dynamic entries with this tag (DT_).
  [[nodiscard]] std::vector<Elf64_Xword> Entries(Elf64_Sxword tag) const;
  [[nodiscard]] bool Has(Elf64_Sxword tag) const { return !Entries(tag).empty(); }
  /// Whether a bit mask entry (DT_FLAGS, DT_FLAGS_1) has these bits.
  [[nodiscard]] bool HasFlags(Elf64_Sxword tag, Elf64_Xword flags) const;

  /// File names of the libraries it needs.
  [[nodiscard]] std::vector<std::string> Needed() const;

  [[nodiscard]] const std::vector<Elf64_Phdr>& Segments() const { return m_segments; }
  [[nodiscard]] std::vector<const Elf64_Phdr*> Segments(Elf64_Word type) const;

  [[nodiscard]] const std::vector<ElfSymbol>& Symbols() const { return m_symbols; }

  /// The content of the section with this name; empty where there is none.
  [[nodiscard]] std::string Section(const std::string& name) const;

  /// The bytes at a virtual address.
  [[nodiscard]] std::string Bytes(Elf64_Addr address, std::size_t size) const;

 private:
  template <class Entry>
  [[nodiscard]] std::vector<Entry> Table(std::size_t offset, std::size_t count) const;
  [[nodiscard]] std::string Text(std::size_t offset) const;
  void ReadSections(const Elf64_Ehdr& header);
  void ReadSymbols(const Elf64_Shdr& symbols, const Elf64_Shdr& names);

  std::string m_content;
  std::vector<Elf64_Phdr> m_segments;
  std::vector<Elf64_Shdr> m_sections;
  std::size_t m_sectionNames = 0;  // offset of their names
  std::vector<Elf64_Dyn> m_dynamic;
  std::vector<ElfSymbol> m_symbols;
  std::size_t m_dynamicNames = 0;  // offset of the names that dynamic entries refer to
};

}  // namespace Ferrolink::Tests

#endif
