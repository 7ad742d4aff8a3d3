#ifndef FERROLINK_COMPANIONS_TCP_WIRE_H
#define FERROLINK_COMPANIONS_TCP_WIRE_H

#include <array>
#include <cstddef>
#include <cstdint>

/// The protocol between a client library and a server, docs/network.md: a greeting each way, then
/// frames in turn, one for each command and one for each answer.
namespace Ferrolink::Companions::Tcp::Wire {

inline constexpr std::uint8_t kVersion = 2;

/// The kinds of greetings. A client's differs from a server's, so an echo of a client's own bytes
/// is not a valid answer.
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

constexpr GreetingBytes BytesOf(Greeting kind) {
  return {'F', 'R', 'L', 'K', kVersion, static_cast<std::uint8_t>(kind), 0, 0};
}

/// The first byte of a TLS connection: a handshake record.
inline constexpr std::uint8_t kTlsHandshake = 0x16;
/// The first byte of a TLS peer's alert.
inline constexpr std::uint8_t kTlsAlert = 0x15;

/// The contents of a frame. Commands are Payload. All others are answers with a text in UTF-8.
enum class Status : std::uint8_t {
  Payload = 0,
  Error = 1,          ///< there is no response; the command may have been executed
  FinalError = 2,     ///< the same; the server then closes
  NotBegun = 3,       ///< the command was not begun, and will not be
  FinalNotBegun = 4,  ///< the same; the server then closes
  TimeOver = 5,       ///< not begun, since the command's time was over
};

inline constexpr Status kLastStatus = Status::TimeOver;

constexpr bool EndsConnection(Status status) {
  return status == Status::FinalError || status == Status::FinalNotBegun;
}

inline constexpr std::size_t kFrameHeaderSize = 16;
inline constexpr std::uint32_t kNoTimeLimit = 0xFFFFFFFF;

/// The header in front of a frame's bytes. Numbers are big-endian:
///
///     0  length        of the bytes after the header
///     4  number        of the command on its connection: 1, 2, ...; an answer repeats it
///     8  milliseconds  the remaining time of a command; kNoTimeLimit: no limit, also in answers
///    12  status
///    13  three zeros
struct FrameHeader {
  std::uint32_t length = 0;
  std::uint32_t number = 0;
  std::uint32_t milliseconds = kNoTimeLimit;
  Status status = Status::Payload;
};

/// The greatest number of a command. The client closes a connection that has reached it.
inline constexpr std::uint32_t kLastNumber = 0xFFFFFFFF;

using FrameHeaderBytes = std::array<std::uint8_t, kFrameHeaderSize>;

constexpr void PutNumber(FrameHeaderBytes& bytes, std::size_t at, std::uint32_t number) {
  bytes[at] = static_cast<std::uint8_t>(number >> 24U);
  bytes[at + 1] = static_cast<std::uint8_t>(number >> 16U);
  bytes[at + 2] = static_cast<std::uint8_t>(number >> 8U);
  bytes[at + 3] = static_cast<std::uint8_t>(number);
}

constexpr std::uint32_t NumberAt(const FrameHeaderBytes& bytes, std::size_t at) {
  return std::uint32_t{bytes[at]} << 24U | std::uint32_t{bytes[at + 1]} << 16U |
         std::uint32_t{bytes[at + 2]} << 8U | std::uint32_t{bytes[at + 3]};
}

constexpr FrameHeaderBytes ToBytes(const FrameHeader& header) {
  FrameHeaderBytes bytes{};
  PutNumber(bytes, 0, header.length);
  PutNumber(bytes, 4, header.number);
  PutNumber(bytes, 8, header.milliseconds);
  bytes[12] = static_cast<std::uint8_t>(header.status);
  return bytes;
}

constexpr FrameHeader FromBytes(const FrameHeaderBytes& bytes) {
  return {NumberAt(bytes, 0), NumberAt(bytes, 4), NumberAt(bytes, 8),
          static_cast<Status>(bytes[12])};
}

/// Whether this version can have written the header.
constexpr bool IsWellFormed(const FrameHeaderBytes& bytes) {
  return bytes[12] <= static_cast<std::uint8_t>(kLastStatus) && bytes[13] == 0 && bytes[14] == 0 &&
         bytes[15] == 0;
}

/// The default limit of bytes in a frame, and the range for other limits. Error texts must fit, and
/// lengths are ints on both sides.
inline constexpr std::uint32_t kUsualLimit = 256U << 20U;
inline constexpr std::uint32_t kLeastLimit = 1024;
inline constexpr std::uint32_t kGreatestLimit = 0x7FFFFFFF;

}  // namespace Ferrolink::Companions::Tcp::Wire

#endif
