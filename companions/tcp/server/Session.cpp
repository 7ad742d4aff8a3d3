#include "companions/tcp/server/Session.h"

#include <cxxabi.h>

#include <array>
#include <cstdio>
#include <exception>
#include <system_error>
#include <utility>

#include "companions/tcp/server/CommandGate.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// A fatal alert "protocol version", what a TLS client understands as a refusal.
constexpr std::array<std::uint8_t, 7> kTlsRefusal = {Wire::kTlsAlert, 3, 1, 0, 2, 2, 70};

Frame errorFrame(const std::string& text, Wire::Status status = Wire::Status::Error) {
  Frame frame;
  frame.header.status = status;
  frame.bytes.assign(text.begin(), text.end());
  return frame;
}

void write(PatientSocket& socket, std::span<const std::uint8_t> bytes) {
  asio::error_code ignored;
  socket.send(bytes, ignored);
}

}  // namespace

void logLine(const std::string& text) {
  const std::string line = "ferrolink-server: " + text + "\n";
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
}

void Session::run() {
  try {
    m_connection->socket().waitUntil(PatientSocket::Clock::now() + m_options.greetingTimeout);
    if (welcome()) {
      m_connection->socket().waitUntil(std::nullopt);
      serve();
    }
  } catch (const std::exception& error) {
    logLine(m_client + ": the connection broke: " + error.what());
  }
}

void Session::end() {
  m_ending = true;
  m_connection->socket().endReading();
}

bool Session::welcome() {
  PatientSocket& socket = m_connection->socket();
  asio::error_code error;
  const std::uint8_t first = socket.peek(error);
  if (error == asio::error::eof) {
    return false;
  }
  if (!error && refuseOtherKind(first)) {
    return false;
  }
  if (!error) {
    m_connection->handshake(error);
  }
  if (error) {
    refuse(error.message());
    return false;
  }
  const Wire::GreetingBytes hello = m_connection->receiveGreeting();
  const Wire::GreetingBytes expected = Wire::greeting(Wire::Greeting::Hello);
  const bool isClient =
      std::equal(hello.begin(), hello.begin() + Wire::kGreetingMark, expected.begin());
  if (isClient) {
    m_connection->sendGreeting(Wire::Greeting::Welcome);
  }
  if (hello != expected) {
    refuse(isClient ? "another version of the protocol" : "no Ferrolink client");
    return false;
  }
  return true;
}

// A peer that speaks the other kind is told so in its own terms.
bool Session::refuseOtherKind(std::uint8_t firstByte) {
  if (m_options.usesTls() && firstByte == Wire::greeting(Wire::Greeting::Hello)[0]) {
    write(m_connection->socket(), Wire::greeting(Wire::Greeting::SpeaksTls));
    refuse("a client without TLS, this server speaks TLS");
    return true;
  }
  if (!m_options.usesTls() && firstByte == Wire::kTlsHandshake) {
    write(m_connection->socket(), kTlsRefusal);
    refuse("a client with TLS, this server has no --tls-certificate");
    return true;
  }
  return false;
}

void Session::refuse(const std::string& why) {
  logLine(m_client + ": refused: " + why);
  m_connection->socket().drain();
}

void Session::serve() {
  const Member::ThreadStay stay(m_member);
  try {
    while (!m_ending) {
      Frame command;
      if (!m_connection->receive(command) || !answer(command)) {
        return;
      }
    }
  } catch (const FrameTooLong& tooLong) {
    Frame refusal =
        errorFrame(std::string("The command has ") + tooLong.what() + " (--max-frame-bytes).",
                   Wire::Status::FinalNotBegun);
    m_connection->nextNumber();
    if (!reply(refusal)) {
      m_connection->socket().waitUntil(PatientSocket::Clock::now() + m_options.greetingTimeout);
      refuse(std::string("a command of ") + tooLong.what());
    }
  }
}

// Whether the next command may come.
bool Session::answer(Frame& command) {
  const bool expected = command.header.number == m_connection->nextNumber();
  if (command.header.status != Wire::Status::Payload || !expected) {
    Frame refusal = errorFrame(expected ? "The frame is no command."
                                        : "The frame has another number than the next command.",
                               Wire::Status::FinalNotBegun);
    return reply(refusal);
  }
  Frame response = execute(command.bytes);
  return reply(response);
}

bool Session::reply(Frame& answer) {
  if (answer.bytes.size() > m_connection->limit()) {
    answer =
        errorFrame("The response has " +
                   std::string(FrameTooLong(answer.bytes.size(), m_connection->limit()).what()) +
                   " (--max-frame-bytes). The command was executed.");
  }
  answer.header.number = m_connection->number();
  m_connection->send(answer.header, answer.bytes);
  return !Wire::endsConnection(answer.header.status);
}

// Whatever fails is an answer, but for the end of the thread, which cannot be stopped; the C++
// runtime binds the reference that catches it to nothing, which the undefined-behaviour sanitizer
// would report.
__attribute__((no_sanitize("null"))) Frame Session::execute(Bytes& command) const {
  try {
    const std::string refusal = whyRefused(command, m_options);
    if (!refusal.empty()) {
      return errorFrame(refusal, Wire::Status::NotBegun);
    }
    Frame response;
    response.bytes = m_member.run(command);
    return response;
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& error) {
    return errorFrame(error.what());
  } catch (...) {
    return errorFrame("The runtime raised something that is no standard exception.");
  }
}

}  // namespace Ferrolink::Companions::Tcp::Server
