#include "companions/tcp/client/ClientChannel.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <utility>

#include "companions/tcp/client/ClientError.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

[[noreturn]] void failBroken(const Peer& peer, const std::string& when,
                             const std::error_code& error) {
  fail(ClientError::Broken, "The connection to " + peer.name() + " broke " + when + ": " +
                                reasonOf(error) +
                                ". The command may have been executed and is not sent again. See "
                                "what the server says, then decide whether to repeat it.");
}

}  // namespace

ClientChannel::ClientChannel(Peer peer, Secure& secure)
    : m_peer(std::move(peer)), m_secure(secure) {}

int ClientChannel::Initialize(std::uint8_t /*callingRuntime*/, std::uint8_t /*calledRuntime*/,
                              std::uint8_t /*launchArgument*/) {
  return 0;
}

int ClientChannel::SendCommand(std::uint8_t* message, int length) {
  const std::span<const std::uint8_t> command(message,
                                              static_cast<std::size_t>(std::max(length, 0)));
  std::unique_ptr<Connection> connection = m_idle.take();
  if (connection == nullptr) {
    connection = dial(m_peer, m_secure);
  }
  if (command.size() > connection->limit()) {
    const FrameTooLong tooLong(command.size(), connection->limit());
    m_idle.give(std::move(connection));
    fail(ClientError::TooLong, "The command for " + m_peer.name() + " has " + tooLong.what() +
                                   ". The command was not sent. FERROLINK_MAX_FRAME_BYTES sets "
                                   "the limit.");
  }
  Frame answer = exchange(*connection, command);
  const Wire::Status status = answer.header.status;
  if (!Wire::endsConnection(status) && !connection->isUsedUp()) {
    m_idle.give(std::move(connection));
  }
  if (status != Wire::Status::Payload) {
    throw std::runtime_error(std::string(answer.bytes.begin(), answer.bytes.end()));
  }
  const int size = static_cast<int>(answer.bytes.size());
  m_responses.store(std::move(answer.bytes));
  return size;
}

Frame ClientChannel::exchange(Connection& connection, std::span<const std::uint8_t> command) const {
  Wire::FrameHeader header;
  header.number = connection.nextNumber();
  send(connection, header, command);
  return receive(connection, header.number);
}

void ClientChannel::send(Connection& connection, const Wire::FrameHeader& header,
                         std::span<const std::uint8_t> command) const {
  try {
    connection.send(header, command);
  } catch (const std::system_error& error) {
    failBroken(m_peer, "while a command was sent", error.code());
  }
}

Frame ClientChannel::receive(Connection& connection, std::uint32_t number) const {
  try {
    Frame answer;
    if (!connection.receive(answer)) {
      throw std::system_error(asio::error::make_error_code(asio::error::eof));
    }
    if (answer.header.number != number) {
      throw std::system_error(std::make_error_code(std::errc::bad_message));
    }
    return answer;
  } catch (const std::system_error& error) {
    failBroken(m_peer, "while an answer was awaited", error.code());
  } catch (const FrameTooLong& tooLong) {
    fail(ClientError::TooLong, "The answer of " + m_peer.name() + " has " + tooLong.what() +
                                   ". The command was executed. FERROLINK_MAX_FRAME_BYTES sets the "
                                   "limit.");
  }
}

int ClientChannel::ReadResponse(std::uint8_t* buffer, int length) {
  if (!m_responses.read(buffer, std::max(length, 0))) {
    fail(ClientError::NoResponse, "No response of " + m_peer.name() +
                                      " waits on this thread. Send and read on one thread, once "
                                      "each.");
  }
  return 0;
}

int ClientChannel::SetEmbeddedRuntime(std::uint8_t /*callingRuntime*/,
                                      std::uint8_t /*calledRuntime*/,
                                      std::uint8_t /*launchArgument*/, std::string /*path*/) {
  return 0;
}

int ClientChannel::DeployRuntime(std::uint8_t* /*message*/, int /*length*/, std::string /*path*/,
                                 std::uint8_t /*flag*/) {
  return 0;
}

}  // namespace Ferrolink::Companions::Tcp::Client
