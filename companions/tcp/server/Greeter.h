#ifndef FERROLINK_COMPANIONS_TCP_SERVER_GREETER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_GREETER_H

#include <string>

#include "companions/tcp/Connection.h"

namespace Ferrolink::Companions::Tcp::Server {

/// What comes before the first frame of a connection: its first byte, the handshake of TLS, the
/// greetings. One object for each connection. Peers that speak another language are told so in
/// their own terms.
class Greeter {
 public:
  enum class State {
    Waits,    ///< for what the connection awaits; call again
    Greeted,  ///< frames may come
    Refused,  ///< see why(); what was sent should arrive before the connection is closed
    Gone,     ///< the peer has closed without a word
  };

  explicit Greeter(bool usesTls) : m_usesTls(usesTls) {}

  /// Goes as far as the connection can. Raises nothing of the connection's.
  State Advance(Connection& connection);

  [[nodiscard]] const std::string& Why() const { return m_why; }
  /// Whether it was the handshake that failed.
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
