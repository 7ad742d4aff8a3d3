#ifndef FERROLINK_COMPANIONS_TCP_WIRE_H
#define FERROLINK_COMPANIONS_TCP_WIRE_H

#include <array>
#include <cstddef>
#include <cstdint>

/// What travels between a client library and a server, docs/network.md: a greeting each way, then
/// frames in turn, one for each command and one for each answer.
namespace Ferrolink::Companions::Tcp::Wire {

inline constexpr std::uint8_t kVersion = 1;

/// What a greeting says. A client's differs from a server's, so that nobody mistakes an echo of his
/// own bytes for an answer.
enum class Greeting : std::uint8_t {
  Hello = 0,      ///< of a client
  Welcome = 1,    ///< of a server
  SpeaksTls = 2,  ///< of a server that a client has addressed without TLS; it then closes
};

inline constexpr std::size_t kGreetingSize = 8;
inline constexpr std::size_t kGreetingMark = 4;  ///< bytes that all greetings begin with
inline constexpr std::size_t kGreetingVersion = 4;
inline constexpr std::size_t kGreetingKind = 5;

using GreetingBytes = std::array<std::uint8_t, kGreetingSize>;

constexpr GreetingBytes greeting(Greeting kind) {
  return {'F', 'R', 'L', 'K', kVersion, static_cast<std::uint8_t>(kind), 0, 0};
}

/// The first byte of a TLS connection: a handshake record.
inline constexpr std::uint8_t kTlsHandshake = 0x16;
/// The first byte of a TLS peer's complaint.
inline constexpr std::uint8_t kTlsAlert = 0x15;

/// What a frame holds. Commands are Payload.
enum class Status : std::uint8_t {
  Payload = 0,
  Error = 1,       ///< why there is no response, as text in UTF-8
  FinalError = 2,  ///< the same; no further command is taken on this connection
};

/// A frame's header: the length of what follows it, big-endian, and the status.
inline constexpr std::size_t kFrameHeaderSize = 5;

constexpr std::array<std::uint8_t, kFrameHeaderSize> frameHeader(std::uint32_t length,
                                                                 Status status) {
  return {static_cast<std::uint8_t>(length >> 24), static_cast<std::uint8_t>(length >> 16),
          static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length),
          static_cast<std::uint8_t>(status)};
}

constexpr std::uint32_t frameLength(const std::array<std::uint8_t, kFrameHeaderSize>& header) {
  return std::uint32_t{header[0]} << 24 | std::uint32_t{header[1]} << 16 |
         std::uint32_t{header[2]} << 8 | std::uint32_t{header[3]};
}

/// How many bytes a frame may hold unless somebody says otherwise, and what may be said: error
/// texts must have room, and lengths are ints on both sides.
inline constexpr std::uint32_t kUsualLimit = 256U << 20U;
inline constexpr std::uint32_t kLeastLimit = 1024;
inline constexpr std::uint32_t kGreatestLimit = 0x7FFFFFFF;

}  // namespace Ferrolink::Companions::Tcp::Wire

#endif
