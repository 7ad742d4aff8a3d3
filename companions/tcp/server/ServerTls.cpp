#include "companions/tcp/server/ServerTls.h"

#include <sys/stat.h>

#include <utility>

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// What tells a file from another one of the same name.
std::string stampOf(const std::string& path) {
  struct stat status {};
  if (path.empty() || stat(path.c_str(), &status) != 0) {
    return {};
  }
  std::string stamp;
  for (const auto number :
       {static_cast<long long>(status.st_dev), static_cast<long long>(status.st_ino),
        static_cast<long long>(status.st_size), static_cast<long long>(status.st_mtim.tv_sec),
        static_cast<long long>(status.st_mtim.tv_nsec)}) {
    stamp += std::to_string(number) + " ";
  }
  return stamp;
}

}  // namespace

ServerTls::ServerTls(const ServerOptions& options, const Events& events)
    : m_options(options), m_events(events), m_stamps(stamps()), m_context(read()) {}

void ServerTls::readAgain() {
  if (m_context == nullptr) {
    return;
  }
  m_stamps = stamps();
  try {
    m_context = read();
    m_events.certificatesRead();
  } catch (const std::exception& error) {
    m_events.certificatesKept(error.what());
  }
}

void ServerTls::readAgainIfChanged() {
  if (m_context != nullptr && stamps() != m_stamps) {
    readAgain();
  }
}

TlsContext ServerTls::read() const {
  if (!m_options.usesTls()) {
    return nullptr;
  }
  TlsContext context = makeTlsContext(asio::ssl::context::tls_server);
  useCertificate(*context, m_options.certificate, m_options.key);
  if (const std::string why = whyNotValidNow(*context); !why.empty()) {
    m_events.certificateNotValid(m_options.certificate, why);
  }
  if (!m_options.clientAuthorities.empty()) {
    useAuthorities(*context, m_options.clientAuthorities);
    if (!m_options.revocationList.empty()) {
      useRevocationList(*context, m_options.revocationList);
    }
    heedRevocationLists(*context);
    demandCertificate(*context);
  }
  return context;
}

std::vector<std::string> ServerTls::stamps() const {
  return {stampOf(m_options.certificate), stampOf(m_options.key),
          stampOf(m_options.clientAuthorities), stampOf(m_options.revocationList)};
}

}  // namespace Ferrolink::Companions::Tcp::Server
