#include "companions/tool/Archive.h"

#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace Ferrolink::Companions::Tool {
namespace {

// The records of the ZIP format, and the offsets in them.
constexpr std::uint32_t kEndMark = 0x06054b50;
constexpr std::uint32_t kCentralMark = 0x02014b50;
constexpr std::uint32_t kLocalMark = 0x04034b50;
constexpr std::uint64_t kEndSize = 22;
constexpr std::uint64_t kCentralSize = 46;
constexpr std::uint64_t kLocalSize = 30;
constexpr std::uint64_t kLongestComment = 65535;
constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflated = 8;
constexpr std::uint32_t kLargestEntry = 1U << 30U;
constexpr std::uint32_t kClassMark = 0xCAFEBABE;

}  // namespace

Archive::Archive(const std::filesystem::path& file) {
  std::error_code unreadable;
  if (!std::filesystem::is_regular_file(file, unreadable)) {
    throw ArchiveError("it is no regular file");
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    throw ArchiveError(std::string("it cannot be read: ") + std::strerror(errno));
  }
  m_bytes.assign(std::istreambuf_iterator<char>(stream), {});
  ReadTable();
}

std::uint32_t Archive::Number(std::uint64_t place, int bytes) const {
  if (place + static_cast<std::uint64_t>(bytes) > m_bytes.size()) {
    throw ArchiveError("it ends in the middle of a record");
  }
  std::uint32_t number = 0;
  for (int i = bytes - 1; i >= 0; --i) {
    number =
        number << 8U | static_cast<unsigned char>(m_bytes[place + static_cast<std::uint64_t>(i)]);
  }
  return number;
}

void Archive::ReadTable() {
  if (m_bytes.empty()) {
    throw ArchiveError("it is empty");
  }
  std::uint64_t end = m_bytes.size();
  const std::uint64_t last =
      end > kEndSize + kLongestComment ? end - kEndSize - kLongestComment : 0;
  for (end = end < kEndSize ? 0 : end - kEndSize;; --end) {
    if (m_bytes.size() >= kEndSize && Number(end, 4) == kEndMark) {
      break;
    }
    if (end <= last) {
      throw ArchiveError("it has no table of contents: it is no archive, or its end is missing");
    }
  }
  const std::uint64_t tableSize = Number(end + 12, 4);
  const std::uint64_t tableOffset = Number(end + 16, 4);
  if (tableSize + tableOffset > end) {
    throw ArchiveError("its beginning is missing");
  }
  m_begin = end - tableSize - tableOffset;
  std::uint64_t place = m_begin + tableOffset;
  for (std::uint32_t count = Number(end + 10, 2); count > 0; --count) {
    if (Number(place, 4) != kCentralMark) {
      throw ArchiveError("its table of contents is damaged");
    }
    const std::uint32_t nameSize = Number(place + 28, 2);
    const Entry entry{static_cast<std::uint16_t>(Number(place + 10, 2)), Number(place + 16, 4),
                      Number(place + 20, 4), Number(place + 24, 4), Number(place + 42, 4)};
    m_entries[m_bytes.substr(place + kCentralSize, nameSize)] = entry;
    place += kCentralSize + nameSize + Number(place + 30, 2) + Number(place + 32, 2);
  }
}

std::string Archive::Unpacked(const std::string& name, const Entry& entry) const {
  const auto damaged = [&](const char* why) {
    return ArchiveError("its entry " + name + " is damaged: " + why);
  };
  const std::uint64_t place = m_begin + entry.offset;
  if (Number(place, 4) != kLocalMark) {
    throw damaged("it is not where the table of contents says");
  }
  const std::uint64_t begin = place + kLocalSize + Number(place + 26, 2) + Number(place + 28, 2);
  if (begin + entry.packedSize > m_bytes.size() || entry.size > kLargestEntry) {
    throw damaged("it is longer than the file");
  }
  std::string contents = m_bytes.substr(begin, entry.packedSize);
  if (entry.method == kDeflated) {
    std::string unpacked(entry.size, '\0');
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef*>(contents.data());
    stream.avail_in = entry.packedSize;
    stream.next_out = reinterpret_cast<Bytef*>(unpacked.data());
    stream.avail_out = entry.size;
    // Negative: the data has no header of its own.
    const bool begun = inflateInit2(&stream, -MAX_WBITS) == Z_OK;
    const bool whole = begun && inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_out == 0;
    if (begun) {
      inflateEnd(&stream);
    }
    if (!whole) {
      throw damaged("it cannot be unpacked");
    }
    contents = std::move(unpacked);
  } else if (entry.method != kStored) {
    throw damaged("it is packed in an unknown way");
  }
  if (crc32(0, reinterpret_cast<const Bytef*>(contents.data()),
            static_cast<uInt>(contents.size())) != entry.checksum) {
    throw damaged("its checksum is wrong");
  }
  return contents;
}

std::string Archive::Read(const std::string& name) const {
  const auto found = m_entries.find(name);
  if (found == m_entries.end()) {
    throw ArchiveError("it has no entry " + name);
  }
  return Unpacked(name, found->second);
}

void Archive::ReadAll(
    const std::function<void(const std::string&, const std::string&)>& each) const {
  for (const auto& [name, entry] : m_entries) {
    each(name, Unpacked(name, entry));
  }
}

std::string Archive::Attribute(const std::string& name) const {
  constexpr const char* kManifest = "META-INF/MANIFEST.MF";
  if (!Has(kManifest)) {
    return {};
  }
  const std::string manifest = "\n" + Read(kManifest);
  const std::string key = "\n" + name + ": ";
  const std::size_t begin = manifest.find(key);
  if (begin == std::string::npos) {
    return {};
  }
  const std::string rest = manifest.substr(begin + key.size());
  return rest.substr(0, rest.find_first_of("\r\n"));
}

int JavaVersionOfClass(const std::string& bytes) {
  const auto byte = [&](std::size_t place) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[place]));
  };
  if (bytes.size() < 8 ||
      (byte(0) << 24U | byte(1) << 16U | byte(2) << 8U | byte(3)) != kClassMark) {
    return 0;
  }
  constexpr int kBeforeJava1 = 44;
  return static_cast<int>(byte(6) << 8U | byte(7)) - kBeforeJava1;
}

}  // namespace Ferrolink::Companions::Tool
