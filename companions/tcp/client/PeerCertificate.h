#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_PEERCERTIFICATE_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_PEERCERTIFICATE_H

#include <openssl/ssl.h>

#include <string>

namespace Ferrolink::Companions::Tcp::Client {

/// Sends `name` as SNI, unless it is an address.
void AskFor(SSL* tls, const std::string& name);

/// Demands a certificate of the server for `name`, an address or a host name, and notes why one is
/// not accepted. Must live until the handshake ends.
class PeerCertificate {
 public:
  /// Errors: std::bad_alloc.
  PeerCertificate(SSL* tls, const std::string& name);
  PeerCertificate(const PeerCertificate&) = delete;
  PeerCertificate& operator=(const PeerCertificate&) = delete;
  ~PeerCertificate();

  /// Why the certificate was not accepted; empty if it was.
  [[nodiscard]] const std::string& Complaint() const { return m_complaint; }

 private:
  static int Judge(int isAccepted, X509_STORE_CTX* context);

  SSL* const m_tls;
  const std::string m_name;
  std::string m_complaint;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
