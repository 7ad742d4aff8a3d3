#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTERROR_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTERROR_H

#include <stdexcept>
#include <string>
#include <system_error>

#include "companions/tcp/Connection.h"

/// Errors of the client libraries, in the form of the family's error texts; docs/network.md lists
/// the codes. They leave the library as std::runtime_error.
namespace Ferrolink::Companions::Tcp::Client {

enum class ClientError : char {
  NotConnected = '1',     ///< the command was not sent
  Broken = '2',           ///< the command may have been executed
  NoFerrolinkPeer = '3',  ///< the command was not sent
  Refused = '4',          ///< by the rules of TLS; the command was not sent
  TooLong = '5',
  Settings = '6',
  NoResponse = '7',
};

[[noreturn]] inline void fail(ClientError code, const std::string& text) {
  throw std::runtime_error(std::string("Network Client: Exception code 00") +
                           static_cast<char>(code) + ".\n" + text);
}

/// Why an operation on a connection ended.
inline std::string reasonOf(const std::error_code& error) {
  if (error == asio::error::eof) {
    return "it was closed by the other side";
  }
  return error.message();
}

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
