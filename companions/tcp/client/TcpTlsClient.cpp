// libFerrolinkTcpTlsClient.so: channels over TCP with TLS.
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <asio/ssl/error.hpp>
#include <cstdio>
#include <system_error>
#include <utility>

#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/ClientLibrary.h"
#include "companions/tcp/client/ClientSettings.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

void warnOfInsecurity(const Peer& peer) {
  const std::string text = "Ferrolink: FERROLINK_TLS_INSECURE is set: whoever answers at " +
                           peer.name() + " is taken for the server.\n";
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

// Made anew for each connection, so that renewed certificates count without a restart.
TlsContext contextFor(const TlsSettings& settings) {
  try {
    TlsContext context = makeTlsContext(asio::ssl::context::tls_client);
    if (!settings.certificate.empty()) {
      useCertificate(*context, settings.certificate, settings.key);
    }
    if (settings.authorities.empty()) {
      context->set_default_verify_paths();
    } else {
      useAuthorities(*context, settings.authorities);
    }
    context->set_verify_mode(settings.acceptAnyCertificate ? asio::ssl::verify_none
                                                           : asio::ssl::verify_peer);
    return context;
  } catch (const TlsFileError& error) {
    fail(ClientError::Settings, std::string(error.what()) + " The command was not sent.");
  }
}

// The certificate must be one for the very address that the command names.
void expectAddress(SSL* tls, const Peer& peer) {
  if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(tls), peer.host.c_str()) != 1) {
    fail(ClientError::Refused, "No certificate can be checked for '" + peer.host +
                                   "', which is no address. The command was not sent.");
  }
}

bool isNotTls(const std::error_code& error) {
  if (error.category() != asio::error::get_ssl_category()) {
    return false;
  }
  const int reason = ERR_GET_REASON(static_cast<unsigned long>(error.value()));
  return reason == SSL_R_WRONG_VERSION_NUMBER || reason == SSL_R_TLSV1_ALERT_PROTOCOL_VERSION;
}

void shakeHands(TlsConnection& connection, const Peer& peer, bool verified) {
  std::error_code error;
  connection.handshake(error);
  if (!error) {
    return;
  }
  const long verdict = SSL_get_verify_result(connection.native());
  if (verified && verdict != X509_V_OK) {
    fail(ClientError::Refused,
         "The certificate of " + peer.name() +
             " is not accepted: " + X509_verify_cert_error_string(verdict) +
             ". The command was not sent. The certificate must be valid for the address and come "
             "from an authority of the system, or of the file that FERROLINK_TLS_CA_FILE names.");
  }
  if (isNotTls(error)) {
    fail(ClientError::NoFerrolinkPeer, peer.name() +
                                           " does not speak TLS 1.2 or later. The command was not "
                                           "sent. Use a target without TLS, or start the server "
                                           "with a certificate.");
  }
  throw std::system_error(error);
}

}  // namespace

std::unique_ptr<Connection> secure(PatientSocket socket, std::uint32_t limit, const Peer& peer) {
  const TlsSettings settings = TlsSettings::read();
  auto connection = std::make_unique<TlsConnection>(std::move(socket), limit, contextFor(settings),
                                                    asio::ssl::stream_base::client);
  if (settings.acceptAnyCertificate) {
    warnOfInsecurity(peer);
  } else {
    expectAddress(connection->native(), peer);
  }
  shakeHands(*connection, peer, !settings.acceptAnyCertificate);
  return connection;
}

}  // namespace Ferrolink::Companions::Tcp::Client
