#include "tests/companions/tcp/CertificateForge.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <fstream>
#include <stdexcept>

namespace Ferrolink::Tests {
namespace {

void Require(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(std::string("cannot ") + what);
  }
}

// The text that `write` writes.
template <class Write>
std::string PemOf(Write write) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), &BIO_free);
  Require(write(memory.get()) == 1, "write PEM");
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

void AddExtension(X509* certificate, int which, const std::string& value) {
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, which, value.c_str());
  Require(extension != nullptr, "make an extension");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

void AddUnknownExtension(X509* certificate) {
  ASN1_OBJECT* type = OBJ_txt2obj("1.3.6.1.4.1.99999.1", 1);
  ASN1_OCTET_STRING* value = ASN1_OCTET_STRING_new();
  ASN1_OCTET_STRING_set(value, reinterpret_cast<const unsigned char*>("\5\0"), 2);
  X509_EXTENSION* extension = X509_EXTENSION_create_by_OBJ(nullptr, type, 1, value);
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
  ASN1_OCTET_STRING_free(value);
  ASN1_OBJECT_free(type);
}

}  // namespace

void WriteFile(const std::string& file, const std::string& text) {
  std::ofstream(file) << text;
}

ForgedCertificate::Wish ForgedCertificate::Authority(const ForgedCertificate* issuer,
                                                     int pathLength) {
  Wish wish;
  wish.issuer = issuer;
  wish.constraints = "critical,CA:TRUE";
  if (pathLength >= 0) {
    wish.constraints += ",pathlen:" + std::to_string(pathLength);
  }
  return wish;
}

ForgedCertificate::Wish ForgedCertificate::Server(const ForgedCertificate& issuer) {
  Wish wish;
  wish.issuer = &issuer;
  wish.names = "IP:127.0.0.1";
  return wish;
}

ForgedCertificate::ForgedCertificate(const Wish& wish)
    : m_key(wish.rsaBits == 0 ? EVP_EC_gen("P-256")
                              : EVP_RSA_gen(static_cast<unsigned>(wish.rsaBits))),
      m_certificate(X509_new()) {
  static long serial = 1000;
  X509* made = m_certificate.get();
  X509_set_version(made, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(made), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(made), wish.firstSecond);
  X509_gmtime_adj(X509_getm_notAfter(made), wish.lastSecond);
  X509_set_pubkey(made, m_key.get());
  const std::string name = "Ferrolink forge " + std::to_string(serial);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(made), "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
  const ForgedCertificate& issuer = wish.issuer == nullptr ? *this : *wish.issuer;
  X509_set_issuer_name(made, X509_get_subject_name(issuer.m_certificate.get()));
  Extend(wish);
  Require(X509_sign(made, issuer.m_key.get(), EVP_get_digestbyname(wish.digest)) > 0,
          "sign a certificate");
  std::string chain = Text();
  for (const ForgedCertificate* shown : wish.shown) {
    chain += shown->Text();
  }
  WriteFile(File(), chain);
  WriteFile(KeyFile(), PemOf([&](BIO* out) {
              return PEM_write_bio_PrivateKey(out, m_key.get(), nullptr, nullptr, 0, nullptr,
                                              nullptr);
            }));
}

void ForgedCertificate::Extend(const Wish& wish) {
  X509* made = m_certificate.get();
  if (!wish.names.empty()) {
    AddExtension(made, NID_subject_alt_name, wish.names);
  }
  if (!wish.constraints.empty()) {
    AddExtension(made, NID_basic_constraints, wish.constraints);
  }
  if (!wish.usage.empty()) {
    AddExtension(made, NID_ext_key_usage, wish.usage);
  }
  if (wish.hasUnknownExtension) {
    AddUnknownExtension(made);
  }
}

std::string ForgedCertificate::Text() const {
  return PemOf([&](BIO* out) { return PEM_write_bio_X509(out, m_certificate.get()); });
}

std::string ForgedCertificate::RevocationList(const std::vector<const ForgedCertificate*>& revoked,
                                              long lastSecond) const {
  const std::unique_ptr<X509_CRL, decltype(&X509_CRL_free)> list(X509_CRL_new(), &X509_CRL_free);
  X509_CRL_set_version(list.get(), X509_CRL_VERSION_2);
  X509_CRL_set_issuer_name(list.get(), X509_get_subject_name(m_certificate.get()));
  ASN1_TIME* time = ASN1_TIME_new();
  X509_gmtime_adj(time, -7200);
  X509_CRL_set1_lastUpdate(list.get(), time);
  for (const ForgedCertificate* each : revoked) {
    X509_REVOKED* entry = X509_REVOKED_new();
    X509_REVOKED_set_serialNumber(entry, X509_get_serialNumber(each->m_certificate.get()));
    X509_REVOKED_set_revocationDate(entry, time);
    X509_CRL_add0_revoked(list.get(), entry);
  }
  X509_gmtime_adj(time, lastSecond);
  X509_CRL_set1_nextUpdate(list.get(), time);
  ASN1_TIME_free(time);
  Require(X509_CRL_sign(list.get(), m_key.get(), EVP_sha256()) > 0, "sign a list");
  return PemOf([&](BIO* out) { return PEM_write_bio_X509_CRL(out, list.get()); });
}

}  // namespace Ferrolink::Tests
