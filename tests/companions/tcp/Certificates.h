#ifndef FERROLINK_TESTS_COMPANIONS_TCP_CERTIFICATES_H
#define FERROLINK_TESTS_COMPANIONS_TCP_CERTIFICATES_H

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"

namespace Ferrolink::Tests {

/// A certificate and its key, made for a test, and their PEM files.
class Certificate {
 public:
  struct Wish {
    std::string address = "127.0.0.1";  ///< none where empty: an authority
    long firstSecond = -3600;           ///< from now
    long lastSecond = 3600;
    const Certificate* issuer = nullptr;  ///< none: self-signed
    std::string password;                 ///< of the key file; none where empty
    std::string purpose;                  ///< such as serverAuth; any where empty
  };

  explicit Certificate(const Wish& wish);

  [[nodiscard]] std::string File() const { return (m_directory.Path() / "certificate").string(); }
  /// The subject in the form of RFC 2253.
  [[nodiscard]] std::string Subject() const;
  /// A list of the certificates that this authority has revoked (PEM).
  [[nodiscard]] std::string RevocationList(const std::vector<const Certificate*>& revoked) const;
  [[nodiscard]] std::string KeyFile() const { return (m_directory.Path() / "key").string(); }

 private:
  template <class Owned, void (*release)(Owned*)>
  struct Release {
    void operator()(Owned* owned) const { release(owned); }
  };

  void Write(const std::string& password) const;

  TemporaryDirectory m_directory;
  std::unique_ptr<EVP_PKEY, Release<EVP_PKEY, EVP_PKEY_free>> m_key;
  std::unique_ptr<X509, Release<X509, X509_free>> m_certificate;
};

}  // namespace Ferrolink::Tests

#endif
