#include "companions/tool/doctor/CertificateComplaints.h"

#include <openssl/x509_vfy.h>

namespace Ferrolink::Companions::Tool {

void CertificateComplaints::NoteThoseOf(SSL* tls) {
  SSL_set_app_data(tls, this);
  SSL_set_verify(tls, SSL_VERIFY_PEER, Note);
}

int CertificateComplaints::Note(int accepted, X509_STORE_CTX* context) {
  if (accepted != 1) {
    auto* tls = static_cast<SSL*>(
        X509_STORE_CTX_get_ex_data(context, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto& complaints = *static_cast<CertificateComplaints*>(SSL_get_app_data(tls));
    const int error = X509_STORE_CTX_get_error(context);
    complaints.SubjectOf(error).insert(X509_verify_cert_error_string(error));
  }
  return 1;
}

CertificateComplaints::Texts& CertificateComplaints::SubjectOf(int error) {
  switch (error) {
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
      return m_name;
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return m_date;
    case X509_V_ERR_CERT_REVOKED:
      return m_revocation;
    case X509_V_ERR_UNABLE_TO_GET_CRL:
    case X509_V_ERR_CRL_HAS_EXPIRED:
      return m_revocationList;
    default:
      return m_chain;
  }
}

void CertificateComplaints::Report(const std::string& server, bool namesAuthorities,
                                   Findings& findings) const {
  const auto add = [&](const Texts& texts, const char* id, const char* text, const char* remedy,
                       const char* install = "") {
    std::string evidence;
    for (const std::string& one : texts) {
      evidence += (evidence.empty() ? "" : "; ") + one;
    }
    if (!texts.empty()) {
      findings.Add({id, text, server + ": " + evidence, remedy, install});
    }
  };
  add(m_name, "tls-name", "The certificate of the server is for another name.",
      "Call the server by a name in its certificate, or set \"name\" of the endpoint in the "
      "configuration.");
  add(m_date, "tls-expired", "The certificate of the server is not valid now.",
      "Renew the certificate; the server reads it again within a second. Check the clock of both "
      "machines.");
  add(m_revocation, "tls-revoked", "The certificate of the server is revoked.",
      "Give the server a new certificate and key (--tls-certificate, --tls-key). Find out why the "
      "old one was revoked.");
  add(m_revocationList, "tls-untrusted",
      "Whether the certificate of the server is revoked cannot be checked.",
      "Renew the revocation list: FERROLINK_TLS_CRL_FILE or \"revocationList\". Each authority in "
      "the server's chain needs a valid one.");
  add(m_chain, "tls-untrusted",
      "The certificate of the server does not come from a trusted authority.",
      "Name the authority: --tls-ca FILE here, FERROLINK_TLS_CA_FILE or \"authorities\" for "
      "programs. The server must send its whole chain.",
      namesAuthorities ? "" : "apt install ca-certificates");
}

}  // namespace Ferrolink::Companions::Tool
