#include "companions/tcp/server/ServerTls.h"

#include <exception>
#include <utility>

#include "companions/tcp/TlsFiles.h"

namespace Ferrolink::Companions::Tcp::Server {

ServerTls::ServerTls(const ServerOptions& options, const Events& events)
    : m_options(options), m_events(events), m_stamps(Stamps()), m_context(Read()) {}

void ServerTls::ReadAgain() {
  if (m_context == nullptr) {
    return;
  }
  m_stamps = Stamps();
  try {
    m_context = Read();
    m_events.CertificatesRead();
  } catch (const std::exception& error) {
    m_events.CertificatesKept(error.what());
  }
}

void ServerTls::ReadAgainIfChanged() {
  if (m_context != nullptr && Stamps() != m_stamps) {
    ReadAgain();
  }
}

TlsContext ServerTls::Read() const {
  if (!m_options.UsesTls()) {
    return nullptr;
  }
  TlsContext context = MakeTlsContext(asio::ssl::context::tls_server);
  UseCertificate(*context, m_options.certificate, m_options.key);
  if (const std::string why = WhyNotValidNow(*context); !why.empty()) {
    m_events.CertificateNotValid(m_options.certificate, why);
  }
  if (!m_options.clientAuthorities.empty()) {
    UseAuthorities(*context, m_options.clientAuthorities);
    if (!m_options.revocationList.empty()) {
      UseRevocationList(*context, m_options.revocationList);
    }
    HeedRevocationLists(*context);
    DemandCertificate(*context);
  }
  return context;
}

std::vector<std::string> ServerTls::Stamps() const {
  return {FileStamp(m_options.certificate), FileStamp(m_options.key),
          FileStamp(m_options.clientAuthorities), FileStamp(m_options.revocationList)};
}

}  // namespace Ferrolink::Companions::Tcp::Server
