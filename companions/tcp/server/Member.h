#ifndef FERROLINK_COMPANIONS_TCP_SERVER_MEMBER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_MEMBER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "companions/tcp/server/ServerOptions.h"
#include "ferrolink/ThreadAttachment.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The member of the family that executes the commands, in this process.
class Member {
 public:
  /// Opens the installation's library, loads the plug-ins and checks that the runtime answers.
  /// Errors: derived from std::runtime_error.
  explicit Member(const ServerOptions& options);

  /// Executes one command on this thread and returns the length of its response. This thread must
  /// then read or drop the response. Thread-safe. Errors: the member's own.
  std::size_t Execute(std::span<std::uint8_t> command) const;
  /// Reads the response; `room` has its length. Errors: the member's own.
  void readResponse(std::span<std::uint8_t> room) const;
  /// Discards a response of that length.
  void DropResponse(std::size_t length) const;

  /// Keeps a thread attached to the JVM, if there is one. For threads that run many commands.
  class ThreadStay {
   public:
    explicit ThreadStay(const Member& member) {
      if (member.m_runtime == Native::Definitions::Runtime::Jvm) {
        m_attachment.emplace();
      }
    }

   private:
    std::optional<Host::ThreadAttachment> m_attachment;
  };

 private:
  const Native::Definitions::Runtime m_runtime;
  // Owned by the library and never deleted.
  Native::Interfaces::IReceiver* const m_receiver;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
