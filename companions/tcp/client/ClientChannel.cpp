#include "companions/tcp/client/ClientChannel.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <utility>

#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/CommandTime.h"
#include "companions/tcp/client/EndpointConfiguration.h"
#include "companions/tcp/client/ServerText.h"
#include "companions/tcp/client/SiblingLibrary.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

using Native::Interfaces::ITransport;

[[noreturn]] void failBroken(const Peer& server, const std::string& when,
                             const std::error_code& error) {
  fail(ClientError::Broken, "The connection to " + server.name() + " broke " + when + ": " +
                                reasonOf(error) +
                                ". The command may have been executed and is not sent again. See "
                                "what the server says, then decide whether to repeat it.");
}

[[noreturn]] void failOverTime(const Peer& server, const std::string& when) {
  fail(ClientError::TimeOverSent,
       "The time of the command was over " + when + " " + server.name() +
           ". The command may have been executed and is not sent again; its connection is closed.");
}

void failIfOver(const CommandTime& time, const Peer& server) {
  if (time.isOver()) {
    fail(ClientError::TimeOver, "The time of the command was over before it was sent to " +
                                    server.name() + ". The command was not sent.");
  }
}

std::string limitOf(const Line& line, std::size_t length) {
  return FrameTooLong(length, line.connection->limit()).what();
}

}  // namespace

struct ClientChannel::Call {
  std::span<const std::uint8_t> command;
  CommandTime::Clock::time_point start;
  CommandTime time;
  Frame answer;
};

ClientChannel::ClientChannel(Peer endpoint, const LibraryKind& kind)
    : m_endpoint(std::move(endpoint)), m_kind(kind) {}

int ClientChannel::Initialize(std::uint8_t /*callingRuntime*/, std::uint8_t /*calledRuntime*/,
                              std::uint8_t /*launchArgument*/) {
  return 0;
}

int ClientChannel::SendCommand(std::uint8_t* message, int length) {
  const std::span<const std::uint8_t> command(message,
                                              static_cast<std::size_t>(std::max(length, 0)));
  try {
    if (isForOther(command)) {
      const int size = other().SendCommand(message, length);
      m_responses.forget();
      m_forwarded.store({});
      return size;
    }
    const int size = send(command);
    if (m_other.load(std::memory_order_acquire) != nullptr) {
      m_forwarded.forget();
    }
    return size;
  } catch (const ClientFailure& failure) {
    throw std::runtime_error(failure.what());
  }
}

int ClientChannel::send(std::span<const std::uint8_t> command) {
  const auto start = CommandTime::Clock::now();
  Call call{command, start, CommandTime(command, start), {}};
  call.answer.bytes = m_responses.usedRoom();
  carryOut(call);
  const int size = static_cast<int>(call.answer.bytes.size());
  m_responses.store(std::move(call.answer.bytes));
  return size;
}

// A server that goes away says so on a connection that was kept; another one may take its place at
// the same address.
void ClientChannel::carryOut(Call& call) {
  Line kept = m_idle.take(EndpointConfiguration::revision(), call.start);
  if (kept.connection == nullptr) {
    carryOutAnew(call);
    return;
  }
  try {
    carryOutOn(std::move(kept), call);
    return;
  } catch (const ClientFailure& failure) {
    if (!failure.leavesOthersToTry()) {
      throw;
    }
  }
  carryOutAnew(call);
}

// On a new connection: to the server that was reached last, and in turn to the others as long as
// nothing was executed.
void ClientChannel::carryOutAnew(Call& call) {
  const auto settings = std::make_shared<const ClientSettings>(ClientSettings::read(m_endpoint));
  if (settings->requiresTls && m_kind.channelType != kTlsChannel) {
    fail(ClientError::Refused, "The configuration requires TLS for " + m_endpoint.name() +
                                   ". The command was not sent. Use a target with TLS.");
  }
  call.time.limitUnlessOwn(settings->callTimeout);
  const std::size_t count = settings->servers.size();
  const std::size_t first = m_server.load(std::memory_order_relaxed) % count;
  std::string failures;
  for (std::size_t tried = 1;; ++tried) {
    const std::size_t server = (first + tried - 1) % count;
    bool isReached = false;
    try {
      failIfOver(call.time, settings->servers[server]);
      Line line{dial(settings->servers[server], *settings, *m_kind.secure, call.time.end(),
                     count - tried + 1),
                settings, server};
      m_server.store(server, std::memory_order_relaxed);
      isReached = true;
      carryOutOn(std::move(line), call);
      return;
    } catch (const ClientFailure& failure) {
      if (!isReached) {
        // The next command begins with another one.
        m_server.store((server + 1) % count, std::memory_order_relaxed);
      }
      failures += "\n" + failure.text();
      if (count == 1 || !failure.leavesOthersToTry()) {
        throw;
      }
      if (tried == count) {
        fail(failure.code(), "None of the " + std::to_string(count) + " servers of " +
                                 m_endpoint.name() + " has taken the command:" + failures);
      }
    }
  }
}

void ClientChannel::carryOutOn(Line line, Call& call) {
  Connection& connection = *line.connection;
  call.time.limitUnlessOwn(line.settings->callTimeout);
  if (call.command.size() > connection.limit()) {
    const std::string tooLong = limitOf(line, call.command.size());
    const std::string name = line.peer().name();
    m_idle.give(std::move(line), CommandTime::Clock::now());
    fail(ClientError::TooLong, "The command for " + name + " has " + tooLong +
                                   ". The command was not sent. FERROLINK_MAX_FRAME_BYTES sets "
                                   "the limit.");
  }
  failIfOver(call.time, line.peer());
  const std::uint32_t number = connection.nextNumber();
  connection.socket().waitUntil(call.time.end());
  transmit(line, call, number);
  receive(line, call, number);
  const Wire::Status status = call.answer.header.status;
  const std::shared_ptr<const ClientSettings> settings = line.settings;
  const Peer& server = line.peer();
  if (!Wire::endsConnection(status) && !connection.isUsedUp()) {
    m_idle.give(std::move(line), CommandTime::Clock::now());
  }
  if (status != Wire::Status::Payload) {
    failWithAnswer(server, call.answer);
  }
}

void ClientChannel::transmit(const Line& line, const Call& call, std::uint32_t number) const {
  Wire::FrameHeader header;
  header.number = number;
  header.milliseconds = call.time.left();
  try {
    line.connection->send(header, call.command);
  } catch (const std::system_error& error) {
    failToSend(line, call, number, error.code());
  }
}

// A server that refuses a command before it has all of it closes the connection. Then its answer
// has come already.
void ClientChannel::failToSend(const Line& line, const Call& call, std::uint32_t number,
                               const std::error_code& error) const {
  if (error == asio::error::timed_out && call.time.isOver()) {
    failOverTime(line.peer(), "while it was sent to");
  }
  Frame answer;
  try {
    line.connection->socket().dontWait(true);
    if (!line.connection->receive(answer) || answer.header.number != number) {
      answer.header.status = Wire::Status::Payload;
    }
  } catch (const std::exception&) {
    answer.header.status = Wire::Status::Payload;
  }
  if (answer.header.status != Wire::Status::Payload) {
    failWithAnswer(line.peer(), answer);
  }
  failBroken(line.peer(), "while a command was sent", error);
}

void ClientChannel::receive(const Line& line, Call& call, std::uint32_t number) const {
  try {
    if (!line.connection->receive(call.answer)) {
      throw std::system_error(asio::error::make_error_code(asio::error::eof));
    }
    if (call.answer.header.number != number) {
      throw std::system_error(std::make_error_code(std::errc::bad_message));
    }
  } catch (const std::system_error& error) {
    if (error.code() == asio::error::timed_out && call.time.isOver()) {
      failOverTime(line.peer(), "while an answer was awaited from");
    }
    failBroken(line.peer(), "while an answer was awaited", error.code());
  } catch (const FrameTooLong& tooLong) {
    const Wire::FrameHeader& header = call.answer.header;
    if (header.number != number || header.status != Wire::Status::Payload) {
      failBroken(line.peer(), "while an answer was awaited",
                 std::make_error_code(std::errc::bad_message));
    }
    fail(ClientError::AnswerTooLong, "The answer of " + line.peer().name() + " has " +
                                         tooLong.what() +
                                         ". The command was executed. FERROLINK_MAX_FRAME_BYTES "
                                         "sets the limit.");
  }
}

int ClientChannel::ReadResponse(std::uint8_t* buffer, int length) {
  ITransport* const forwarder = m_other.load(std::memory_order_acquire);
  if (forwarder != nullptr && m_forwarded.read(nullptr, 0)) {
    return forwarder->ReadResponse(buffer, length);
  }
  if (!m_responses.read(buffer, std::max(length, 0))) {
    throw std::runtime_error(
        ClientFailure(ClientError::NoResponse, "No response of " + m_endpoint.name() +
                                                   " waits on this thread. Send and read on one "
                                                   "thread, once each.")
            .what());
  }
  return 0;
}

bool ClientChannel::isForOther(std::span<const std::uint8_t> command) const {
  namespace Header = Native::Definitions::CommandHeader;
  return command.size() > Header::kChannelType &&
         command[Header::kChannelType] == m_kind.otherChannelType;
}

ITransport& ClientChannel::other() {
  if (ITransport* made = m_other.load(std::memory_order_acquire); made != nullptr) {
    return *made;
  }
  const SiblingLibrary library(m_kind.otherLibrary);
  using Create = ITransport*(const char* host, std::uint16_t port);
  auto* create = library.function<Create>("CreateTransportChannel");
  if (create == nullptr) {
    fail(ClientError::Settings,
         std::string("The command for ") + m_endpoint.name() + " needs " + m_kind.otherLibrary +
             ", which cannot be opened: " +
             (library.isOpen() ? "it is another library" : library.reason()) +
             ". The command was not sent. Reinstall Ferrolink package.");
  }
  const std::lock_guard<std::mutex> lock(m_otherMutex);
  if (m_ownedOther == nullptr) {
    m_ownedOther.reset(create(m_endpoint.host.c_str(), m_endpoint.port));
    if (m_ownedOther == nullptr) {
      throw std::bad_alloc();
    }
    m_other.store(m_ownedOther.get(), std::memory_order_release);
  }
  return *m_ownedOther;
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
