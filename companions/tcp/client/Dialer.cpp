#include "companions/tcp/client/Dialer.h"

#include <algorithm>
#include <asio/ip/address.hpp>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/HostLookup.h"
#include "companions/tcp/client/ServerText.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

using Clock = PatientSocket::Clock;

constexpr const char* kNotSent = " The command was not sent.";

// What is to be done, and until when.
struct Call {
  const Peer& server;
  const ClientSettings& settings;
  Clock::time_point start;
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
    const auto time = std::chrono::ceil<std::chrono::milliseconds>(call.deadline - call.start);
    reason = "it took longer than " + std::to_string(time.count()) + " ms";
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

PatientSocket connected(const asio::ip::tcp::endpoint& endpoint, const ClientSettings& settings,
                        Clock::time_point end) {
  PatientSocket socket = PatientSocket::open(endpoint.protocol());
  socket.waitUntil(end);
  asio::error_code error;
  socket.connect(endpoint, error);
  if (!error) {
    socket.tune(settings.unacknowledgedTimeout, error);
  }
  if (error) {
    throw std::system_error(error);
  }
  return socket;
}

// An address that does not answer leaves the others their share of the time.
PatientSocket connected(const Call& call) {
  asio::error_code error;
  const std::vector<asio::ip::address> addresses = addressesOf(call);
  long left = static_cast<long>(addresses.size());
  for (const asio::ip::address& address : addresses) {
    const asio::ip::tcp::endpoint endpoint(address, call.server.port);
    const auto now = Clock::now();
    const auto end = left == 1 ? call.deadline : now + (call.deadline - now) / left;
    try {
      PatientSocket socket = connected(endpoint, call.settings, end);
      socket.waitUntil(call.deadline);
      return socket;
    } catch (const std::system_error& failure) {
      error = failure.code();
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
}

// A server that does not want this client's commands says so right behind its greeting.
void hearRefusal(Connection& connection, const Peer& server) {
  if (connection.unread() == 0) {
    return;
  }
  Frame answer;
  try {
    connection.receive(answer);
  } catch (const std::exception&) {
    answer.header = {};
  }
  if (answer.header.status == Wire::Status::FinalNotBegun && answer.header.number == 1) {
    failWithAnswer(server, answer);
  }
  fail(ClientError::NoFerrolinkPeer, server.name() +
                                         " says more than its greeting before it is asked." +
                                         kNotSent + " Correct address and port.");
}

}  // namespace

std::unique_ptr<Connection> dial(const Peer& server, const ClientSettings& settings, Secure& secure,
                                 std::optional<Clock::time_point> end, std::size_t servers) {
  const Clock::time_point start = Clock::now();
  Call call{server, settings, start, start + settings.connectTimeout, false};
  if (end) {
    const Clock::time_point share = start + (*end - start) / static_cast<long>(servers);
    call.isOfCommand = share < call.deadline && servers == 1;
    call.deadline = std::min(call.deadline, share);
  }
  try {
    auto connection = secure(connected(call), settings, server);
    greet(*connection, server);
    hearRefusal(*connection, server);
    connection->socket().waitUntil(std::nullopt);
    return connection;
  } catch (const std::system_error& error) {
    failToConnect(call, error.code());
  }
}

}  // namespace Ferrolink::Companions::Tcp::Client
