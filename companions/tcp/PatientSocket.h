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

/// Keeps a descriptor from programs that the process starts.
void CloseOnExec(int descriptor);

/// A connected TCP socket that waits for its peer, with or without limits, and that signals do not
/// disturb. Belongs to no event loop: waiting happens on the calling thread.
///
/// Thread rule: one thread at a time, but for cut. Operations report errors: a limit
/// that is over is asio::error::timed_out, the end of the stream asio::error::eof, a call that ends
/// the waiting asio::error::operation_aborted. A closed peer raises no SIGPIPE.
///
/// System calls: one for a receive without limits, two (poll, recv) with them, unless the bytes are
/// expected soon; one for a send that the kernel has room for.
class PatientSocket {
 public:
  using Clock = std::chrono::steady_clock;
  using Endpoint = asio::ip::tcp::endpoint;

  /// Takes an open stream socket, connected or not.
  explicit PatientSocket(FileDescriptor socket) : m_socket(std::move(socket)) {}
  /// A new socket for endpoints of that kind. Errors: std::system_error.
  static PatientSocket Open(const asio::ip::tcp& protocol);

  /// Every operation ends at that moment at the latest; without one, they do not.
  void WaitUntil(std::optional<Clock::time_point> deadline) {
    m_deadline = deadline;
    m_span.reset();
    m_perByte = std::chrono::nanoseconds(0);
  }
  /// Every operation ends `progress` after the first wait from now on: what need not wait asks no
  /// clock. Each byte that moves then puts that moment off by `perByte`, but never further than to
  /// `progress` after the byte.
  void WaitWhileItFlows(std::chrono::milliseconds progress, std::chrono::nanoseconds perByte) {
    m_deadline.reset();
    m_span = progress;
    m_perByte = perByte;
    m_progress = progress;
  }
  /// Each wait for a byte to come, or for room for one, ends after that time.
  void WaitAtMost(std::optional<std::chrono::milliseconds> silence) { m_silence = silence; }
  /// Receiving ends with operation_aborted as soon as that descriptor is readable, also where bytes
  /// have come; -1 for none. The descriptor stays its owner's.
  void AbortBy(int descriptor) { m_abort = descriptor; }
  /// Receiving for which no moment is set waits that long within recv(2) first: one system call in
  /// place of two where the peer is as quick. AbortBy then ends it up to that much later.
  void ExpectWithin(std::chrono::milliseconds time);
  /// Operations that would wait report asio::error::would_block instead, as long as this is on.
  void DontWait(bool on) { m_dontWait = on; }

  void Connect(const Endpoint& endpoint, asio::error_code& error);

  /// Sends small pieces at once and finds out about peers that are gone: an idle one after two
  /// minutes, one that owes us an acknowledgement after `unacknowledged`.
  void Tune(std::chrono::milliseconds unacknowledged, asio::error_code& error);

  /// At least one byte, unless there is an error. An empty span is none.
  std::size_t Receive(std::span<std::uint8_t> room, asio::error_code& error);
  std::size_t Send(std::span<const std::uint8_t> bytes, asio::error_code& error) {
    return Send({}, bytes, error);
  }
  /// Some of `head` and of the bytes that follow it, with one system call.
  std::size_t Send(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes,
                   asio::error_code& error);

  /// The next byte, which stays to be read.
  std::uint8_t Peek(asio::error_code& error);

  /// Whether a peer that has nothing to say is still there: it has neither closed nor sent
  /// anything. Does not wait.
  [[nodiscard]] bool IsQuiet() const;

  /// The peer finds the end of the stream behind what was sent. Reading goes on.
  void EndWriting();
  /// Any thread: both directions end at once.
  void Cut();

  [[nodiscard]] int Descriptor() const { return m_socket.get(); }
  /// Gives the descriptor away; the socket is of no use afterwards.
  FileDescriptor Release() { return std::move(m_socket); }

 private:
  [[nodiscard]] bool IsLimited() const {
    return m_deadline || m_span || m_silence || m_dontWait || m_abort >= 0;
  }
  /// After so much waiting that counts already.
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
