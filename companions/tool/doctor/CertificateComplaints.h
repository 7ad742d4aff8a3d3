#ifndef FERROLINK_COMPANIONS_TOOL_DOCTOR_CERTIFICATECOMPLAINTS_H
#define FERROLINK_COMPANIONS_TOOL_DOCTOR_CERTIFICATECOMPLAINTS_H

#include <openssl/ssl.h>

#include <set>
#include <string>

#include "companions/tool/doctor/Finding.h"

namespace Ferrolink::Companions::Tool {

/// What is wrong with the certificate of a server.
class CertificateComplaints {
 public:
  /// Notes what OpenSSL finds in the handshake, which goes on nevertheless. This must live until
  /// the handshake is over.
  void NoteThoseOf(SSL* tls);

  [[nodiscard]] bool HaveDate() const { return !m_date.empty(); }

  /// Adds a finding for each subject. `namesAuthorities`: the user has named a file of authorities.
  void Report(const std::string& server, bool namesAuthorities, Findings& findings) const;

 private:
  using Texts = std::set<std::string>;

  static int Note(int accepted, X509_STORE_CTX* context);
  Texts& SubjectOf(int error);

  // Texts of OpenSSL, by subject.
  Texts m_name;
  Texts m_date;
  Texts m_revocation;
  Texts m_revocationList;
  Texts m_chain;
};

}  // namespace Ferrolink::Companions::Tool

#endif
