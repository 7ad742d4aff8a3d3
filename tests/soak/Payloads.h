#ifndef FERROLINK_TESTS_SOAK_PAYLOADS_H
#define FERROLINK_TESTS_SOAK_PAYLOADS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace FerrolinkSoak {

using Bytes = std::vector<std::uint8_t>;
using Span = std::span<const std::uint8_t>;

inline Bytes inverted(Span bytes) {
  Bytes result(bytes.begin(), bytes.end());
  for (std::uint8_t& byte : result) {
    byte = static_cast<std::uint8_t>(~byte);
  }
  return result;
}

/// Random payloads of 0 bytes to 1 MiB, small ones far more often. One thread each.
class Payloads {
 public:
  explicit Payloads(unsigned seed) : m_random(seed), m_bytes(kLargest + kOffsets) {
    for (std::uint8_t& byte : m_bytes) {
      byte = static_cast<std::uint8_t>(m_random());
    }
  }

  /// Valid until this object goes.
  Span next() { return ofSize(nextSize()); }
  Span ofSize(std::size_t size) { return Span(m_bytes).subspan(below(kOffsets), size); }
  Span small() { return ofSize(below(256)); }
  Span largest() { return ofSize(kLargest); }

  std::size_t below(std::size_t limit) { return m_random() % limit; }

 private:
  static constexpr std::size_t kLargest = std::size_t{1} << 20U;
  static constexpr std::size_t kOffsets = 251;

  std::size_t nextSize() {
    static constexpr std::array<std::size_t, 8> kEdges = {0,    1,     2048,  2049,
                                                          4096, 65535, 65536, kLargest};
    const std::size_t kind = below(1000);
    if (kind < 40) {
      return kEdges.at(kind % kEdges.size());
    }
    return below(kind < 700 ? 256 : kind < 940 ? 4096 : kind < 990 ? 65536 : kLargest + 1);
  }

  std::mt19937 m_random;
  Bytes m_bytes;
};

}  // namespace FerrolinkSoak

#endif
