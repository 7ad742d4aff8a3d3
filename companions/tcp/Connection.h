#ifndef FERROLINK_COMPANIONS_TCP_CONNECTION_H
#define FERROLINK_COMPANIONS_TCP_CONNECTION_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/Wire.h"

namespace Ferrolink::Companions::Tcp {

using Bytes = std::vector<std::uint8_t>;

/// A frame is longer than this side takes or sends.
class FrameTooLong : public std::runtime_error {
 public:
  FrameTooLong(std::size_t length, std::uint32_t limit)
      : std::runtime_error(std::to_string(length) + " bytes, more than the limit of " +
                           std::to_string(limit)) {}
};

struct Frame {
  Wire::FrameHeader header;
  Bytes bytes;
};

/// Frames to and from one peer, over plain TCP or TLS. One thread at a time. Errors of the
/// connection are std::system_error; the connection is of no use after one.
class Connection {
 public:
  explicit Connection(std::uint32_t limit) : m_limit(limit) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  virtual ~Connection() = default;

  virtual PatientSocket& Socket() = 0;
  /// What comes before the first byte; reports errors. While the socket does not wait: would_block
  /// until it is done, to be called again when AwaitedEvents() happen.
  virtual void Handshake(asio::error_code& error) = 0;
  /// What an operation that reported would_block waits for: POLLIN or POLLOUT.
  [[nodiscard]] virtual short AwaitedEvents() const = 0;
  /// Whether the peer is there and has sent nothing that was not read. Does not wait.
  virtual bool IsQuiet() = 0;

  /// Whether buffers are kept from one frame to the next, which takes memory and saves time. Not
  /// kept at first.
  virtual void KeepBuffers(bool /*keep*/) {}

  /// Who the peer is by its certificate, as RFC 2253 writes subjects; empty where it showed none.
  virtual std::string PeerName() { return {}; }
  /// Whose certificate was refused and why, after a handshake that failed; empty for other reasons.
  [[nodiscard]] virtual std::string WhyPeerRefused() const { return {}; }

  void SendGreeting(Wire::Greeting kind) { WriteAll({}, Wire::BytesOf(kind)); }
  /// What the peer says first; zeros behind it where it then closes. Errors: eof where it says
  /// nothing. While the socket does not wait: would_block until all of it has come, to be called
  /// again; what came is kept.
  Wire::GreetingBytes ReceiveGreeting();

  /// Sends `header`, with the length of `bytes` in it, and `bytes`. Errors: also FrameTooLong,
  /// before anything is sent.
  void Send(Wire::FrameHeader header, std::span<const std::uint8_t> bytes);

  /// Whether ReceiveHeader need not wait: all of a header has arrived.
  [[nodiscard]] bool HasHeader() const { return Unread() >= Wire::kFrameHeaderSize; }
  /// Reads what has come, once; waits where there is nothing. For as long as there is no header.
  /// Errors: eof where the peer has closed; would_block, while the socket does not wait.
  void ReadAhead(asio::error_code& error) { Fill(error); }

  /// Receives the header of the peer's next frame; false where it has closed in place of one.
  /// Errors: also FrameTooLong, and bad_message where the bytes are no header.
  bool ReceiveHeader(Wire::FrameHeader& header);
  /// Appends the next `count` bytes of a frame to `bytes`.
  void ReceiveBytes(Bytes& bytes, std::size_t count);
  /// Fills `room` with the next bytes of a frame.
  void ReceiveBytes(std::span<std::uint8_t> room) { ReadAll(room); }
  /// Receives the next frame; memory for it grows with what has arrived. False where the peer has
  /// closed in place of one. `frame.bytes` keeps its capacity. Errors: as above.
  bool Receive(Frame& frame);

  /// Bytes that have arrived and were not asked for yet.
  [[nodiscard]] std::size_t Unread() const { return m_filled - m_taken; }

  [[nodiscard]] std::uint32_t Limit() const { return m_limit; }

  /// The number of the last command on this connection; 0 before the first. The client takes the
  /// next one for each command that it sends, the server for each that it expects.
  [[nodiscard]] std::uint32_t Number() const { return m_number; }
  std::uint32_t NextNumber() { return ++m_number; }
  /// Whether no further command can have a number.
  [[nodiscard]] bool IsUsedUp() const { return m_number == Wire::kLastNumber; }

  /// Memory for a frame grows by this at least, and no faster than it doubles.
  static constexpr std::size_t kFirstRoom = 64U << 10U;

 private:
  virtual std::size_t ReadSome(std::span<std::uint8_t> room, asio::error_code& error) = 0;
  /// Some of `head`, which may be empty, and of the bytes that follow it; how many.
  virtual std::size_t WriteSome(std::span<const std::uint8_t> head,
                                std::span<const std::uint8_t> bytes, asio::error_code& error) = 0;

  void WriteAll(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes);
  void ReadAll(std::span<std::uint8_t> room);
  std::size_t ReadUpTo(std::span<std::uint8_t> room, asio::error_code& error);
  void Fill(asio::error_code& error);

  const std::uint32_t m_limit;
  std::uint32_t m_number = 0;

  // Header and bytes of a short frame arrive with one read; what was read ahead waits here.
  std::array<std::uint8_t, 4096> m_ahead;
  std::size_t m_taken = 0;
  std::size_t m_filled = 0;
};

/// Plain TCP.
class PlainConnection : public Connection {
 public:
  PlainConnection(PatientSocket socket, std::uint32_t limit)
      : Connection(limit), m_socket(std::move(socket)) {}

  PatientSocket& Socket() override { return m_socket; }
  void Handshake(asio::error_code& error) override { error.clear(); }
  [[nodiscard]] short AwaitedEvents() const override;
  bool IsQuiet() override { return Unread() == 0 && m_socket.IsQuiet(); }

 private:
  std::size_t ReadSome(std::span<std::uint8_t> room, asio::error_code& error) override {
    return m_socket.Receive(room, error);
  }
  std::size_t WriteSome(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes,
                        asio::error_code& error) override {
    return m_socket.Send(head, bytes, error);
  }

  PatientSocket m_socket;
};

}  // namespace Ferrolink::Companions::Tcp

#endif
