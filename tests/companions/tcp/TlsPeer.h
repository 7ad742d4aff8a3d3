#ifndef FERROLINK_TESTS_COMPANIONS_TCP_TLSPEER_H
#define FERROLINK_TESTS_COMPANIONS_TCP_TLSPEER_H

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <string_view>

#include "tests/companions/tcp/CertificateForge.h"
#include "tests/companions/tcp/Support.h"

namespace FerrolinkTest {

/// The server's side of a TLS connection, which does what it is told.
class TlsPeer {
 public:
  /// Shakes hands with the client of `socket`; `isReady` tells whether that went well.
  TlsPeer(RawSocket socket, const ForgedCertificate& certificate);

  [[nodiscard]] bool isReady() const { return m_isReady; }
  /// The name that the client asked for; empty where it asked for none.
  [[nodiscard]] std::string requestedName() const;

  /// Sends `bytes` in one record.
  TlsPeer& send(std::string_view bytes);
  /// Exactly that many bytes; fewer where the client closes.
  std::string receive(std::size_t size);
  /// Awaits the client's greeting and answers it.
  TlsPeer& greet();
  /// The number of the next command, which is received.
  std::uint32_t receiveCommand();
  /// Until the client closes.
  void awaitEnd() { receive(1); }

 private:
  RawSocket m_socket;
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> m_context;
  std::unique_ptr<SSL, decltype(&SSL_free)> m_tls;
  bool m_isReady = false;
};

}  // namespace FerrolinkTest

#endif
