#include "companions/tcp/client/TlsContexts.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "companions/tcp/client/ClientError.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

// Whoever uses more choices than these makes all contexts anew.
constexpr std::size_t kMostContexts = 64;

[[noreturn]] void refuse(const std::string& what, const std::string& file,
                         const std::string& reason) {
  fail(ClientError::Settings,
       "Cannot use the " + what + " '" + file + "': " + reason + ". The command was not sent.");
}

// What OpenSSL met first; what follows says where.
std::string firstReason() {
  const unsigned long error = ERR_peek_error();
  const char* reason = ERR_reason_error_string(error);
  if (ERR_SYSTEM_ERROR(error)) {
    return std::system_category().message(ERR_GET_REASON(error));
  }
  return reason == nullptr ? "it is no PEM file of that kind" : reason;
}

std::string variableOr(const char* variable, const char* usual) {
  const char* text = std::getenv(variable);
  return text == nullptr || *text == '\0' ? usual : text;
}

// All that a context is made of.
std::vector<std::string> filesOf(const TlsSettings& settings) {
  std::vector<std::string> files{settings.certificate, settings.key, settings.revocationList,
                                 settings.authorities};
  if (settings.authorities.empty()) {
    files.push_back(variableOr(X509_get_default_cert_file_env(), X509_get_default_cert_file()));
    files.push_back(variableOr(X509_get_default_cert_dir_env(), X509_get_default_cert_dir()));
  }
  return files;
}

// Changes when the file is replaced or written.
std::string stateOf(const std::string& file) {
  struct stat status {};
  if (file.empty() || stat(file.c_str(), &status) != 0) {
    return "-";
  }
  std::string state;
  for (const auto number :
       {static_cast<long long>(status.st_dev), static_cast<long long>(status.st_ino),
        static_cast<long long>(status.st_size), static_cast<long long>(status.st_mtim.tv_sec),
        static_cast<long long>(status.st_mtim.tv_nsec),
        static_cast<long long>(status.st_ctim.tv_sec),
        static_cast<long long>(status.st_ctim.tv_nsec)}) {
    state += std::to_string(number) + " ";
  }
  return state;
}

std::string textOf(const ASN1_TIME* time) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), &BIO_free);
  std::array<char, 64> text{};
  if (memory == nullptr || ASN1_TIME_print(memory.get(), time) != 1 ||
      BIO_read(memory.get(), text.data(), static_cast<int>(text.size()) - 1) <= 0) {
    return "an unknown time";
  }
  return text.data();
}

// Called for keys with a password: there is none to give.
int noteQuestion(char* /*room*/, int /*size*/, int /*writing*/, void* wasAsked) {
  *static_cast<bool*>(wasAsked) = true;
  return -1;
}

// Answers questions for a password, of which asio's answers come back at the end.
class PasswordQuestions {
 public:
  explicit PasswordQuestions(SSL_CTX* context)
      : m_context(context),
        m_callback(SSL_CTX_get_default_passwd_cb(context)),
        m_data(SSL_CTX_get_default_passwd_cb_userdata(context)) {
    SSL_CTX_set_default_passwd_cb(context, noteQuestion);
    SSL_CTX_set_default_passwd_cb_userdata(context, &m_wereAsked);
  }
  PasswordQuestions(const PasswordQuestions&) = delete;
  PasswordQuestions& operator=(const PasswordQuestions&) = delete;
  ~PasswordQuestions() {
    SSL_CTX_set_default_passwd_cb(m_context, m_callback);
    SSL_CTX_set_default_passwd_cb_userdata(m_context, m_data);
  }

  [[nodiscard]] bool wereAsked() const { return m_wereAsked; }

 private:
  SSL_CTX* const m_context;
  pem_password_cb* const m_callback;
  void* const m_data;
  bool m_wereAsked = false;
};

void useKey(SSL_CTX* context, const TlsSettings& settings) {
  const PasswordQuestions questions(context);
  const bool isRead =
      SSL_CTX_use_PrivateKey_file(context, settings.key.c_str(), SSL_FILETYPE_PEM) == 1;
  if (questions.wereAsked()) {
    refuse("key", settings.key, "it needs a password; store it without one");
  }
  const bool fits = isRead ? SSL_CTX_check_private_key(context) == 1
                           : ERR_GET_REASON(ERR_peek_last_error()) != X509_R_KEY_VALUES_MISMATCH;
  if (!fits) {
    refuse("key", settings.key, "it does not fit the certificate '" + settings.certificate + "'");
  }
  if (!isRead) {
    refuse("key", settings.key, firstReason());
  }
}

void showCertificate(SSL_CTX* context, const TlsSettings& settings) {
  if (SSL_CTX_use_certificate_chain_file(context, settings.certificate.c_str()) != 1) {
    refuse("certificate", settings.certificate, firstReason());
  }
  useKey(context, settings);
  const X509* own = SSL_CTX_get0_certificate(context);
  if (X509_cmp_current_time(X509_get0_notAfter(own)) < 0) {
    refuse("certificate", settings.certificate,
           "it has expired at " + textOf(X509_get0_notAfter(own)));
  }
  if (X509_cmp_current_time(X509_get0_notBefore(own)) > 0) {
    refuse("certificate", settings.certificate,
           "it is not valid before " + textOf(X509_get0_notBefore(own)));
  }
}

bool holdsRevocations(X509_STORE* store) {
  const STACK_OF(X509_OBJECT)* objects = X509_STORE_get0_objects(store);
  for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
    if (X509_OBJECT_get_type(sk_X509_OBJECT_value(objects, i)) == X509_LU_CRL) {
      return true;
    }
  }
  return false;
}

// Where there is a list, each authority of a chain needs one.
void useRevocations(X509_STORE* store, const std::string& file) {
  if (!file.empty()) {
    X509_LOOKUP* lookup = X509_STORE_add_lookup(store, X509_LOOKUP_file());
    if (lookup == nullptr || X509_load_crl_file(lookup, file.c_str(), X509_FILETYPE_PEM) <= 0) {
      refuse("revocation list", file, firstReason());
    }
  }
  if (holdsRevocations(store)) {
    X509_STORE_set_flags(store, X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
  }
}

TlsContext contextOf(const TlsSettings& settings) {
  ERR_clear_error();
  TlsContext context = makeTlsContext(asio::ssl::context::tls_client);
  SSL_CTX* native = context->native_handle();
  if (!settings.certificate.empty()) {
    showCertificate(native, settings);
  }
  if (settings.authorities.empty()) {
    SSL_CTX_set_default_verify_paths(native);
  } else if (SSL_CTX_load_verify_file(native, settings.authorities.c_str()) != 1) {
    refuse("authorities", settings.authorities, firstReason());
  }
  useRevocations(SSL_CTX_get_cert_store(native), settings.revocationList);
  ERR_clear_error();
  return context;
}

}  // namespace

TlsContext TlsContexts::contextFor(const TlsSettings& settings) {
  std::string choice;
  std::string state;
  for (const std::string& file : filesOf(settings)) {
    choice += file + '\0';
    state += stateOf(file) + '\0';
  }
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (const auto found = m_contexts.find(choice);
      found != m_contexts.end() && found->second.files == state) {
    return found->second.context;
  }
  if (m_contexts.size() >= kMostContexts) {
    m_contexts.clear();
  }
  TlsContext context = contextOf(settings);
  m_contexts.insert_or_assign(std::move(choice), Kept{std::move(state), context});
  return context;
}

}  // namespace Ferrolink::Companions::Tcp::Client
