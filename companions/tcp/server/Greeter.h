#ifndef FERROLINK_COMPANIONS_TCP_SERVER_GREETER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_GREETER_H

#include <string>

#include "companions/tcp/Connection.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Does what precedes the first frame of one connection: the check of its first byte, the TLS
/// handshake, the greetings. A peer with another protocol gets an error in that protocol.
class Greeter {
 public:
  enum class State {
    Waits,    ///< for what the connection awaits; call again
    Greeted,  ///< frames may come
    Refused,  ///< see why(); what was sent should arrive before the connection is closed
    Gone,     ///< the peer has closed without a word
  };

  explicit Greeter(bool usesTls) : m_usesTls(usesTls) {}

  /// Continues as far as possible without blocking. Does not raise errors of the connection.
  State Advance(Connection& connection);

  [[nodiscard]] const std::string& Why() const { return m_why; }
  /// Whether the handshake failed.
  [[nodiscard]] bool IsInHandshake() const { return m_stage == Stage::Handshake; }

 private:
  enum class Stage { FirstByte, Handshake, Hello };

  State Look(Connection& connection);
  State ShakeHands(Connection& connection);
  State Greet(Connection& connection);
  State Refuse(std::string why);

  const bool m_usesTls;
  Stage m_stage = Stage::FirstByte;
  std::string m_why;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
