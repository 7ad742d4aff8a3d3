#ifndef FERROLINK_TESTS_FUZZ_SCRIPTEDCONNECTION_H
#define FERROLINK_TESTS_FUZZ_SCRIPTEDCONNECTION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "companions/tcp/Connection.h"
#include "tests/fuzz/Fuzzing.h"

namespace Ferrolink::Fuzz {

/// The bytes from a peer, and those to it, of one connection or of several in sequence. Bytes
/// arrive in pieces of at most `piece` bytes; `end` follows the last one.
struct Script {
  Bytes incoming;
  std::size_t piece = SIZE_MAX;
  asio::error_code end = asio::error::eof;
  std::size_t arrived = 0;
  Bytes outgoing{};
};

/// A connection without a network: frames come from a script. Its socket belongs to a pair of the
/// process and only answers queries of its state.
class ScriptedConnection : public Ferrolink::Companions::Tcp::Connection {
 public:
  using PatientSocket = Ferrolink::Companions::Tcp::PatientSocket;

  ScriptedConnection(PatientSocket socket, std::uint32_t limit, std::shared_ptr<Script> script)
      : Connection(limit), m_socket(std::move(socket)), m_script(std::move(script)) {}

  PatientSocket& Socket() override { return m_socket; }
  void Handshake(asio::error_code& error) override { error.clear(); }
  [[nodiscard]] short AwaitedEvents() const override { return 0; }
  bool IsQuiet() override { return Unread() == 0 && m_socket.IsQuiet(); }

 private:
  std::size_t ReadSome(std::span<std::uint8_t> room, asio::error_code& error) override;
  std::size_t WriteSome(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes,
                        asio::error_code& error) override;

  PatientSocket m_socket;
  const std::shared_ptr<Script> m_script;
};

/// A pair of connected non-blocking stream sockets. Owns the peer's end, and this side's until it
/// is taken.
class SocketPair {
 public:
  SocketPair();
  SocketPair(SocketPair&& other) noexcept
      : m_own(std::exchange(other.m_own, -1)), m_peer(std::exchange(other.m_peer, -1)) {}
  SocketPair& operator=(const SocketPair&) = delete;
  ~SocketPair();

  /// Releases this side's descriptor to the caller.
  int Take() { return std::exchange(m_own, -1); }
  [[nodiscard]] int Peer() const { return m_peer; }

 private:
  int m_own = -1;
  int m_peer = -1;
};

/// The script selected by `bits` of an input: two bits for the size of pieces, one for its end.
std::shared_ptr<Script> ScriptOf(unsigned bits, Bytes incoming);

/// Wraps an open descriptor as a socket for connections.
Ferrolink::Companions::Tcp::PatientSocket SocketOf(int descriptor);

/// A connection that reads the bytes written to `script`'s peer.
std::unique_ptr<ScriptedConnection> ReaderOf(const Script& script, std::uint32_t limit);

}  // namespace Ferrolink::Fuzz

#endif
