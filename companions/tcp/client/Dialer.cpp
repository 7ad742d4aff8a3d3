#include "companions/tcp/client/Dialer.h"

#include <algorithm>
#include <asio/ip/address.hpp>
#include <chrono>
#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/Wire.h"
#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/HostLookup.h"
#include "companions/tcp/client/ServerText.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

using Clock = PatientSocket::Clock;

constexpr const char* kNotSent = " The command was not sent.";

// A connection attempt and its deadline.
struct Call {
  const Peer& server;
  const ClientSettings& settings;
  Clock::time_point start;
  Clock::time_point deadline;
  bool isOfCommand;  ///< the deadline is the end of the command's time
};

[[noreturn]] void FailToConnect(const Call& call, const std::error_code& error) {
  if (std::string_view(error.category().name()) == "asio.ssl") {
    Fail(ClientError::Refused, "TLS with " + call.server.Name() + " failed: " + error.message() +
                                   "." + kNotSent +
                                   " Where it asks for a client certificate, name one in "
                                   "FERROLINK_TLS_CERTIFICATE and FERROLINK_TLS_KEY.");
  }
  std::string reason = error.message();
  if (error == asio::error::timed_out && Clock::now() >= call.deadline) {
    if (call.isOfCommand) {
      Fail(ClientError::TimeOver, "The time of the command was over before " + call.server.Name() +
                                      " was reached." + kNotSent);
    }
    const auto time = std::chrono::ceil<std::chrono::milliseconds>(call.deadline - call.start);
    reason = "it took longer than " + std::to_string(time.count()) + " ms";
  } else if (error == asio::error::eof) {
    reason = "it was closed without a greeting";
  }
  Fail(ClientError::NotConnected,
       "Cannot connect to " + call.server.Name() + ": " + reason + "." + kNotSent +
           " See that ferrolink-server runs there and has room for another connection.");
}

std::vector<asio::ip::address> AddressesOf(const Call& call) {
  const Peer& server = call.server;
  if (server.mayBeName) {
    return LookUpHost(server.host, call.deadline);
  }
  asio::error_code error;
  const auto address = asio::ip::make_address(server.host, error);
  if (error) {
    Fail(ClientError::NotConnected, "Cannot connect to " + server.Name() + ": '" + server.host +
                                        "' is no address; names are not looked up." + kNotSent);
  }
  return {address};
}

PatientSocket Connected(const asio::ip::tcp::endpoint& endpoint, const ClientSettings& settings,
                        Clock::time_point end) {
  PatientSocket socket = PatientSocket::Open(endpoint.protocol());
  socket.WaitUntil(end);
  asio::error_code error;
  socket.Connect(endpoint, error);
  if (!error) {
    socket.Tune(settings.unacknowledgedTimeout, error);
  }
  if (error) {
    throw std::system_error(error);
  }
  return socket;
}

// Divides the time among the addresses, so that one without an answer leaves the others their
// share.
PatientSocket Connected(const Call& call) {
  asio::error_code error;
  const std::vector<asio::ip::address> addresses = AddressesOf(call);
  long left = static_cast<long>(addresses.size());
  for (const asio::ip::address& address : addresses) {
    const asio::ip::tcp::endpoint endpoint(address, call.server.port);
    const auto now = Clock::now();
    const auto end = left == 1 ? call.deadline : now + (call.deadline - now) / left;
    try {
      PatientSocket socket = Connected(endpoint, call.settings, end);
      socket.WaitUntil(call.deadline);
      return socket;
    } catch (const std::system_error& failure) {
      error = failure.code();
    }
    --left;
  }
  throw std::system_error(error);
}

void Greet(Connection& connection, const Peer& server) {
  const auto refuse = [&](const std::string& what, const std::string& advice) {
    Fail(ClientError::NoFerrolinkPeer, server.Name() + " " + what + "." + kNotSent + " " + advice);
  };
  connection.SendGreeting(Wire::Greeting::Hello);
  const Wire::GreetingBytes answer = connection.ReceiveGreeting();
  const Wire::GreetingBytes welcome = Wire::BytesOf(Wire::Greeting::Welcome);
  const Wire::GreetingBytes speaksTls = Wire::BytesOf(Wire::Greeting::SpeaksTls);
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

// A server that refuses this client says so right after its greeting.
void HearRefusal(Connection& connection, const Peer& server) {
  if (connection.Unread() == 0) {
    return;
  }
  Frame answer;
  try {
    connection.Receive(answer);
  } catch (const std::exception&) {
    answer.header = {};
  }
  if (answer.header.status == Wire::Status::FinalNotBegun && answer.header.number == 1) {
    FailWithAnswer(server, answer);
  }
  Fail(ClientError::NoFerrolinkPeer, server.Name() +
                                         " says more than its greeting before it is asked." +
                                         kNotSent + " Correct address and port.");
}

}  // namespace

std::unique_ptr<Connection> Dial(const Peer& server, const ClientSettings& settings, Secure& secure,
                                 std::optional<Clock::time_point> end, std::size_t servers) {
  const Clock::time_point start = Clock::now();
  Call call{server, settings, start, start + settings.connectTimeout, false};
  if (end) {
    const Clock::time_point share = start + (*end - start) / static_cast<long>(servers);
    call.isOfCommand = share < call.deadline && servers == 1;
    call.deadline = std::min(call.deadline, share);
  }
  try {
    auto connection = secure(Connected(call), settings, server);
    Greet(*connection, server);
    HearRefusal(*connection, server);
    connection->Socket().WaitUntil(std::nullopt);
    return connection;
  } catch (const std::system_error& error) {
    FailToConnect(call, error.code());
  }
}

}  // namespace Ferrolink::Companions::Tcp::Client
