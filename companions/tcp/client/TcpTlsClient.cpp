// libFerrolinkTcpTlsClient.so: channels over TCP with TLS.
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <asio/ip/address.hpp>
#include <asio/ssl/error.hpp>
#include <cstdio>
#include <system_error>
#include <utility>

#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/ClientLibrary.h"
#include "companions/tcp/client/PeerCertificate.h"
#include "companions/tcp/client/TlsContexts.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

void warnOfInsecurity(const Peer& server) {
  const std::string text = "Ferrolink: FERROLINK_TLS_INSECURE is set: whoever answers at " +
                           server.name() + " is taken for the server.\n";
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

// Lives as long as the process: threads may still connect while it exits.
TlsContexts& contexts() {
  static TlsContexts& kept = *new TlsContexts;
  return kept;
}

bool isNotTls(const std::error_code& error) {
  if (error.category() != asio::error::get_ssl_category()) {
    return false;
  }
  const int reason = ERR_GET_REASON(static_cast<unsigned long>(error.value()));
  return reason == SSL_R_WRONG_VERSION_NUMBER || reason == SSL_R_TLSV1_ALERT_PROTOCOL_VERSION;
}

void shakeHands(TlsConnection& connection, const Peer& server) {
  std::error_code error;
  connection.handshake(error);
  if (!error) {
    return;
  }
  if (isNotTls(error)) {
    fail(ClientError::NoFerrolinkPeer, server.name() +
                                           " does not speak TLS 1.2 or later. The command was not "
                                           "sent. Use a target without TLS, or start the server "
                                           "with a certificate.");
  }
  throw std::system_error(error);
}

void shakeHandsAndVerify(TlsConnection& connection, const Peer& server, const std::string& name) {
  const PeerCertificate certificate(connection.native(), name);
  try {
    shakeHands(connection, server);
  } catch (const std::system_error&) {
    if (!certificate.complaint().empty()) {
      fail(ClientError::Refused,
           "The certificate of " + server.name() + " is not accepted: " + certificate.complaint() +
               ". The command was not sent. The certificate must be valid for the address and come "
               "from an authority of the system, or of the file that FERROLINK_TLS_CA_FILE names.");
    }
    throw;
  }
}

std::unique_ptr<Connection> secure(PatientSocket socket, const ClientSettings& settings,
                                   const Peer& server) {
  const TlsSettings tls = settings.tls.withEnvironment();
  auto connection =
      std::make_unique<TlsConnection>(std::move(socket), settings.frameLimit,
                                      contexts().contextFor(tls), asio::ssl::stream_base::client);
  const std::string& name = tls.name.empty() ? server.host : tls.name;
  askFor(connection->native(), name);
  if (tls.acceptAnyCertificate) {
    warnOfInsecurity(server);
    shakeHands(*connection, server);
  } else {
    shakeHandsAndVerify(*connection, server, name);
  }
  return connection;
}

}  // namespace

const LibraryKind libraryKind{kTlsChannel, kPlainChannel, "libFerrolinkTcpClient.so", secure};

}  // namespace Ferrolink::Companions::Tcp::Client
