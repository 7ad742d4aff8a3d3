#include "tests/fuzz/ScriptedConnection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace Ferrolink::Fuzz {
namespace {

using Ferrolink::Companions::Tcp::PatientSocket;

void CloseOpen(int descriptor) {
  if (descriptor >= 0) {
    close(descriptor);
  }
}

}  // namespace

std::size_t ScriptedConnection::ReadSome(std::span<std::uint8_t> room, asio::error_code& error) {
  Script& script = *m_script;
  const std::size_t left = script.incoming.size() - script.arrived;
  const std::size_t count = std::min({left, script.piece, room.size()});
  error = count == 0 && !room.empty() ? script.end : asio::error_code();
  std::copy_n(script.incoming.begin() + static_cast<std::ptrdiff_t>(script.arrived), count,
              room.begin());
  script.arrived += count;
  return count;
}

// A piece may begin in the head and end in the following bytes.
std::size_t ScriptedConnection::WriteSome(std::span<const std::uint8_t> head,
                                          std::span<const std::uint8_t> bytes,
                                          asio::error_code& error) {
  error.clear();
  const std::size_t ofHead = std::min(m_script->piece, head.size());
  const std::size_t ofBytes = std::min(m_script->piece - ofHead, bytes.size());
  auto& outgoing = m_script->outgoing;
  outgoing.insert(outgoing.end(), head.begin(), head.begin() + static_cast<std::ptrdiff_t>(ofHead));
  outgoing.insert(outgoing.end(), bytes.begin(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(ofBytes));
  return ofHead + ofBytes;
}

SocketPair::SocketPair() {
  std::array<int, 2> ends{};
  Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) == 0,
          "there is a pair of sockets");
  m_own = ends[0];
  m_peer = ends[1];
}

SocketPair::~SocketPair() {
  CloseOpen(m_own);
  CloseOpen(m_peer);
}

std::shared_ptr<Script> ScriptOf(unsigned bits, Bytes incoming) {
  constexpr std::array<std::size_t, 4> kPieces = {SIZE_MAX, 1, 3, 100};
  auto script = std::make_shared<Script>();
  script->incoming = std::move(incoming);
  script->piece = kPieces[bits & 3U];
  script->end = (bits & 4U) == 0 ? asio::error_code(asio::error::eof)
                                 : asio::error_code(asio::error::connection_reset);
  return script;
}

PatientSocket SocketOf(int descriptor) {
  return PatientSocket(Ferrolink::Companions::FileDescriptor(descriptor));
}

std::unique_ptr<ScriptedConnection> ReaderOf(const Script& script, std::uint32_t limit) {
  SocketPair unused;
  return std::make_unique<ScriptedConnection>(SocketOf(unused.Take()), limit,
                                              ScriptOf(0, script.outgoing));
}

}  // namespace Ferrolink::Fuzz
