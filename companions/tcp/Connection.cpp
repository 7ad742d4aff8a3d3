#include "companions/tcp/Connection.h"

#include <algorithm>
#include <array>
#include <asio/error.hpp>
#include <system_error>

namespace Ferrolink::Companions::Tcp {
namespace {

// Header and beginning of a frame go out together.
constexpr std::size_t kFirstPiece = 16U << 10U;

// Memory for a frame grows with what has arrived of it, so that an announced length alone costs
// nothing.
constexpr std::size_t kFirstRoom = 64U << 10U;

}  // namespace

Wire::GreetingBytes Connection::receiveGreeting() {
  Wire::GreetingBytes greeting{};
  std::size_t got = 0;
  while (got < greeting.size()) {
    asio::error_code error;
    got += readSome(asio::buffer(greeting) + got, error);
    if (error == asio::error::eof && got > 0) {
      break;
    }
    if (error) {
      throw std::system_error(error);
    }
  }
  return greeting;
}

void Connection::send(Wire::Status status, std::span<const std::uint8_t> bytes) {
  if (bytes.size() > m_limit) {
    throw FrameTooLong(bytes.size(), m_limit);
  }
  std::array<std::uint8_t, kFirstPiece> first;
  const auto header = Wire::frameHeader(static_cast<std::uint32_t>(bytes.size()), status);
  const std::size_t taken = std::min(bytes.size(), first.size() - header.size());
  std::copy(header.begin(), header.end(), first.begin());
  std::copy_n(bytes.begin(), taken, first.begin() + header.size());
  writeAll(std::span(first).first(header.size() + taken));
  writeAll(bytes.subspan(taken));
}

std::optional<Frame> Connection::receive() {
  std::array<std::uint8_t, Wire::kFrameHeaderSize> header{};
  if (!readAllOrNothing(header)) {
    return std::nullopt;
  }
  const std::size_t length = Wire::frameLength(header);
  if (length > m_limit) {
    throw FrameTooLong(length, m_limit);
  }
  Frame frame{static_cast<Wire::Status>(header.back()), {}};
  for (std::size_t got = 0; got < length; got = frame.bytes.size()) {
    const std::size_t piece = std::min(length - got, std::max(got, kFirstRoom));
    frame.bytes.resize(got + piece);
    readAll(std::span(frame.bytes).subspan(got));
  }
  return frame;
}

void Connection::writeAll(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    asio::error_code error;
    const std::size_t written = writeSome(asio::buffer(bytes.data(), bytes.size()), error);
    if (error) {
      throw std::system_error(error);
    }
    bytes = bytes.subspan(written);
  }
}

void Connection::readAll(std::span<std::uint8_t> bytes) {
  if (!bytes.empty() && !readAllOrNothing(bytes)) {
    throw std::system_error(asio::error::make_error_code(asio::error::eof));
  }
}

bool Connection::readAllOrNothing(std::span<std::uint8_t> bytes) {
  bool nothing = true;
  while (!bytes.empty()) {
    asio::error_code error;
    const std::size_t got = readSome(asio::buffer(bytes.data(), bytes.size()), error);
    if (nothing && error == asio::error::eof) {
      return false;
    }
    if (error) {
      throw std::system_error(error);
    }
    nothing = false;
    bytes = bytes.subspan(got);
  }
  return true;
}

}  // namespace Ferrolink::Companions::Tcp
