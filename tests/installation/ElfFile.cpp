#include "tests/installation/ElfFile.h"

#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Ferrolink::Tests {

ElfFile::ElfFile(const std::filesystem::path& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  m_content = content.str();
  const Elf64_Ehdr header = Table<Elf64_Ehdr>(0, 1).front();
  if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64 ||
      header.e_ident[EI_DATA] != ELFDATA2LSB || header.e_type != ET_DYN) {
    throw std::runtime_error("not a 64-bit shared library or position-independent program: " +
                             path.string());
  }
  m_segments = Table<Elf64_Phdr>(header.e_phoff, header.e_phnum);
  ReadSections(header);
}

template <class Entry>
std::vector<Entry> ElfFile::Table(std::size_t offset, std::size_t count) const {
  if (offset > m_content.size() || count * sizeof(Entry) > m_content.size() - offset) {
    throw std::runtime_error("a table that lies outside its file");
  }
  std::vector<Entry> entries(count);
  std::memcpy(entries.data(), m_content.data() + offset, count * sizeof(Entry));
  return entries;
}

std::string ElfFile::Text(std::size_t offset) const {
  return m_content.c_str() + offset;
}

void ElfFile::ReadSections(const Elf64_Ehdr& header) {
  m_sections = Table<Elf64_Shdr>(header.e_shoff, header.e_shnum);
  m_sectionNames = m_sections.at(header.e_shstrndx).sh_offset;
  for (const Elf64_Shdr& section : m_sections) {
    if (section.sh_type == SHT_DYNAMIC) {
      m_dynamic = Table<Elf64_Dyn>(section.sh_offset, section.sh_size / sizeof(Elf64_Dyn));
      m_dynamicNames = m_sections.at(section.sh_link).sh_offset;
    } else if (section.sh_type == SHT_DYNSYM) {
      ReadSymbols(section, m_sections.at(section.sh_link));
    }
  }
}

void ElfFile::ReadSymbols(const Elf64_Shdr& symbols, const Elf64_Shdr& names) {
  const std::size_t count = symbols.sh_size / sizeof(Elf64_Sym);
  for (const Elf64_Sym& symbol : Table<Elf64_Sym>(symbols.sh_offset, count)) {
    m_symbols.push_back({Text(names.sh_offset + symbol.st_name),
                         static_cast<unsigned>(ELF64_ST_BIND(symbol.st_info)),
                         static_cast<unsigned>(ELF64_ST_TYPE(symbol.st_info)),
                         symbol.st_shndx != SHN_UNDEF, symbol.st_value});
  }
}

std::vector<Elf64_Xword> ElfFile::Entries(Elf64_Sxword tag) const {
  std::vector<Elf64_Xword> values;
  for (const Elf64_Dyn& entry : m_dynamic) {
    if (entry.d_tag == DT_NULL) {
      break;
    }
    if (entry.d_tag == tag) {
      values.push_back(entry.d_un.d_val);
    }
  }
  return values;
}

bool ElfFile::HasFlags(Elf64_Sxword tag, Elf64_Xword flags) const {
  for (const Elf64_Xword value : Entries(tag)) {
    if ((value & flags) == flags) {
      return true;
    }
  }
  return false;
}

std::vector<std::string> ElfFile::Needed() const {
  std::vector<std::string> names;
  for (const Elf64_Xword offset : Entries(DT_NEEDED)) {
    names.push_back(Text(m_dynamicNames + offset));
  }
  return names;
}

std::vector<const Elf64_Phdr*> ElfFile::Segments(Elf64_Word type) const {
  std::vector<const Elf64_Phdr*> found;
  for (const Elf64_Phdr& segment : m_segments) {
    if (segment.p_type == type) {
      found.push_back(&segment);
    }
  }
  return found;
}

std::string ElfFile::Section(const std::string& name) const {
  for (const Elf64_Shdr& section : m_sections) {
    if (section.sh_type != SHT_NOBITS && Text(m_sectionNames + section.sh_name) == name) {
      return m_content.substr(section.sh_offset, section.sh_size);
    }
  }
  return "";
}

std::string ElfFile::Bytes(Elf64_Addr address, std::size_t size) const {
  for (const Elf64_Phdr* segment : Segments(PT_LOAD)) {
    if (address >= segment->p_vaddr && address + size <= segment->p_vaddr + segment->p_filesz) {
      return m_content.substr(segment->p_offset + (address - segment->p_vaddr), size);
    }
  }
  throw std::runtime_error("an address outside the file's segments");
}

}  // namespace Ferrolink::Tests
