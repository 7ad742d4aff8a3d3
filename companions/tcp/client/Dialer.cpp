#include "companions/tcp/client/Dialer.h"

#include <algorithm>
#include <asio/ip/address.hpp>
#include <string_view>
#include <system_error>

#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/ClientSettings.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

// A machine that is gone does not acknowledge what was sent to it: TCP_USER_TIMEOUT.
constexpr std::chrono::milliseconds kUnacknowledged{120'000};

constexpr const char* kNotSent = " The command was not sent.";

[[noreturn]] void failToConnect(const Peer& peer, const ClientSettings& settings,
                                const std::error_code& error) {
  if (std::string_view(error.category().name()) == "asio.ssl") {
    fail(ClientError::Refused, "TLS with " + peer.name() + " failed: " + error.message() + "." +
                                   kNotSent +
                                   " Where it asks for a client certificate, name one in "
                                   "FERROLINK_TLS_CERTIFICATE and FERROLINK_TLS_KEY.");
  }
  std::string reason = error.message();
  if (error == asio::error::timed_out) {
    reason = "it took longer than " + std::to_string(settings.connectTimeout.count()) + " ms";
  } else if (error == asio::error::eof) {
    reason = "it was closed without a greeting";
  }
  fail(ClientError::NotConnected,
       "Cannot connect to " + peer.name() + ": " + reason + "." + kNotSent +
           " See that ferrolink-server runs there and has room for another connection.");
}

PatientSocket connected(const Peer& peer, const ClientSettings& settings) {
  std::error_code error;
  const auto address = asio::ip::make_address(peer.host, error);
  if (error) {
    fail(ClientError::NotConnected, "Cannot connect to " + peer.name() + ": '" + peer.host +
                                        "' is no address; names are not looked up." + kNotSent);
  }
  const asio::ip::tcp::endpoint endpoint(address, peer.port);
  PatientSocket socket = PatientSocket::open(endpoint.protocol());
  socket.waitUntil(PatientSocket::Clock::now() + settings.connectTimeout);
  socket.connect(endpoint, error);
  if (!error) {
    socket.tune(kUnacknowledged, error);
  }
  if (error) {
    throw std::system_error(error);
  }
  return socket;
}

void greet(Connection& connection, const Peer& peer) {
  const auto refuse = [&](const std::string& what, const std::string& advice) {
    fail(ClientError::NoFerrolinkPeer, peer.name() + " " + what + "." + kNotSent + " " + advice);
  };
  connection.sendGreeting(Wire::Greeting::Hello);
  const Wire::GreetingBytes answer = connection.receiveGreeting();
  const Wire::GreetingBytes welcome = Wire::greeting(Wire::Greeting::Welcome);
  const Wire::GreetingBytes speaksTls = Wire::greeting(Wire::Greeting::SpeaksTls);
  if (answer[0] == Wire::kTlsAlert || answer == speaksTls) {
    refuse("speaks TLS", "Use a target with TLS.");
  }
  if (!std::equal(answer.begin(), answer.begin() + Wire::kGreetingMark, welcome.begin())) {
    refuse("is no Ferrolink server", "Correct address and port.");
  }
  if (answer[Wire::kGreetingVersion] != Wire::kVersion) {
    refuse("speaks version " + std::to_string(answer[Wire::kGreetingVersion]) +
               " of the protocol, this side version " + std::to_string(Wire::kVersion),
           "Install the same version on both sides.");
  }
  if (answer[Wire::kGreetingKind] != welcome[Wire::kGreetingKind]) {
    refuse("greets like a client", "Correct address and port.");
  }
}

}  // namespace

std::unique_ptr<Connection> dial(const Peer& peer, Secure& secure) {
  const ClientSettings settings = ClientSettings::read();
  try {
    auto connection = secure(connected(peer, settings), settings.frameLimit, peer);
    greet(*connection, peer);
    connection->socket().waitUntil(std::nullopt);
    return connection;
  } catch (const std::system_error& error) {
    failToConnect(peer, settings, error.code());
  }
}

}  // namespace Ferrolink::Companions::Tcp::Client
