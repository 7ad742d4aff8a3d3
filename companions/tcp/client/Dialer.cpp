#include "companions/tcp/client/Dialer.h"

#include <algorithm>
#include <asio/ip/address.hpp>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/HostLookup.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

using Clock = PatientSocket::Clock;

constexpr const char* kNotSent = " The command was not sent.";

// What is to be done, and until when.
struct Call {
  const Peer& server;
  const ClientSettings& settings;
  Clock::time_point deadline;
  bool isOfCommand;  ///< the deadline is the end of the command's time
};

[[noreturn]] void failToConnect(const Call& call, const std::error_code& error) {
  if (std::string_view(error.category().name()) == "asio.ssl") {
    fail(ClientError::Refused, "TLS with " + call.server.name() + " failed: " + error.message() +
                                   "." + kNotSent +
                                   " Where it asks for a client certificate, name one in "
                                   "FERROLINK_TLS_CERTIFICATE and FERROLINK_TLS_KEY.");
  }
  std::string reason = error.message();
  if (error == asio::error::timed_out && Clock::now() >= call.deadline) {
    if (call.isOfCommand) {
      fail(ClientError::TimeOver, "The time of the command was over before " + call.server.name() +
                                      " was reached." + kNotSent);
    }
    reason = "it took longer than " + std::to_string(call.settings.connectTimeout.count()) + " ms";
  } else if (error == asio::error::eof) {
    reason = "it was closed without a greeting";
  }
  fail(ClientError::NotConnected,
       "Cannot connect to " + call.server.name() + ": " + reason + "." + kNotSent +
           " See that ferrolink-server runs there and has room for another connection.");
}

std::vector<asio::ip::address> addressesOf(const Call& call) {
  const Peer& server = call.server;
  if (server.mayBeName) {
    return lookUpHost(server.host, call.deadline);
  }
  asio::error_code error;
  const auto address = asio::ip::make_address(server.host, error);
  if (error) {
    fail(ClientError::NotConnected, "Cannot connect to " + server.name() + ": '" + server.host +
                                        "' is no address; names are not looked up." + kNotSent);
  }
  return {address};
}

// An address that does not answer leaves the others their share of the time.
PatientSocket connected(const Call& call) {
  asio::error_code error;
  const std::vector<asio::ip::address> addresses = addressesOf(call);
  long left = static_cast<long>(addresses.size());
  for (const asio::ip::address& address : addresses) {
    const asio::ip::tcp::endpoint endpoint(address, call.server.port);
    PatientSocket socket = PatientSocket::open(endpoint.protocol());
    const auto now = Clock::now();
    socket.waitUntil(left == 1 ? call.deadline : now + (call.deadline - now) / left);
    error.clear();
    socket.connect(endpoint, error);
    if (!error) {
      socket.tune(call.settings.unacknowledgedTimeout, error);
    }
    if (!error) {
      socket.waitUntil(call.deadline);
      return socket;
    }
    --left;
  }
  throw std::system_error(error);
}

void greet(Connection& connection, const Peer& server) {
  const auto refuse = [&](const std::string& what, const std::string& advice) {
    fail(ClientError::NoFerrolinkPeer, server.name() + " " + what + "." + kNotSent + " " + advice);
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
  if (connection.unread() != 0) {
    refuse("says more than its greeting before it is asked", "Correct address and port.");
  }
}

}  // namespace

std::unique_ptr<Connection> dial(const Peer& server, const ClientSettings& settings, Secure& secure,
                                 std::optional<Clock::time_point> end) {
  const Clock::time_point usual = Clock::now() + settings.connectTimeout;
  const bool isOfCommand = end && *end < usual;
  const Call call{server, settings, isOfCommand ? *end : usual, isOfCommand};
  try {
    auto connection = secure(connected(call), settings, server);
    greet(*connection, server);
    connection->socket().waitUntil(std::nullopt);
    return connection;
  } catch (const std::system_error& error) {
    failToConnect(call, error.code());
  }
}

}  // namespace Ferrolink::Companions::Tcp::Client
