#include "companions/tcp/client/PeerCertificate.h"

#include <openssl/bio.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <asio/ip/address.hpp>
#include <cstddef>
#include <exception>
#include <memory>
#include <new>

namespace Ferrolink::Companions::Tcp::Client {
namespace {

bool IsAddress(const std::string& name) {
  asio::error_code error;
  static_cast<void>(asio::ip::make_address(name, error));
  return !error;
}

void FreeNames(GENERAL_NAMES* names) {
  GENERAL_NAMES_free(names);
}

// The names that a certificate is for, such as "DNS:a.example, IP Address:10.0.0.1".
std::string NamesOf(const X509* certificate) {
  const std::unique_ptr<GENERAL_NAMES, decltype(&FreeNames)> names(
      static_cast<GENERAL_NAMES*>(
          X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)),
      &FreeNames);
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), &BIO_free);
  if (names == nullptr || memory == nullptr) {
    return "nothing";
  }
  for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
    if (i > 0) {
      BIO_puts(memory.get(), ", ");
    }
    GENERAL_NAME_print(memory.get(), sk_GENERAL_NAME_value(names.get(), i));
  }
  constexpr long kLongest = 1000;
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return std::string(text, static_cast<std::size_t>(std::min(length, kLongest)));
}

}  // namespace

void AskFor(SSL* tls, const std::string& name) {
  if (!IsAddress(name) && SSL_set_tlsext_host_name(tls, name.c_str()) != 1) {
    throw std::bad_alloc();
  }
}

PeerCertificate::PeerCertificate(SSL* tls, const std::string& name) : m_tls(tls), m_name(name) {
  X509_VERIFY_PARAM* parameters = SSL_get0_param(tls);
  X509_VERIFY_PARAM_set_hostflags(parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
  const int done = IsAddress(name)
                       ? X509_VERIFY_PARAM_set1_ip_asc(parameters, name.c_str())
                       : X509_VERIFY_PARAM_set1_host(parameters, name.data(), name.size());
  if (done != 1 || SSL_set_app_data(tls, this) != 1) {
    throw std::bad_alloc();
  }
  SSL_set_verify(tls, SSL_VERIFY_PEER, Judge);
}

PeerCertificate::~PeerCertificate() {
  SSL_set_app_data(m_tls, nullptr);
}

// Called within OpenSSL, for each certificate of a chain.
int PeerCertificate::Judge(int isAccepted, X509_STORE_CTX* context) {
  if (isAccepted == 1) {
    return 1;
  }
  auto* tls =
      static_cast<SSL*>(X509_STORE_CTX_get_ex_data(context, SSL_get_ex_data_X509_STORE_CTX_idx()));
  auto& self = *static_cast<PeerCertificate*>(SSL_get_app_data(tls));
  const int error = X509_STORE_CTX_get_error(context);
  try {
    self.m_complaint = X509_verify_cert_error_string(error);
    if (error == X509_V_ERR_HOSTNAME_MISMATCH || error == X509_V_ERR_IP_ADDRESS_MISMATCH) {
      self.m_complaint += " ('" + self.m_name + "' is expected, the certificate is for " +
                          NamesOf(X509_STORE_CTX_get_current_cert(context)) + ")";
    }
  } catch (const std::exception&) {
    return 0;
  }
  return 0;
}

}  // namespace Ferrolink::Companions::Tcp::Client
