#include "companions/tcp/server/ServerTls.h"

#include <utility>

namespace Ferrolink::Companions::Tcp::Server {

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
  return {fileStamp(m_options.certificate), fileStamp(m_options.key),
          fileStamp(m_options.clientAuthorities), fileStamp(m_options.revocationList)};
}

}  // namespace Ferrolink::Companions::Tcp::Server
