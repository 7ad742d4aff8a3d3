#include "companions/tcp/Connection.h"

#include <poll.h>

#include <algorithm>
#include <asio/error.hpp>
#include <cstring>
#include <system_error>

namespace Ferrolink::Companions::Tcp {
namespace {

// Up to this size a frame's bytes are copied behind its header: two spans cost the kernel more.
constexpr std::size_t kCopied = 2048;

[[noreturn]] void Raise(const asio::error_code& error) {
  throw std::system_error(error);
}

}  // namespace

short PlainConnection::AwaitedEvents() const {
  return POLLIN;
}

Wire::GreetingBytes Connection::ReceiveGreeting() {
  asio::error_code error;
  while (Unread() < Wire::kGreetingSize && !error) {
    Fill(error);
  }
  if (error && (error != asio::error::eof || Unread() == 0)) {
    Raise(error);
  }
  Wire::GreetingBytes greeting{};
  const std::size_t got = std::min(Unread(), greeting.size());
  std::copy_n(m_ahead.begin() + static_cast<std::ptrdiff_t>(m_taken), got, greeting.begin());
  m_taken += got;
  return greeting;
}

void Connection::Send(Wire::FrameHeader header, std::span<const std::uint8_t> bytes) {
  if (bytes.size() > m_limit) {
    throw FrameTooLong(bytes.size(), m_limit);
  }
  header.length = static_cast<std::uint32_t>(bytes.size());
  const Wire::FrameHeaderBytes head = Wire::ToBytes(header);
  if (bytes.size() > kCopied) {
    WriteAll(head, bytes);
    return;
  }
  std::array<std::uint8_t, Wire::kFrameHeaderSize + kCopied> whole;
  std::copy(head.begin(), head.end(), whole.begin());
  std::copy(bytes.begin(), bytes.end(), whole.begin() + head.size());
  WriteAll({}, std::span(whole).first(head.size() + bytes.size()));
}

bool Connection::ReceiveHeader(Wire::FrameHeader& header) {
  asio::error_code error;
  while (Unread() < Wire::kFrameHeaderSize && !error) {
    Fill(error);
  }
  if (error == asio::error::eof && Unread() == 0) {
    return false;
  }
  if (error) {
    Raise(error);
  }
  Wire::FrameHeaderBytes bytes;
  std::copy_n(m_ahead.begin() + static_cast<std::ptrdiff_t>(m_taken), bytes.size(), bytes.begin());
  m_taken += bytes.size();
  if (!Wire::IsWellFormed(bytes)) {
    Raise(std::make_error_code(std::errc::bad_message));
  }
  header = Wire::FromBytes(bytes);
  if (header.length > m_limit) {
    throw FrameTooLong(header.length, m_limit);
  }
  return true;
}

void Connection::ReceiveBytes(Bytes& bytes, std::size_t count) {
  const std::size_t had = bytes.size();
  bytes.resize(had + count);
  ReadAll(std::span(bytes).subspan(had));
}

bool Connection::Receive(Frame& frame) {
  if (!ReceiveHeader(frame.header)) {
    return false;
  }
  const std::size_t length = frame.header.length;
  // Overwrites existing bytes if the capacity suffices: without growth there is nothing to zero.
  if (length <= frame.bytes.capacity()) {
    frame.bytes.resize(length);
    ReadAll(frame.bytes);
    return true;
  }
  frame.bytes.clear();
  while (frame.bytes.size() < length) {
    const std::size_t got = frame.bytes.size();
    ReceiveBytes(frame.bytes, std::min(length - got, std::max(got, kFirstRoom)));
  }
  return true;
}

void Connection::WriteAll(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes) {
  while (!head.empty() || !bytes.empty()) {
    asio::error_code error;
    const std::size_t written = WriteSome(head, bytes, error);
    if (error) {
      Raise(error);
    }
    const std::size_t ofHead = std::min(written, head.size());
    head = head.subspan(ofHead);
    bytes = bytes.subspan(written - ofHead);
  }
}

void Connection::ReadAll(std::span<std::uint8_t> room) {
  while (!room.empty()) {
    asio::error_code error;
    const std::size_t got = ReadUpTo(room, error);
    if (error) {
      Raise(error);
    }
    room = room.subspan(got);
  }
}

// Takes bytes that were read ahead first. Reads a short remainder ahead as well, and a long one
// straight to its destination.
std::size_t Connection::ReadUpTo(std::span<std::uint8_t> room, asio::error_code& error) {
  if (Unread() == 0) {
    if (room.size() >= m_ahead.size()) {
      return ReadSome(room, error);
    }
    Fill(error);
    if (error) {
      return 0;
    }
  }
  const std::size_t count = std::min(Unread(), room.size());
  std::memcpy(room.data(), m_ahead.data() + m_taken, count);
  m_taken += count;
  return count;
}

// Precondition: at most the bytes of a header or a greeting are unread.
void Connection::Fill(asio::error_code& error) {
  std::memmove(m_ahead.data(), m_ahead.data() + m_taken, Unread());
  m_filled = Unread();
  m_taken = 0;
  m_filled += ReadSome(std::span(m_ahead).subspan(m_filled), error);
}

}  // namespace Ferrolink::Companions::Tcp
