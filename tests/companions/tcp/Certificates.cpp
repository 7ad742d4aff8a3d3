#include "tests/companions/tcp/Certificates.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>

namespace Ferrolink::Tests {
namespace {

void Require(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(std::string("cannot ") + what);
  }
}

void AddExtension(X509* certificate, int which, const std::string& value) {
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, which, value.c_str());
  Require(extension != nullptr, "make an extension");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

void SetName(X509_NAME* name, const std::string& text) {
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(text.c_str()), -1, -1, 0);
}

}  // namespace

Certificate::Certificate(const Wish& wish) : m_key(EVP_EC_gen("P-256")), m_certificate(X509_new()) {
  static long serial = 1;
  X509* made = m_certificate.get();
  X509_set_version(made, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(made), serial++);
  X509_gmtime_adj(X509_getm_notBefore(made), wish.firstSecond);
  X509_gmtime_adj(X509_getm_notAfter(made), wish.lastSecond);
  X509_set_pubkey(made, m_key.get());
  SetName(X509_get_subject_name(made), "Ferrolink test " + std::to_string(serial));
  const Certificate& issuer = wish.issuer == nullptr ? *this : *wish.issuer;
  X509_set_issuer_name(made, X509_get_subject_name(issuer.m_certificate.get()));
  if (wish.address.empty()) {
    AddExtension(made, NID_basic_constraints, "critical,CA:TRUE");
    AddExtension(made, NID_key_usage, "critical,keyCertSign,cRLSign");
  } else {
    AddExtension(made, NID_subject_alt_name, "IP:" + wish.address);
    if (!wish.purpose.empty()) {
      AddExtension(made, NID_ext_key_usage, wish.purpose);
    }
  }
  Require(X509_sign(made, issuer.m_key.get(), EVP_sha256()) > 0, "sign a certificate");
  Write(wish.password);
}

std::string Certificate::Subject() const {
  char* text = nullptr;
  BIO* memory = BIO_new(BIO_s_mem());
  X509_NAME_print_ex(memory, X509_get_subject_name(m_certificate.get()), 0, XN_FLAG_RFC2253);
  const long size = BIO_get_mem_data(memory, &text);
  std::string subject(text, static_cast<std::size_t>(size));
  BIO_free(memory);
  return subject;
}

std::string Certificate::RevocationList(const std::vector<const Certificate*>& revoked) const {
  const std::unique_ptr<X509_CRL, decltype(&X509_CRL_free)> list(X509_CRL_new(), X509_CRL_free);
  X509_CRL_set_version(list.get(), X509_CRL_VERSION_2);
  X509_CRL_set_issuer_name(list.get(), X509_get_subject_name(m_certificate.get()));
  const std::unique_ptr<ASN1_TIME, decltype(&ASN1_TIME_free)> time(X509_gmtime_adj(nullptr, -60),
                                                                   ASN1_TIME_free);
  X509_CRL_set1_lastUpdate(list.get(), time.get());
  for (const Certificate* each : revoked) {
    X509_REVOKED* entry = X509_REVOKED_new();
    X509_REVOKED_set_serialNumber(entry, X509_get_serialNumber(each->m_certificate.get()));
    X509_REVOKED_set_revocationDate(entry, time.get());
    X509_CRL_add0_revoked(list.get(), entry);
  }
  X509_gmtime_adj(time.get(), 3600);
  X509_CRL_set1_nextUpdate(list.get(), time.get());
  Require(X509_CRL_sign(list.get(), m_key.get(), EVP_sha256()) > 0, "sign a revocation list");
  BIO* memory = BIO_new(BIO_s_mem());
  PEM_write_bio_X509_CRL(memory, list.get());
  char* text = nullptr;
  const long size = BIO_get_mem_data(memory, &text);
  std::string pem(text, static_cast<std::size_t>(size));
  BIO_free(memory);
  return pem;
}

void Certificate::Write(const std::string& password) const {
  const auto inFile = [](const std::string& path, auto action) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    Require(file != nullptr && action(file) == 1, "write a PEM file");
    std::fclose(file);
  };
  inFile(File(), [&](std::FILE* out) { return PEM_write_X509(out, m_certificate.get()); });
  inFile(KeyFile(), [&](std::FILE* out) {
    return PEM_write_PKCS8PrivateKey(
        out, m_key.get(), password.empty() ? nullptr : EVP_aes_256_cbc(), password.data(),
        static_cast<int>(password.size()), nullptr, nullptr);
  });
}

}  // namespace Ferrolink::Tests
