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

/// Closes the descriptor in programs that the process starts.
void CloseOnExec(int descriptor);

/// A connected TCP socket that waits for its peer, with or without limits. Signals do not interrupt
/// it. It belongs to no event loop: the calling thread waits.
///
/// Thread rule: one thread at a time, except for Cut. Errors: asio::error::timed_out for a limit
/// that is over, asio::error::eof for the end of the stream, asio::error::operation_aborted for a
/// wait that another call ended. A closed peer raises no SIGPIPE.
///
/// System calls: one for a receive without limits; two (poll, recv) with limits, unless the bytes
/// are expected soon; one for a send if the kernel has room.
class PatientSocket {
 public:
  using Clock = std::chrono::steady_clock;
  using Endpoint = asio::ip::tcp::endpoint;

  /// Takes ownership of an open stream socket, connected or not.
  explicit PatientSocket(FileDescriptor socket) : m_socket(std::move(socket)) {}
  /// A new socket for endpoints of that protocol. Errors: std::system_error.
  static PatientSocket Open(const asio::ip::tcp& protocol);

  /// Sets the deadline of every operation, or none.
  void WaitUntil(std::optional<Clock::time_point> deadline) {
    m_deadline = deadline;
    m_span.reset();
    m_perByte = std::chrono::nanoseconds(0);
  }
  /// Every operation ends `progress` after its first wait from now on, so operations that do not
  /// wait read no clock. Each byte moves that deadline by `perByte`, but to `progress` after the
  /// byte at most.
  void WaitWhileItFlows(std::chrono::milliseconds progress, std::chrono::nanoseconds perByte) {
    m_deadline.reset();
    m_span = progress;
    m_perByte = perByte;
    m_progress = progress;
  }
  /// Limits each single wait, for a byte to arrive or for room to send one.
  void WaitAtMost(std::optional<std::chrono::milliseconds> silence) { m_silence = silence; }
  /// Receiving ends with operation_aborted as soon as that descriptor is readable, even if bytes
  /// have arrived. -1 means none. The caller keeps ownership of the descriptor.
  void AbortBy(int descriptor) { m_abort = descriptor; }
  /// Receiving without a deadline waits that long inside recv(2) first. That saves a system call if
  /// the peer is fast enough. AbortBy then takes effect up to that much later.
  void ExpectWithin(std::chrono::milliseconds time);
  /// Switches non-blocking mode: operations that would wait report asio::error::would_block.
  void DontWait(bool on) { m_dontWait = on; }

  void Connect(const Endpoint& endpoint, asio::error_code& error);

  /// Sends small pieces without delay and detects dead peers: an idle one after two minutes, one
  /// that owes an acknowledgement after `unacknowledged`.
  void Tune(std::chrono::milliseconds unacknowledged, asio::error_code& error);

  /// Receives at least one byte, unless there is an error. No bytes for an empty span.
  std::size_t Receive(std::span<std::uint8_t> room, asio::error_code& error);
  std::size_t Send(std::span<const std::uint8_t> bytes, asio::error_code& error) {
    return Send({}, bytes, error);
  }
  /// Sends some of `head` and of the bytes after it, with one system call.
  std::size_t Send(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes,
                   asio::error_code& error);

  /// The next byte, which remains unread.
  std::uint8_t Peek(asio::error_code& error);

  /// Whether an idle peer is still connected: it has neither closed nor sent anything. Does not
  /// block.
  [[nodiscard]] bool IsQuiet() const;

  /// Half-closes: the peer sees the end of the stream after the sent bytes. Reading continues.
  void EndWriting();
  /// Ends both directions at once. Thread-safe.
  void Cut();

  [[nodiscard]] int Descriptor() const { return m_socket.get(); }
  /// Releases the descriptor; the socket is unusable afterwards.
  FileDescriptor Release() { return std::move(m_socket); }

 private:
  [[nodiscard]] bool IsLimited() const {
    return m_deadline || m_span || m_silence || m_dontWait || m_abort >= 0;
  }
  /// `waited` counts as waiting time that has passed.
  bool Wait(short events, asio::error_code& error, std::chrono::milliseconds waited = {});
  void Moved(std::size_t bytes);

  FileDescriptor m_socket;
  std::optional<Clock::time_point> m_deadline;
  std::optional<std::chrono::nanoseconds> m_span;  ///< of a deadline that is not set yet
  std::chrono::nanoseconds m_perByte{0};
  std::chrono::milliseconds m_progress{0};  ///< of use where m_perByte is not 0
  std::optional<std::chrono::milliseconds> m_silence;
  std::chrono::milliseconds m_expected{0};
  int m_abort = -1;
  bool m_dontWait = false;
  bool m_moreExpected = false;  ///< the last receive filled its room: more is there already
};

}  // namespace Ferrolink::Companions::Tcp

#endif
