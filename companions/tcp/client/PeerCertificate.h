#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_PEERCERTIFICATE_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_PEERCERTIFICATE_H

#include <openssl/ssl.h>

#include <string>

namespace Ferrolink::Companions::Tcp::Client {

/// Tells the server at the other end which of its names is meant; addresses are not told.
void AskFor(SSL* tls, const std::string& name);

/// Demands a certificate of the server for `name`, an address or a host name, and notes why one is
/// not accepted. Lives during the handshake.
class PeerCertificate {
 public:
  /// Errors: std::bad_alloc.
  PeerCertificate(SSL* tls, const std::string& name);
  PeerCertificate(const PeerCertificate&) = delete;
  PeerCertificate& operator=(const PeerCertificate&) = delete;
  ~PeerCertificate();

  /// Empty where there is none.
  [[nodiscard]] const std::string& Complaint() const { return m_complaint; }

 private:
  static int Judge(int isAccepted, X509_STORE_CTX* context);

  SSL* const m_tls;
  const std::string m_name;
  std::string m_complaint;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
