#include "companions/tcp/TlsConnection.h"

#include <openssl/err.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <asio/error.hpp>
#include <asio/ssl/error.hpp>
#include <cstdint>
#include <memory>
#include <string_view>

// The files and the rules that TLS goes by.
namespace Ferrolink::Companions::Tcp {
namespace {

constexpr const char* kPasswordNeeded =
    "it is encrypted, and there is nobody to ask for its password. Give a key without one";

void require(const asio::error_code& error, const std::string& what, const std::string& file) {
  if (error) {
    throw TlsFileError("Cannot use " + what + " '" + file + "': " + error.message() + ".");
  }
}

asio::error_code lastError() {
  return {static_cast<int>(ERR_get_error()), asio::error::get_ssl_category()};
}

std::string textOf(const ASN1_TIME* time) {
  const std::unique_ptr<BIO, int (*)(BIO*)> memory(BIO_new(BIO_s_mem()), BIO_free);
  if (!memory || ASN1_TIME_print(memory.get(), time) != 1) {
    return "an unknown time";
  }
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

// Without a callback OpenSSL would ask for a key's password on the terminal.
std::string nobodyKnowsThePassword(std::size_t /*length*/,
                                   asio::ssl::context::password_purpose /*purpose*/) {
  return {};
}

}  // namespace

TlsContext makeTlsContext(asio::ssl::context::method method) {
  auto context = std::make_shared<asio::ssl::context>(method);
  SSL_CTX* native = context->native_handle();
  SSL_CTX_set_min_proto_version(native, TLS1_2_VERSION);
  SSL_CTX_set_options(native, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_TICKET);
  SSL_CTX_set_num_tickets(native, 0);
  SSL_CTX_set_session_cache_mode(native, SSL_SESS_CACHE_OFF);
  context->set_password_callback(nobodyKnowsThePassword);
  return context;
}

void useCertificate(asio::ssl::context& context, const std::string& certificateFile,
                    const std::string& keyFile) {
  asio::error_code error;
  context.use_certificate_chain_file(certificateFile, error);
  require(error, "the certificate", certificateFile);
  bool passwordAsked = false;
  context.set_password_callback([&passwordAsked](std::size_t, auto) {
    passwordAsked = true;
    return std::string();
  });
  context.use_private_key_file(keyFile, asio::ssl::context::pem, error);
  context.set_password_callback(nobodyKnowsThePassword);
  if (error && passwordAsked) {
    throw TlsFileError("Cannot use the key '" + keyFile + "': " + kPasswordNeeded + ".");
  }
  // A key of another kind than the certificate's is noticed by the second question alone.
  if (!error && SSL_CTX_check_private_key(context.native_handle()) != 1) {
    error = lastError();
  }
  require(error, "the key", keyFile);
}

void useAuthorities(asio::ssl::context& context, const std::string& file) {
  asio::error_code error;
  context.load_verify_file(file, error);
  require(error, "the authorities", file);
}

void useRevocationList(asio::ssl::context& context, const std::string& file) {
  ERR_clear_error();
  X509_STORE* store = SSL_CTX_get_cert_store(context.native_handle());
  X509_LOOKUP* lookup = X509_STORE_add_lookup(store, X509_LOOKUP_file());
  if (lookup == nullptr || X509_load_crl_file(lookup, file.c_str(), X509_FILETYPE_PEM) < 1) {
    require(lastError(), "the revocation list", file);
    throw TlsFileError("Cannot use the revocation list '" + file + "': there is none in it.");
  }
}

void heedRevocationLists(asio::ssl::context& context) {
  X509_STORE* store = SSL_CTX_get_cert_store(context.native_handle());
  const STACK_OF(X509_OBJECT)* objects = X509_STORE_get0_objects(store);
  for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
    if (X509_OBJECT_get_type(sk_X509_OBJECT_value(objects, i)) == X509_LU_CRL) {
      X509_STORE_set_flags(store, X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
      return;
    }
  }
}

std::string whyNotValidNow(asio::ssl::context& context) {
  const X509* certificate = SSL_CTX_get0_certificate(context.native_handle());
  if (certificate == nullptr) {
    return {};
  }
  const ASN1_TIME* first = X509_get0_notBefore(certificate);
  const ASN1_TIME* last = X509_get0_notAfter(certificate);
  if (X509_cmp_current_time(last) < 0) {
    return "it was valid until " + textOf(last);
  }
  if (X509_cmp_current_time(first) > 0) {
    return "it is valid from " + textOf(first) + " on";
  }
  return {};
}

}  // namespace Ferrolink::Companions::Tcp
