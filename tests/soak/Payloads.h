#ifndef FERROLINK_TESTS_SOAK_PAYLOADS_H
#define FERROLINK_TESTS_SOAK_PAYLOADS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace Ferrolink::Soak {

using Bytes = std::vector<std::uint8_t>;
using Span = std::span<const std::uint8_t>;

inline Bytes Inverted(Span bytes) {
  Bytes result(bytes.begin(), bytes.end());
  for (std::uint8_t& byte : result) {
    byte = static_cast<std::uint8_t>(~byte);
  }
  return result;
}

/// Random payloads of 0 bytes to 1 MiB, mostly small. Not thread-safe.
class Payloads {
 public:
  explicit Payloads(unsigned seed) : m_random(seed), m_bytes(kLargest + kOffsets) {
    for (std::uint8_t& byte : m_bytes) {
      byte = static_cast<std::uint8_t>(m_random());
    }
  }

  /// Valid as long as this object.
  Span Next() { return OfSize(NextSize()); }
  Span OfSize(std::size_t size) { return Span(m_bytes).subspan(Below(kOffsets), size); }
  Span Small() { return OfSize(Below(256)); }
  Span Largest() { return OfSize(kLargest); }

  std::size_t Below(std::size_t limit) { return m_random() % limit; }

 private:
  static constexpr std::size_t kLargest = std::size_t{1} << 20U;
  static constexpr std::size_t kOffsets = 251;

  std::size_t NextSize() {
    static constexpr std::array<std::size_t, 8> kEdges = {0,    1,     2048,  2049,
                                                          4096, 65535, 65536, kLargest};
    const std::size_t kind = Below(1000);
    if (kind < 40) {
      return kEdges.at(kind % kEdges.size());
    }
    return Below(kind < 700 ? 256 : kind < 940 ? 4096 : kind < 990 ? 65536 : kLargest + 1);
  }

  std::mt19937 m_random;
  Bytes m_bytes;
};

}  // namespace Ferrolink::Soak

#endif
