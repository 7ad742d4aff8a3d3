#ifndef FERROLINK_COMPANIONS_TCP_SERVER_REFUSALS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_REFUSALS_H

/// The texts for clients whose commands are not begun.
namespace Ferrolink::Companions::Tcp::Server::Refusals {

inline constexpr const char* kFull =
    "The server is busy: it serves as many clients as it may (--max-connections). The command was "
    "not executed.";
inline constexpr const char* kNoThread =
    "The server is busy: it cannot start a thread. The command was not executed.";
inline constexpr const char* kNoMemory =
    "The server is busy: its memory for commands and responses is used up (--max-memory-bytes). "
    "The command was not executed.";
inline constexpr const char* kGoingAway = "The server is going away. The command was not executed.";
inline constexpr const char* kIdle =
    "The server closes connections without a command (--idle-timeout-ms). The command was not "
    "executed.";
inline constexpr const char* kTooSlow =
    "The command came too slowly (--read-timeout-ms). It was not executed.";
inline constexpr const char* kTimeOver =
    "The time for the command was over before it could begin. It was not executed.";
inline constexpr const char* kNoCommand = "The frame is no command.";
inline constexpr const char* kOtherNumber = "The frame has another number than the next command.";

}  // namespace Ferrolink::Companions::Tcp::Server::Refusals

#endif
