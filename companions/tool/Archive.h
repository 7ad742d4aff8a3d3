#ifndef FERROLINK_COMPANIONS_TOOL_ARCHIVE_H
#define FERROLINK_COMPANIONS_TOOL_ARCHIVE_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>

namespace Ferrolink::Companions::Tool {

/// A file is no archive, or is damaged. what() says where.
class ArchiveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A Java archive, held in memory. Archives of 4 GiB and more are refused.
class Archive {
 public:
  /// Reads the file and its table of contents. Errors: ArchiveError.
  explicit Archive(const std::filesystem::path& file);

  [[nodiscard]] bool Has(const std::string& name) const { return m_entries.count(name) != 0; }
  /// The contents of an entry, checked against their checksum. Errors: ArchiveError.
  [[nodiscard]] std::string Read(const std::string& name) const;
  /// Reads every entry. Errors: ArchiveError, also those of `each`.
  void ReadAll(
      const std::function<void(const std::string& name, const std::string& contents)>& each) const;

  /// A line of META-INF/MANIFEST.MF, such as "Implementation-Version"; empty without it.
  [[nodiscard]] std::string Attribute(const std::string& name) const;

 private:
  struct Entry {
    std::uint16_t method = 0;
    std::uint32_t checksum = 0;
    std::uint32_t packedSize = 0;
    std::uint32_t size = 0;
    std::uint32_t offset = 0;
  };

  [[nodiscard]] std::uint32_t Number(std::uint64_t place, int bytes) const;
  [[nodiscard]] std::string Unpacked(const std::string& name, const Entry& entry) const;
  void ReadTable();

  std::string m_bytes;
  std::uint64_t m_begin = 0;  ///< of the archive; a script may stand before it
  std::map<std::string, Entry> m_entries;
};

/// The Java version that a class file needs, such as 8; 0 if the bytes are no class file.
int JavaVersionOfClass(const std::string& bytes);

}  // namespace Ferrolink::Companions::Tool

#endif
