#ifndef FERROLINK_BENCH_NETWORK_FRAMING_H
#define FERROLINK_BENCH_NETWORK_FRAMING_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

/// The framing of the network companions, written by hand: a header of 16 bytes, whose first four
/// are the length, and that many bytes.
namespace Ferrolink::Bench {

inline constexpr std::size_t kFrameHeader = 16;
/// The bytes that a call of the handler "echo" adds to its payload, in the command and in the
/// answer.
inline constexpr std::size_t kCommandExtra = 11 + 1 + 4;
inline constexpr std::size_t kAnswerExtra = 11;

using Bytes = std::vector<char>;

/// A frame with that many bytes after the header.
inline Bytes FrameOf(std::size_t size) {
  Bytes frame(kFrameHeader + size, 'x');
  const auto length = static_cast<std::uint32_t>(size);
  std::memcpy(frame.data(), &length, sizeof length);
  return frame;
}

template <class End>
void SendAll(End& end, const char* bytes, std::size_t size) {
  while (size > 0) {
    const long sent = end.write(bytes, size);
    if (sent <= 0) {
      throw std::runtime_error("write");
    }
    bytes += sent;
    size -= static_cast<std::size_t>(sent);
  }
}

/// Receives frames: header and beginning with one read, the rest of long ones in place.
template <class End>
class FrameReader {
 public:
  explicit FrameReader(End& end) : m_end(end) {}

  /// False at the end of the connection. `bytes` are those of the frame, without its header.
  bool Receive(Bytes& bytes) {
    while (m_filled < kFrameHeader) {
      const long got = m_end.read(m_ahead.data() + m_filled, m_ahead.size() - m_filled);
      if (got <= 0) {
        return false;
      }
      m_filled += static_cast<std::size_t>(got);
    }
    std::uint32_t length = 0;
    std::memcpy(&length, m_ahead.data(), sizeof length);
    bytes.resize(length);
    // Frames do not overlap: each is answered before the next one is sent.
    std::size_t have = std::min<std::size_t>(m_filled - kFrameHeader, length);
    std::memcpy(bytes.data(), m_ahead.data() + kFrameHeader, have);
    m_filled = 0;
    while (have < length) {
      const long got = m_end.read(bytes.data() + have, length - have);
      if (got <= 0) {
        return false;
      }
      have += static_cast<std::size_t>(got);
    }
    return true;
  }

 private:
  End& m_end;
  std::array<char, 4096> m_ahead;
  std::size_t m_filled = 0;
};

}  // namespace Ferrolink::Bench

#endif
