// libFerrolinkTcpTlsClient.so: channels over TCP with TLS.
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <asio/ip/address.hpp>
#include <asio/ssl/error.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include "companions/tcp/Connection.h"
#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/client/ClientChannel.h"
#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/ClientLibrary.h"
#include "companions/tcp/client/ClientSettings.h"
#include "companions/tcp/client/Peer.h"
#include "companions/tcp/client/PeerCertificate.h"
#include "companions/tcp/client/TlsContexts.h"
#include "ferrolink/protocol/CommandParts.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

void WarnOfInsecurity(const Peer& server) {
  const std::string text = "Ferrolink: FERROLINK_TLS_INSECURE is set: whoever answers at " +
                           server.Name() + " is taken for the server.\n";
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

// Never destroyed: threads may still connect while the process exits.
TlsContexts& Contexts() {
  static TlsContexts& kept = *new TlsContexts;
  return kept;
}

bool IsNotTls(const std::error_code& error) {
  if (error.category() != asio::error::get_ssl_category()) {
    return false;
  }
  const int reason = ERR_GET_REASON(static_cast<unsigned long>(error.value()));
  return reason == SSL_R_WRONG_VERSION_NUMBER || reason == SSL_R_TLSV1_ALERT_PROTOCOL_VERSION;
}

void ShakeHands(TlsConnection& connection, const Peer& server) {
  std::error_code error;
  connection.Handshake(error);
  if (!error) {
    return;
  }
  if (IsNotTls(error)) {
    Fail(ClientError::NoFerrolinkPeer, server.Name() +
                                           " does not speak TLS 1.2 or later. The command was not "
                                           "sent. Use a target without TLS, or start the server "
                                           "with a certificate.");
  }
  throw std::system_error(error);
}

void ShakeHandsAndVerify(TlsConnection& connection, const Peer& server, const std::string& name) {
  const PeerCertificate certificate(connection.Native(), name);
  try {
    ShakeHands(connection, server);
  } catch (const std::system_error&) {
    if (!certificate.Complaint().empty()) {
      Fail(ClientError::Refused,
           "The certificate of " + server.Name() + " is not accepted: " + certificate.Complaint() +
               ". The command was not sent. The certificate must be valid for the address and come "
               "from an authority of the system, or of the file that FERROLINK_TLS_CA_FILE names.");
    }
    throw;
  }
}

std::unique_ptr<Connection> SecureConnection(PatientSocket socket, const ClientSettings& settings,
                                             const Peer& server) {
  const TlsSettings tls = settings.tls.WithEnvironment();
  auto connection =
      std::make_unique<TlsConnection>(std::move(socket), settings.frameLimit,
                                      Contexts().ContextFor(tls), asio::ssl::stream_base::client);
  const std::string& name = tls.name.empty() ? server.host : tls.name;
  AskFor(connection->Native(), name);
  if (tls.acceptAnyCertificate) {
    WarnOfInsecurity(server);
    ShakeHands(*connection, server);
  } else {
    ShakeHandsAndVerify(*connection, server, name);
  }
  return connection;
}

}  // namespace

const LibraryKind kLibraryKind{Protocol::Header::kChannelTls, Protocol::Header::kChannelTcp,
                               "libFerrolinkTcpClient.so", SecureConnection};

}  // namespace Ferrolink::Companions::Tcp::Client
