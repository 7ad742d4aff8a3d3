#ifndef FERROLINK_TESTS_COMPANIONS_TCP_CERTIFICATEFORGE_H
#define FERROLINK_TESTS_COMPANIONS_TCP_CERTIFICATEFORGE_H

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"

namespace Ferrolink::Tests {

/// A certificate with any contents, its key, and their PEM files.
class ForgedCertificate {
 public:
  struct Wish {
    std::string names;                 ///< subjectAltName; none where empty
    std::string constraints;           ///< basicConstraints; none where empty
    std::string usage;                 ///< extendedKeyUsage; none where empty
    bool hasUnknownExtension = false;  ///< a critical one
    int rsaBits = 0;                   ///< a key on P-256 where 0
    const char* digest = "SHA256";
    long firstSecond = -3600;  ///< from now
    long lastSecond = 3600;
    const ForgedCertificate* issuer = nullptr;    ///< none: self-signed
    std::vector<const ForgedCertificate*> shown;  ///< behind it in the file
  };

  explicit ForgedCertificate(const Wish& wish);

  /// An authority. A `pathLength` that is not negative limits the number of authorities below it.
  static Wish Authority(const ForgedCertificate* issuer = nullptr, int pathLength = -1);
  /// For a server at 127.0.0.1.
  static Wish Server(const ForgedCertificate& issuer);

  [[nodiscard]] std::string File() const { return (m_directory.Path() / "certificate").string(); }
  [[nodiscard]] std::string KeyFile() const { return (m_directory.Path() / "key").string(); }
  [[nodiscard]] std::string Text() const;

  /// For authorities: a list of revoked certificates, in PEM, valid for that long.
  [[nodiscard]] std::string RevocationList(const std::vector<const ForgedCertificate*>& revoked,
                                           long lastSecond = 3600) const;

 private:
  template <class Owned, void (*release)(Owned*)>
  struct Release {
    void operator()(Owned* owned) const { release(owned); }
  };

  void Extend(const Wish& wish);

  TemporaryDirectory m_directory;
  std::unique_ptr<EVP_PKEY, Release<EVP_PKEY, EVP_PKEY_free>> m_key;
  std::unique_ptr<X509, Release<X509, X509_free>> m_certificate;
};

/// Replaces the contents of `file` with `text`.
void WriteFile(const std::string& file, const std::string& text);

}  // namespace Ferrolink::Tests

#endif
