#include "companions/tcp/server/Greeter.h"

#include <algorithm>
#include <array>
#include <asio/error.hpp>
#include <cstdint>
#include <span>
#include <system_error>
#include <utility>

#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/Wire.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// A fatal alert "protocol version", which a TLS client understands as a refusal.
constexpr std::array<std::uint8_t, 7> kTlsRefusal = {Wire::kTlsAlert, 3, 1, 0, 2, 2, 70};

void Write(PatientSocket& socket, std::span<const std::uint8_t> bytes) {
  asio::error_code ignored;
  socket.Send(bytes, ignored);
}

}  // namespace

Greeter::State Greeter::Advance(Connection& connection) {
  State state = State::Greeted;
  if (m_stage == Stage::FirstByte) {
    state = Look(connection);
  }
  if (m_stage == Stage::Handshake) {
    state = ShakeHands(connection);
  }
  if (m_stage == Stage::Hello) {
    state = Greet(connection);
  }
  return state;
}

Greeter::State Greeter::Look(Connection& connection) {
  asio::error_code error;
  const std::uint8_t first = connection.Socket().Peek(error);
  if (error == asio::error::would_block) {
    return State::Waits;
  }
  if (error) {
    return State::Gone;
  }
  if (m_usesTls && first == Wire::BytesOf(Wire::Greeting::Hello)[0]) {
    Write(connection.Socket(), Wire::BytesOf(Wire::Greeting::SpeaksTls));
    return Refuse("a client without TLS, this server speaks TLS");
  }
  if (!m_usesTls && first == Wire::kTlsHandshake) {
    Write(connection.Socket(), kTlsRefusal);
    return Refuse("a client with TLS, this server has no --tls-certificate");
  }
  m_stage = Stage::Handshake;
  return State::Waits;
}

Greeter::State Greeter::ShakeHands(Connection& connection) {
  asio::error_code error;
  connection.Handshake(error);
  if (error == asio::error::would_block) {
    return State::Waits;
  }
  if (error) {
    const std::string certificate = connection.WhyPeerRefused();
    return Refuse(certificate.empty() ? error.message() : certificate);
  }
  m_stage = Stage::Hello;
  return State::Waits;
}

Greeter::State Greeter::Greet(Connection& connection) {
  const Wire::GreetingBytes expected = Wire::BytesOf(Wire::Greeting::Hello);
  try {
    const Wire::GreetingBytes hello = connection.ReceiveGreeting();
    const bool isClient =
        std::equal(hello.begin(), hello.begin() + Wire::kGreetingMark, expected.begin());
    if (isClient) {
      connection.SendGreeting(Wire::Greeting::Welcome);
    }
    if (hello == expected) {
      return State::Greeted;
    }
    return Refuse(isClient ? "another version of the protocol" : "no Ferrolink client");
  } catch (const std::system_error& error) {
    if (error.code() == asio::error::would_block) {
      return State::Waits;
    }
    if (error.code() == asio::error::eof) {
      return State::Gone;
    }
    return Refuse(error.code().message());
  }
}

Greeter::State Greeter::Refuse(std::string why) {
  m_why = std::move(why);
  return State::Refused;
}

}  // namespace Ferrolink::Companions::Tcp::Server
