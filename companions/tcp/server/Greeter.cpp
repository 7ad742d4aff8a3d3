#include "companions/tcp/server/Greeter.h"

#include <algorithm>
#include <array>
#include <asio/error.hpp>
#include <system_error>
#include <utility>

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// A fatal alert "protocol version", what a TLS client understands as a refusal.
constexpr std::array<std::uint8_t, 7> kTlsRefusal = {Wire::kTlsAlert, 3, 1, 0, 2, 2, 70};

void write(PatientSocket& socket, std::span<const std::uint8_t> bytes) {
  asio::error_code ignored;
  socket.send(bytes, ignored);
}

}  // namespace

Greeter::State Greeter::advance(Connection& connection) {
  State state = State::Greeted;
  if (m_stage == Stage::FirstByte) {
    state = look(connection);
  }
  if (m_stage == Stage::Handshake) {
    state = shakeHands(connection);
  }
  if (m_stage == Stage::Hello) {
    state = greet(connection);
  }
  return state;
}

Greeter::State Greeter::look(Connection& connection) {
  asio::error_code error;
  const std::uint8_t first = connection.socket().peek(error);
  if (error == asio::error::would_block) {
    return State::Waits;
  }
  if (error) {
    return State::Gone;
  }
  if (m_usesTls && first == Wire::greeting(Wire::Greeting::Hello)[0]) {
    write(connection.socket(), Wire::greeting(Wire::Greeting::SpeaksTls));
    return refuse("a client without TLS, this server speaks TLS");
  }
  if (!m_usesTls && first == Wire::kTlsHandshake) {
    write(connection.socket(), kTlsRefusal);
    return refuse("a client with TLS, this server has no --tls-certificate");
  }
  m_stage = Stage::Handshake;
  return State::Waits;
}

Greeter::State Greeter::shakeHands(Connection& connection) {
  asio::error_code error;
  connection.handshake(error);
  if (error == asio::error::would_block) {
    return State::Waits;
  }
  if (error) {
    const std::string certificate = connection.whyPeerRefused();
    return refuse(certificate.empty() ? error.message() : certificate);
  }
  m_stage = Stage::Hello;
  return State::Waits;
}

Greeter::State Greeter::greet(Connection& connection) {
  const Wire::GreetingBytes expected = Wire::greeting(Wire::Greeting::Hello);
  try {
    const Wire::GreetingBytes hello = connection.receiveGreeting();
    const bool isClient =
        std::equal(hello.begin(), hello.begin() + Wire::kGreetingMark, expected.begin());
    if (isClient) {
      connection.sendGreeting(Wire::Greeting::Welcome);
    }
    if (hello == expected) {
      return State::Greeted;
    }
    return refuse(isClient ? "another version of the protocol" : "no Ferrolink client");
  } catch (const std::system_error& error) {
    if (error.code() == asio::error::would_block) {
      return State::Waits;
    }
    if (error.code() == asio::error::eof) {
      return State::Gone;
    }
    return refuse(error.code().message());
  }
}

Greeter::State Greeter::refuse(std::string why) {
  m_why = std::move(why);
  return State::Refused;
}

}  // namespace Ferrolink::Companions::Tcp::Server
