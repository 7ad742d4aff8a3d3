#ifndef FERROLINK_COMPANIONS_TCP_PATIENTSOCKET_H
#define FERROLINK_COMPANIONS_TCP_PATIENTSOCKET_H

#include <asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <system_error>
#include <utility>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp {

/// Marks the descriptor to be closed in programs that the process starts (FD_CLOEXEC).
void CloseOnExec(int descriptor);

/// A connected TCP socket that waits for its peer, with or without limits. Signals do not interrupt
/// it. It belongs to no event loop: the calling thread waits.
///
/// Thread rule: one thread at a time, except for Cut. Errors: asio::error::timed_out if a limit is
/// over, asio::error::eof at the end of the stream, asio::error::operation_aborted if AbortBy ended
/// the wait. Sending to a closed peer raises no SIGPIPE.
///
/// System calls: a receive without limits takes one. With limits it takes two (poll, recv), unless
/// the bytes are expected soon. A send takes one if the kernel has room.
class PatientSocket {
 public:
  using Clock = std::chrono::steady_clock;
  using Endpoint = asio::ip::tcp::endpoint;

  /// Takes ownership of an open stream socket, connected or not.
  explicit PatientSocket(FileDescriptor socket) : m_socket(std::move(socket)) {}
  /// A new socket for endpoints of that protocol. Errors: std::system_error.
  static PatientSocket Open(const asio::ip::tcp& protocol);

  /// Sets one deadline for all operations from now on, or none. Replaces WaitWhileItFlows.
  void WaitUntil(std::optional<Clock::time_point> deadline) {
    m_deadline = deadline;
    m_span.reset();
    m_perByte = std::chrono::nanoseconds(0);
  }
  /// Sets one deadline for all operations from now on: `progress` after the first wait. Until then
  /// no operation reads the clock. Each byte that is sent or received moves the deadline by
  /// `perByte`, but never to more than `progress` from now. Replaces WaitUntil.
  void WaitWhileItFlows(std::chrono::milliseconds progress, std::chrono::nanoseconds perByte) {
    m_deadline.reset();
    m_span = progress;
    m_perByte = perByte;
    m_progress = progress;
  }
  /// Limits each single wait for a byte to arrive, or for room to send one. No value: no limit.
  void WaitAtMost(std::optional<std::chrono::milliseconds> silence) { m_silence = silence; }
  /// A wait for bytes ends with operation_aborted as soon as that descriptor is readable, even if
  /// bytes have arrived. -1 means none. The caller keeps ownership of the descriptor.
  void AbortBy(int descriptor) { m_abort = descriptor; }
  /// A receive without a deadline first waits that long inside recv(2), which saves the call of
  /// poll(2) if the bytes arrive in that time. AbortBy may take effect that much later.
  void ExpectWithin(std::chrono::milliseconds time);
  /// Switches non-blocking mode on or off. In it, operations that would wait report
  /// asio::error::would_block.
  void DontWait(bool on) { m_dontWait = on; }

  void Connect(const Endpoint& endpoint, asio::error_code& error);

  /// Sets the options of a connected socket: small pieces are sent without delay, and dead peers
  /// are detected. An idle peer counts as dead after two minutes, one that does not acknowledge
  /// sent bytes after `unacknowledged`.
  void Tune(std::chrono::milliseconds unacknowledged, asio::error_code& error);

  /// Receives at least one byte and returns their number; 0 after an error or for an empty span.
  std::size_t Receive(std::span<std::uint8_t> room, asio::error_code& error);
  std::size_t Send(std::span<const std::uint8_t> bytes, asio::error_code& error) {
    return Send({}, bytes, error);
  }
  /// Sends `head` and then `bytes`, with one system call. Returns the number of sent bytes, which
  /// may be fewer than all.
  std::size_t Send(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes,
                   asio::error_code& error);

  /// Returns the next byte without consuming it; 0 after an error.
  std::uint8_t Peek(asio::error_code& error);

  /// Whether the peer is idle and still connected: it has neither closed nor sent anything that is
  /// unread. Does not block.
  [[nodiscard]] bool IsQuiet() const;

  /// Half-closes: the peer sees the end of the stream after the sent bytes. Receiving still works.
  void EndWriting();
  /// Ends both directions immediately; a blocked operation returns. Thread-safe.
  void Cut();

  [[nodiscard]] int Descriptor() const { return m_socket.get(); }
  /// Releases the descriptor; the socket is unusable afterwards.
  FileDescriptor Release() { return std::move(m_socket); }

 private:
  [[nodiscard]] bool IsLimited() const {
    return m_deadline || m_span || m_silence || m_dontWait || m_abort >= 0;
  }
  /// Waits for poll(2) events. `waited` is time that the operation has waited before. False with
  /// `error` set if a limit is over or AbortBy ends the wait.
  bool Wait(short events, asio::error_code& error, std::chrono::milliseconds waited = {});
  void Moved(std::size_t bytes);

  FileDescriptor m_socket;
  std::optional<Clock::time_point> m_deadline;
  std::optional<std::chrono::nanoseconds> m_span;  ///< set until the deadline starts
  std::chrono::nanoseconds m_perByte{0};
  std::chrono::milliseconds m_progress{0};  ///< used if m_perByte is not 0
  std::optional<std::chrono::milliseconds> m_silence;
  std::chrono::milliseconds m_expected{0};
  int m_abort = -1;
  bool m_dontWait = false;
  bool m_moreExpected = false;  ///< the last receive filled its buffer, so more may have arrived
};

}  // namespace Ferrolink::Companions::Tcp

#endif
