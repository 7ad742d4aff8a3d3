#include "companions/tool/Elf.h"

#include <elf.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

namespace Ferrolink::Companions::Tool {
namespace {

constexpr std::uintmax_t kLargest = 256U << 20U;

// Bytes of a file, read with bounds checks: the file may be damaged.
class Image {
 public:
  explicit Image(const std::filesystem::path& file) {
    std::error_code unreadable;
    const auto size = std::filesystem::file_size(file, unreadable);
    if (!unreadable && std::filesystem::is_regular_file(file, unreadable) && size <= kLargest) {
      std::ifstream stream(file, std::ios::binary);
      m_bytes.assign(std::istreambuf_iterator<char>(stream), {});
    }
  }

  template <class T>
  [[nodiscard]] std::optional<T> At(std::uint64_t place) const {
    if (place > m_bytes.size() || m_bytes.size() - place < sizeof(T)) {
      return std::nullopt;
    }
    T value;
    std::memcpy(&value, m_bytes.data() + place, sizeof value);
    return value;
  }

  [[nodiscard]] std::string_view Bytes(std::uint64_t place, std::uint64_t size) const {
    if (place > m_bytes.size()) {
      return {};
    }
    return std::string_view(m_bytes).substr(place, size);
  }

  [[nodiscard]] std::uint64_t Size() const { return m_bytes.size(); }

 private:
  std::string m_bytes;
};

std::string MachineName(int machine) {
  switch (machine) {
    case EM_X86_64:
      return "x86-64";
    case EM_386:
      return "i386";
    case EM_AARCH64:
      return "aarch64";
    case EM_ARM:
      return "arm";
    default:
      return "machine " + std::to_string(machine);
  }
}

std::string Hexadecimal(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += kDigits[value >> 4U];
    text += kDigits[value & 0xFU];
  }
  return text;
}

std::vector<Elf64_Phdr> Segments(const Image& image, const Elf64_Ehdr& header) {
  std::vector<Elf64_Phdr> segments;
  for (std::uint64_t i = 0; i < header.e_phnum; ++i) {
    if (const auto segment = image.At<Elf64_Phdr>(header.e_phoff + i * sizeof(Elf64_Phdr))) {
      segments.push_back(*segment);
    }
  }
  return segments;
}

std::uint64_t OffsetOf(const std::vector<Elf64_Phdr>& segments, std::uint64_t address) {
  for (const Elf64_Phdr& segment : segments) {
    if (segment.p_type == PT_LOAD && address >= segment.p_vaddr &&
        address - segment.p_vaddr < segment.p_filesz) {
      return address - segment.p_vaddr + segment.p_offset;
    }
  }
  return ~std::uint64_t{0};
}

void ReadNotes(const Image& image, const Elf64_Phdr& segment, ElfFacts& facts) {
  std::uint64_t place = segment.p_offset;
  const std::uint64_t end = segment.p_offset + segment.p_filesz;
  while (place < end) {
    const auto note = image.At<Elf64_Nhdr>(place);
    if (!note) {
      return;
    }
    const auto aligned = [](std::uint64_t size) { return (size + 3) & ~std::uint64_t{3}; };
    const std::uint64_t name = place + sizeof(Elf64_Nhdr);
    const std::uint64_t content = name + aligned(note->n_namesz);
    const std::string owner(image.Bytes(name, note->n_namesz));
    const std::string_view bytes = image.Bytes(content, note->n_descsz);
    if (owner == std::string("GNU\0", 4) && note->n_type == NT_GNU_BUILD_ID) {
      facts.buildId = Hexadecimal(bytes);
    } else if (owner == std::string("Ferrolink\0", 10)) {
      facts.version = bytes.substr(0, bytes.find('\0'));
    }
    place = content + aligned(note->n_descsz);
  }
}

void ReadNeeded(const Image& image, const std::vector<Elf64_Phdr>& segments,
                const Elf64_Phdr& dynamic, ElfFacts& facts) {
  std::uint64_t strings = 0;
  std::vector<std::uint64_t> names;
  for (std::uint64_t at = 0; at < dynamic.p_filesz; at += sizeof(Elf64_Dyn)) {
    const auto entry = image.At<Elf64_Dyn>(dynamic.p_offset + at);
    if (!entry || entry->d_tag == DT_NULL) {
      break;
    }
    if (entry->d_tag == DT_STRTAB) {
      strings = OffsetOf(segments, entry->d_un.d_ptr);
    } else if (entry->d_tag == DT_NEEDED) {
      names.push_back(entry->d_un.d_val);
    }
  }
  for (const std::uint64_t name : names) {
    const std::string_view rest = image.Bytes(strings + name, 256);
    facts.needed.emplace_back(rest.substr(0, rest.find('\0')));
  }
}

}  // namespace

bool ElfFacts::NeedsMusl() const {
  return std::any_of(needed.begin(), needed.end(), [](const std::string& name) {
    return name.find("musl") != std::string::npos;
  });
}

ElfFacts ReadElf(const std::filesystem::path& file) {
  const Image image(file);
  ElfFacts facts;
  const std::string_view ident = image.Bytes(0, EI_NIDENT);
  facts.isElf = ident.size() == EI_NIDENT && ident.substr(0, SELFMAG) == ELFMAG;
  const auto machine = image.At<std::uint16_t>(offsetof(Elf64_Ehdr, e_machine));
  if (!facts.isElf || !machine) {
    return facts;
  }
  facts.bits = ident[EI_CLASS] == ELFCLASS64 ? 64 : ident[EI_CLASS] == ELFCLASS32 ? 32 : 0;
  facts.machine = MachineName(*machine);
  const auto header = image.At<Elf64_Ehdr>(0);
  if (!facts.IsForThisMachine() || !header) {
    return facts;
  }
  facts.size = image.Size();
  const std::vector<Elf64_Phdr> segments = Segments(image, *header);
  for (const Elf64_Phdr& segment : segments) {
    if (segment.p_type == PT_NOTE) {
      ReadNotes(image, segment, facts);
    } else if (segment.p_type == PT_DYNAMIC) {
      ReadNeeded(image, segments, segment, facts);
    } else if (segment.p_type == PT_LOAD) {
      facts.loadedSize = std::max(facts.loadedSize, segment.p_offset + segment.p_filesz);
    }
  }
  return facts;
}

}  // namespace Ferrolink::Companions::Tool
