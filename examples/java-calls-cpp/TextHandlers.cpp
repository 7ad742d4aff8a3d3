// A plug-in library: the C++ functions that TextFacts.java calls by their names.
#include <ferrolink/CppRuntime.h>
#include <algorithm>
#include <map>

using Ferrolink::Cpp::Bytes;
using Span = std::span<const std::uint8_t>;

namespace {

// Any bytes to their CRC-32, the most significant byte first.
Bytes Crc32(Span bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const std::uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
    }
  }
  crc = ~crc;
  Bytes reply;
  for (unsigned shift : {24U, 16U, 8U, 0U}) {
    reply.push_back(static_cast<std::uint8_t>(crc >> shift));
  }
  return reply;
}

// A word is a run of letters of ASCII, in small letters.
std::map<std::string, int> CountWords(Span text) {
  std::map<std::string, int> counts;
  std::string word;
  for (const std::uint8_t byte : text) {
    const char small = static_cast<char>(byte | 0x20U);
    if (small >= 'a' && small <= 'z') {
      word += small;
    } else if (!word.empty()) {
      ++counts[word];
      word.clear();
    }
  }
  if (!word.empty()) {
    ++counts[word];
  }
  return counts;
}

// One byte, how many words are wanted, and a text to lines like "13 that", the most frequent first.
Bytes FrequentWords(Span request) {
  if (request.empty() || request[0] == 0) {
    throw std::invalid_argument("frequent-words needs to know how many words are wanted");
  }
  const std::map<std::string, int> counts = CountWords(request.subspan(1));
  std::vector<std::pair<std::string, int>> words(counts.begin(), counts.end());
  std::stable_sort(words.begin(), words.end(),
                   [](const auto& one, const auto& other) { return one.second > other.second; });
  words.resize(std::min(words.size(), std::size_t{request[0]}));
  std::string lines;
  for (const auto& [word, count] : words) {
    lines += std::to_string(count) + " " + word + "\n";
  }
  return Ferrolink::Cpp::ToBytes(lines);
}

}  // namespace

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  const Ferrolink::Cpp::Registrar registrar(table);
  registrar.Register("crc-32", Crc32);
  registrar.Register("frequent-words", FrequentWords);
  return FERROLINK_OK;
}
