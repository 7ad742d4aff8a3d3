#ifndef FERROLINK_NATIVE_INTERFACES_COMMANDHEADER_H
#define FERROLINK_NATIVE_INTERFACES_COMMANDHEADER_H

#include <array>
#include <cstdint>

#include "native/interfaces/Runtime.h"

/// The layout of commands and replies, and their types: a header of kSize bytes and a body.
///
/// Offsets count from the first byte of the command. Java has the same constants under the same
/// names in com.ferrolink.core.protocol.CommandHeader; a test compares the two.
namespace Ferrolink::Native::Definitions::CommandHeader {

// The header.
inline constexpr int kTargetRuntime = 0;  ///< code of the executing runtime; of a reply, the caller
inline constexpr int kLaunchArgument = 1;  ///< handed on to the target's receiver and launcher
inline constexpr int kChannelType = 2;     ///< one of kChannel...
inline constexpr int kAddress = 3;         ///< four IPv4 octets in written order
inline constexpr int kPort = 7;            ///< two bytes, little-endian
inline constexpr int kCallingRuntime = 9;  ///< code of the sending runtime
inline constexpr int kCommandType = 10;    ///< one of kType...
inline constexpr int kSize = 11;           ///< bytes in a header; offset of the body

// Channel types.
inline constexpr std::uint8_t kChannelInMemory = 0;  ///< address and port mean nothing
inline constexpr std::uint8_t kChannelTcp = 1;       ///< unencrypted
inline constexpr std::uint8_t kChannelTls = 2;       ///< TCP with TLS

// Command types.
inline constexpr std::uint8_t kTypeAnswer = 0;            ///< replies only: the body is the result
inline constexpr std::uint8_t kTypeLoadLibrary = 1;       ///< the body has a path, see kLibraryPath
inline constexpr std::uint8_t kTypeCallHandler = 2;       ///< the body is a call
inline constexpr std::uint8_t kTypeCallWithin = 3;        ///< a call with a time limit
inline constexpr std::uint8_t kTypeExceptionReport = 10;  ///< replies only: the body is a text
inline constexpr std::uint8_t kTypeHeartBeat = 11;        ///< the reply has the same body

// Bodies. A call is the length of the handler's name in one byte, the name, and the payload. A time
// limit goes in front of it: milliseconds that are left, the high byte first.
inline constexpr int kLibraryPath = 24;       ///< of a load-library command; zeros come before it
inline constexpr int kTimeLimit = 11;         ///< of a call with a time limit
inline constexpr int kTimeLimitSize = 4;      ///< bytes in a time limit
inline constexpr int kNameLength = 11;        ///< of a call
inline constexpr int kNameLengthWithin = 15;  ///< of a call with a time limit
inline constexpr int kLongestName = 255;      ///< bytes in a handler's name

/// The answer to load-library, the same for every caller.
constexpr std::array<std::uint8_t, 17> LibraryLoadedBy(Runtime runtime) {
  const auto code = static_cast<std::uint8_t>(runtime);
  return {code, 0, 0, 0, 0, 0, 0, 0, 0, code, kTypeAnswer, 0x02, 0x04, 0, 0, 0, 0};
}

}  // namespace Ferrolink::Native::Definitions::CommandHeader

#endif
