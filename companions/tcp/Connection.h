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

/// A frame exceeds this side's limit for frames.
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

/// Frames to and from one peer, over plain TCP or TLS. Not thread-safe. Errors of the connection
/// are std::system_error; the connection is unusable after one.
class Connection {
 public:
  explicit Connection(std::uint32_t limit) : m_limit(limit) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  virtual ~Connection() = default;

  virtual PatientSocket& Socket() = 0;
  /// Does what precedes the first byte. On a non-blocking socket it reports would_block until it is
  /// done; call it again after AwaitedEvents().
  virtual void Handshake(asio::error_code& error) = 0;
  /// The event to wait for after would_block: POLLIN or POLLOUT.
  [[nodiscard]] virtual short AwaitedEvents() const = 0;
  /// Whether the peer is connected and has sent nothing that is unread. Does not block.
  virtual bool IsQuiet() = 0;

  /// Sets whether buffers are kept between frames, which costs memory and saves time. Off at first.
  virtual void KeepBuffers(bool /*keep*/) {}

  /// The subject of the peer's certificate in the form of RFC 2253; empty without a certificate.
  virtual std::string PeerName() { return {}; }
  /// The subject of the refused certificate and the reason, after a failed handshake; empty if the
  /// handshake failed for another reason.
  [[nodiscard]] virtual std::string WhyPeerRefused() const { return {}; }

  void SendGreeting(Wire::Greeting kind) { WriteAll({}, Wire::BytesOf(kind)); }
  /// The peer's first bytes, padded with zeros if it then closes. Errors: eof if it sends nothing.
  /// On a non-blocking socket it reports would_block until all bytes have arrived; call it again
  /// then. Bytes that have arrived are kept.
  Wire::GreetingBytes ReceiveGreeting();

  /// Sends `header`, with the length of `bytes` in it, and `bytes`. Errors: also FrameTooLong,
  /// before anything is sent.
  void Send(Wire::FrameHeader header, std::span<const std::uint8_t> bytes);

  /// Whether a whole header has arrived, so that ReceiveHeader does not block.
  [[nodiscard]] bool HasHeader() const { return Unread() >= Wire::kFrameHeaderSize; }
  /// Reads once; blocks if nothing has arrived. Precondition: no whole header has arrived. Errors:
  /// eof if the peer has closed; would_block on a non-blocking socket.
  void ReadAhead(asio::error_code& error) { Fill(error); }

  /// Receives the header of the peer's next frame; false if the peer has closed instead. Errors:
  /// also FrameTooLong, and bad_message if the bytes are not a header.
  bool ReceiveHeader(Wire::FrameHeader& header);
  /// Appends the next `count` bytes of a frame to `bytes`.
  void ReceiveBytes(Bytes& bytes, std::size_t count);
  /// Fills `room` with the next bytes of a frame.
  void ReceiveBytes(std::span<std::uint8_t> room) { ReadAll(room); }
  /// Receives the next frame; false if the peer has closed instead. Memory for the frame grows with
  /// the bytes that have arrived. `frame.bytes` keeps its capacity. Errors: as above.
  bool Receive(Frame& frame);

  /// The number of bytes that have arrived and were not requested yet.
  [[nodiscard]] std::size_t Unread() const { return m_filled - m_taken; }

  [[nodiscard]] std::uint32_t Limit() const { return m_limit; }

  /// The number of the last command on this connection; 0 before the first. The client takes the
  /// next number for each command that it sends, the server for each that it expects.
  [[nodiscard]] std::uint32_t Number() const { return m_number; }
  std::uint32_t NextNumber() { return ++m_number; }
  /// Whether all numbers are used.
  [[nodiscard]] bool IsUsedUp() const { return m_number == Wire::kLastNumber; }

  /// The least step by which memory for a frame grows; at most it doubles.
  static constexpr std::size_t kFirstRoom = 64U << 10U;

 private:
  virtual std::size_t ReadSome(std::span<std::uint8_t> room, asio::error_code& error) = 0;
  /// Writes some of `head`, which may be empty, and of the bytes after it; returns how many.
  virtual std::size_t WriteSome(std::span<const std::uint8_t> head,
                                std::span<const std::uint8_t> bytes, asio::error_code& error) = 0;

  void WriteAll(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes);
  void ReadAll(std::span<std::uint8_t> room);
  std::size_t ReadUpTo(std::span<std::uint8_t> room, asio::error_code& error);
  void Fill(asio::error_code& error);

  const std::uint32_t m_limit;
  std::uint32_t m_number = 0;

  // Bytes that were read ahead. Header and bytes of a short frame so take one read.
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
