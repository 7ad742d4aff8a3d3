#ifndef FERROLINK_TESTS_COMPANIONS_TCP_TLSPEER_H
#define FERROLINK_TESTS_COMPANIONS_TCP_TLSPEER_H

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <string_view>

#include "tests/companions/tcp/CertificateForge.h"
#include "tests/companions/tcp/TcpSupport.h"

namespace Ferrolink::Tests {

/// The server's side of a TLS connection, under the test's control.
class TlsPeer {
 public:
  /// Does the handshake with the client of `socket`; `IsReady` tells whether it succeeded.
  TlsPeer(RawSocket socket, const ForgedCertificate& certificate);

  [[nodiscard]] bool IsReady() const { return m_isReady; }
  /// The name in the client's SNI; empty without one.
  [[nodiscard]] std::string RequestedName() const;

  /// Sends `bytes` in one record.
  TlsPeer& Send(std::string_view bytes);
  /// Exactly that many bytes; fewer if the client closes.
  std::string Receive(std::size_t size);
  /// Waits for the client's greeting and answers it.
  TlsPeer& Greet();
  /// Receives the next command and returns its number.
  std::uint32_t ReceiveCommand();
  /// Waits until the client closes.
  void AwaitEnd() { Receive(1); }

 private:
  RawSocket m_socket;
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> m_context;
  std::unique_ptr<SSL, decltype(&SSL_free)> m_tls;
  bool m_isReady = false;
};

}  // namespace Ferrolink::Tests

#endif
