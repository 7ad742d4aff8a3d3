#include "companions/tcp/TlsFiles.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <sys/stat.h>

#include <cstddef>
#include <memory>
#include <system_error>

namespace Ferrolink::Companions::Tcp {
namespace {

[[noreturn]] void Refuse(const std::string& what, const std::string& file,
                         const std::string& reason) {
  ERR_clear_error();
  throw TlsFileError("Cannot use the " + what + " '" + file + "': " + reason + ".");
}

// The text of OpenSSL's first error, which is the cause. The following errors only name callers.
std::string FirstReason() {
  const unsigned long error = ERR_peek_error();
  if (ERR_SYSTEM_ERROR(error)) {
    return std::system_category().message(ERR_GET_REASON(error));
  }
  const char* reason = ERR_reason_error_string(error);
  return reason == nullptr ? "it is no PEM file of that kind" : reason;
}

std::string TextOf(const ASN1_TIME* time) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), &BIO_free);
  if (memory == nullptr || ASN1_TIME_print(memory.get(), time) != 1) {
    return "an unknown time";
  }
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

// Without a callback OpenSSL asks for a key's password on the terminal.
int NoteQuestion(char* /*room*/, int /*size*/, int /*writing*/, void* wasAsked) {
  if (wasAsked != nullptr) {
    *static_cast<bool*>(wasAsked) = true;
  }
  return -1;
}

// Records whether OpenSSL asks for a password. The context already has this callback, without a
// place to record it.
class PasswordQuestions {
 public:
  explicit PasswordQuestions(SSL_CTX* context) : m_context(context) {
    SSL_CTX_set_default_passwd_cb_userdata(context, &m_wereAsked);
  }
  PasswordQuestions(const PasswordQuestions&) = delete;
  PasswordQuestions& operator=(const PasswordQuestions&) = delete;
  ~PasswordQuestions() { SSL_CTX_set_default_passwd_cb_userdata(m_context, nullptr); }

  [[nodiscard]] bool WereAsked() const { return m_wereAsked; }

 private:
  SSL_CTX* const m_context;
  bool m_wereAsked = false;
};

void UseKey(SSL_CTX* context, const std::string& certificateFile, const std::string& keyFile) {
  const PasswordQuestions questions(context);
  const bool isRead = SSL_CTX_use_PrivateKey_file(context, keyFile.c_str(), SSL_FILETYPE_PEM) == 1;
  if (questions.WereAsked()) {
    Refuse("key", keyFile, "it needs a password; store it without one");
  }
  // OpenSSL compares a key of the certificate's type when it reads it, but one of another type only
  // on request.
  const bool fits = isRead ? SSL_CTX_check_private_key(context) == 1
                           : ERR_GET_REASON(ERR_peek_last_error()) != X509_R_KEY_VALUES_MISMATCH;
  if (!fits) {
    Refuse("key", keyFile, "it does not fit the certificate '" + certificateFile + "'");
  }
  if (!isRead) {
    Refuse("key", keyFile, FirstReason());
  }
}

}  // namespace

TlsContext MakeTlsContext(asio::ssl::context::method method) {
  auto context = std::make_shared<asio::ssl::context>(method);
  SSL_CTX* native = context->native_handle();
  SSL_CTX_set_min_proto_version(native, TLS1_2_VERSION);
  SSL_CTX_set_options(native, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_TICKET);
  SSL_CTX_set_num_tickets(native, 0);
  SSL_CTX_set_session_cache_mode(native, SSL_SESS_CACHE_OFF);
  SSL_CTX_set_default_passwd_cb(native, NoteQuestion);
  return context;
}

void UseCertificate(asio::ssl::context& context, const std::string& certificateFile,
                    const std::string& keyFile) {
  ERR_clear_error();
  SSL_CTX* native = context.native_handle();
  if (SSL_CTX_use_certificate_chain_file(native, certificateFile.c_str()) != 1) {
    Refuse("certificate", certificateFile, FirstReason());
  }
  UseKey(native, certificateFile, keyFile);
}

void UseAuthorities(asio::ssl::context& context, const std::string& file) {
  ERR_clear_error();
  if (SSL_CTX_load_verify_file(context.native_handle(), file.c_str()) != 1) {
    Refuse("authorities", file, FirstReason());
  }
}

void UseRevocationList(asio::ssl::context& context, const std::string& file) {
  ERR_clear_error();
  X509_STORE* store = SSL_CTX_get_cert_store(context.native_handle());
  X509_LOOKUP* lookup = X509_STORE_add_lookup(store, X509_LOOKUP_file());
  if (lookup == nullptr || X509_load_crl_file(lookup, file.c_str(), X509_FILETYPE_PEM) < 1) {
    Refuse("revocation list", file, FirstReason());
  }
}

void HeedRevocationLists(asio::ssl::context& context) {
  X509_STORE* store = SSL_CTX_get_cert_store(context.native_handle());
  const STACK_OF(X509_OBJECT)* objects = X509_STORE_get0_objects(store);
  for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
    if (X509_OBJECT_get_type(sk_X509_OBJECT_value(objects, i)) == X509_LU_CRL) {
      X509_STORE_set_flags(store, X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
      return;
    }
  }
}

std::string WhyNotValidNow(asio::ssl::context& context) {
  const X509* certificate = SSL_CTX_get0_certificate(context.native_handle());
  if (certificate == nullptr) {
    return {};
  }
  const ASN1_TIME* first = X509_get0_notBefore(certificate);
  const ASN1_TIME* last = X509_get0_notAfter(certificate);
  if (X509_cmp_current_time(last) < 0) {
    return "it was valid until " + TextOf(last);
  }
  if (X509_cmp_current_time(first) > 0) {
    return "it is valid from " + TextOf(first) + " on";
  }
  return {};
}

std::string FileStamp(const std::string& path) {
  struct stat status {};
  if (path.empty() || stat(path.c_str(), &status) != 0) {
    return {};
  }
  std::string stamp;
  for (const auto number :
       {static_cast<long long>(status.st_dev), static_cast<long long>(status.st_ino),
        static_cast<long long>(status.st_size), static_cast<long long>(status.st_mtim.tv_sec),
        static_cast<long long>(status.st_mtim.tv_nsec),
        static_cast<long long>(status.st_ctim.tv_sec),
        static_cast<long long>(status.st_ctim.tv_nsec)}) {
    stamp += std::to_string(number) + " ";
  }
  return stamp;
}

}  // namespace Ferrolink::Companions::Tcp
