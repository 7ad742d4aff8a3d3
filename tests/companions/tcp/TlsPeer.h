#ifndef FERROLINK_TESTS_COMPANIONS_TCP_TLSPEER_H
#define FERROLINK_TESTS_COMPANIONS_TCP_TLSPEER_H

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <string_view>

#include "tests/companions/tcp/CertificateForge.h"
#include "tests/companions/tcp/TcpSupport.h"

namespace Ferrolink::Tests {

/// The server's side of a TLS connection, which does what it is told.
class TlsPeer {
 public:
  /// Shakes hands with the client of `socket`; `IsReady` tells whether that went well.
  TlsPeer(RawSocket socket, const ForgedCertificate& certificate);

  [[nodiscard]] bool IsReady() const { return m_isReady; }
  /// The name that the client asked for; empty where it asked for none.
  [[nodiscard]] std::string RequestedName() const;

  /// Sends `bytes` in one record.
  TlsPeer& Send(std::string_view bytes);
  /// Exactly that many bytes; fewer where the client closes.
  std::string Receive(std::size_t size);
  /// Awaits the client's greeting and answers it.
  TlsPeer& Greet();
  /// The number of the next command, which is received.
  std::uint32_t ReceiveCommand();
  /// Until the client closes.
  void AwaitEnd() { Receive(1); }

 private:
  RawSocket m_socket;
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> m_context;
  std::unique_ptr<SSL, decltype(&SSL_free)> m_tls;
  bool m_isReady = false;
};

}  // namespace Ferrolink::Tests

#endif
