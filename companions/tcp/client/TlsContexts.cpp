#include "companions/tcp/client/TlsContexts.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "companions/tcp/TlsFiles.h"
#include "companions/tcp/client/ClientError.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

// Beyond this number of combinations all contexts are discarded.
constexpr std::size_t kMostContexts = 64;

std::string VariableOr(const char* variable, const char* usual) {
  const char* text = std::getenv(variable);
  return text == nullptr || *text == '\0' ? usual : text;
}

// The files that a context depends on.
std::vector<std::string> FilesOf(const TlsSettings& settings) {
  std::vector<std::string> files{settings.certificate, settings.key, settings.revocationList,
                                 settings.authorities};
  if (settings.authorities.empty()) {
    files.push_back(VariableOr(X509_get_default_cert_file_env(), X509_get_default_cert_file()));
    files.push_back(VariableOr(X509_get_default_cert_dir_env(), X509_get_default_cert_dir()));
  }
  return files;
}

TlsContext ContextOf(const TlsSettings& settings) {
  TlsContext context = MakeTlsContext(asio::ssl::context::tls_client);
  if (!settings.certificate.empty()) {
    UseCertificate(*context, settings.certificate, settings.key);
    if (const std::string why = WhyNotValidNow(*context); !why.empty()) {
      throw TlsFileError("Cannot use the certificate '" + settings.certificate + "': " + why + ".");
    }
  }
  if (settings.authorities.empty()) {
    SSL_CTX_set_default_verify_paths(context->native_handle());
  } else {
    UseAuthorities(*context, settings.authorities);
  }
  if (!settings.revocationList.empty()) {
    UseRevocationList(*context, settings.revocationList);
  }
  HeedRevocationLists(*context);
  ERR_clear_error();
  return context;
}

}  // namespace

TlsContext TlsContexts::ContextFor(const TlsSettings& settings) {
  std::string choice;
  std::string state;
  for (const std::string& file : FilesOf(settings)) {
    choice += file + '\0';
    state += FileStamp(file) + '\0';
  }
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (const auto found = m_contexts.find(choice);
      found != m_contexts.end() && found->second.files == state) {
    return found->second.context;
  }
  if (m_contexts.size() >= kMostContexts) {
    m_contexts.clear();
  }
  TlsContext context;
  try {
    context = ContextOf(settings);
  } catch (const TlsFileError& error) {
    Fail(ClientError::Settings, std::string(error.what()) + " The command was not sent.");
  }
  m_contexts.insert_or_assign(std::move(choice), Kept{std::move(state), context});
  return context;
}

}  // namespace Ferrolink::Companions::Tcp::Client
