#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTERROR_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTERROR_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>

#include "companions/tcp/Connection.h"

/// Errors of the client libraries, in the form of the family's error texts. docs/network.md lists
/// the codes, and for each whether the command may have been executed. They leave the library as
/// std::runtime_error.
namespace Ferrolink::Companions::Tcp::Client {

enum class ClientError : std::uint8_t {
  NotConnected = 1,
  Broken = 2,  ///< after the first byte of the command; it may have been executed
  NoFerrolinkPeer = 3,
  Refused = 4,  ///< by the rules of TLS
  TooLong = 5,  ///< the command
  Settings = 6,
  NoResponse = 7,
  NotBegun = 8,        ///< says the server
  TimeOver = 9,        ///< before the server began the command
  TimeOverSent = 10,   ///< after the first byte of the command; it may have been executed
  AnswerTooLong = 11,  ///< the command was executed
};

class ClientFailure : public std::runtime_error {
 public:
  ClientFailure(ClientError code, const std::string& text, bool endsConnection = false)
      : std::runtime_error(Beginning(code) + text),
        m_code(code),
        m_endsConnection(endsConnection) {}

  [[nodiscard]] ClientError Code() const { return m_code; }
  /// The text without the line that has the code.
  [[nodiscard]] std::string Text() const { return what() + Beginning(m_code).size(); }

  /// Whether the command may be tried on another connection: nothing was executed, and the server
  /// is the reason. A refusal of the command itself would be the same everywhere.
  [[nodiscard]] bool LeavesOthersToTry() const {
    return m_code == ClientError::NotConnected || m_code == ClientError::NoFerrolinkPeer ||
           m_code == ClientError::Refused || (m_code == ClientError::NotBegun && m_endsConnection);
  }

 private:
  static std::string Beginning(ClientError code) {
    const std::string number = std::to_string(static_cast<int>(code));
    return "Network Client: Exception code " + std::string(3 - number.size(), '0') + number + ".\n";
  }

  const ClientError m_code;
  const bool m_endsConnection;
};

[[noreturn]] inline void Fail(ClientError code, const std::string& text) {
  throw ClientFailure(code, text);
}

/// Why an operation on a connection ended.
inline std::string ReasonOf(const std::error_code& error) {
  if (error == asio::error::eof) {
    return "it was closed by the other side";
  }
  return error.message();
}

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
