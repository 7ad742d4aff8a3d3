#ifndef FERROLINK_COMPANIONS_TCP_CONNECTION_H
#define FERROLINK_COMPANIONS_TCP_CONNECTION_H

#include <asio/buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
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
  Wire::Status status = Wire::Status::Payload;
  Bytes bytes;
};

/// Frames to and from one peer, over TCP as it is or with TLS. One thread at a time. Errors of the
/// connection are std::system_error; it is of no use after one.
class Connection {
 public:
  explicit Connection(std::uint32_t limit) : m_limit(limit) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  virtual ~Connection() = default;

  virtual PatientSocket& socket() = 0;
  /// What comes before the first byte; reports errors.
  virtual void handshake(asio::error_code& error) = 0;

  void sendGreeting(Wire::Greeting kind) { writeAll(Wire::greeting(kind)); }
  /// What the peer says first; zeros behind it where it then closes. Errors: eof where it says
  /// nothing.
  Wire::GreetingBytes receiveGreeting();

  /// Errors: also FrameTooLong, before anything is sent.
  void send(Wire::Status status, std::span<const std::uint8_t> bytes);
  /// The peer's next frame; none where it has closed in place of one. Errors: also FrameTooLong,
  /// before memory is taken for it.
  std::optional<Frame> receive();

  [[nodiscard]] std::uint32_t limit() const { return m_limit; }

 private:
  virtual std::size_t readSome(asio::mutable_buffer buffer, asio::error_code& error) = 0;
  virtual std::size_t writeSome(asio::const_buffer buffer, asio::error_code& error) = 0;

  void writeAll(std::span<const std::uint8_t> bytes);
  void readAll(std::span<std::uint8_t> bytes);
  bool readAllOrNothing(std::span<std::uint8_t> bytes);

  const std::uint32_t m_limit;
};

/// TCP as it is.
class PlainConnection : public Connection {
 public:
  PlainConnection(PatientSocket socket, std::uint32_t limit)
      : Connection(limit), m_socket(std::move(socket)) {}

  PatientSocket& socket() override { return m_socket; }
  void handshake(asio::error_code& /*error*/) override {}

 private:
  std::size_t readSome(asio::mutable_buffer buffer, asio::error_code& error) override {
    return m_socket.read_some(buffer, error);
  }
  std::size_t writeSome(asio::const_buffer buffer, asio::error_code& error) override {
    return m_socket.write_some(buffer, error);
  }

  PatientSocket m_socket;
};

}  // namespace Ferrolink::Companions::Tcp

#endif
