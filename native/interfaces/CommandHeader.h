#ifndef FERROLINK_NATIVE_INTERFACES_COMMANDHEADER_H
#define FERROLINK_NATIVE_INTERFACES_COMMANDHEADER_H

#include <cstdint>

/// Offsets and values of the header that opens every command byte array and every response.
/// Bytes from kSize on are the command's body and belong to the runtimes.
namespace Ferrolink::Native::Definitions::CommandHeader {

inline constexpr int kTargetRuntime = 0;   ///< runtime identifier of the executing runtime
inline constexpr int kLaunchArgument = 1;  ///< handed on to the target's receiver and launcher
inline constexpr int kChannelType = 2;     ///< 0 in-memory, 1 TCP, 2 TCP with TLS
inline constexpr int kAddress = 3;         ///< four IPv4 octets in written order
inline constexpr int kPort = 7;            ///< two bytes, little-endian
inline constexpr int kCallingRuntime = 9;  ///< runtime identifier of the sending runtime
inline constexpr int kCommandType = 10;
inline constexpr int kSize = 11;  ///< the shortest complete command

inline constexpr std::uint8_t kTypeLoadLibrary = 1;
inline constexpr std::uint8_t kTypeExceptionReport = 10;  ///< responses only
inline constexpr std::uint8_t kTypeHeartBeat = 11;

}  // namespace Ferrolink::Native::Definitions::CommandHeader

#endif
