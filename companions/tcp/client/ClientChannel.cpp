#include "companions/tcp/client/ClientChannel.h"

#include <algorithm>
#include <exception>
#include <new>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "companions/tcp/Connection.h"
#include "companions/tcp/Wire.h"
#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/ClientSettings.h"
#include "companions/tcp/client/CommandTime.h"
#include "companions/tcp/client/EndpointConfiguration.h"
#include "companions/tcp/client/Peer.h"
#include "companions/tcp/client/ServerText.h"
#include "companions/tcp/client/SiblingLibrary.h"
#include "ferrolink/protocol/CommandParts.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

using Native::Interfaces::ITransport;

[[noreturn]] void FailBroken(const Peer& server, const std::string& when,
                             const std::error_code& error) {
  Fail(ClientError::Broken, "The connection to " + server.Name() + " broke " + when + ": " +
                                ReasonOf(error) +
                                ". The command may have been executed and is not sent again. See "
                                "what the server says, then decide whether to repeat it.");
}

[[noreturn]] void FailOverTime(const Peer& server, const std::string& when) {
  Fail(ClientError::TimeOverSent,
       "The time of the command was over " + when + " " + server.Name() +
           ". The command may have been executed and is not sent again; its connection is closed.");
}

void FailIfOver(const CommandTime& time, const Peer& server) {
  if (time.IsOver()) {
    Fail(ClientError::TimeOver, "The time of the command was over before it was sent to " +
                                    server.Name() + ". The command was not sent.");
  }
}

std::string LimitOf(const Line& line, std::size_t length) {
  return FrameTooLong(length, line.connection->Limit()).what();
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
    if (IsForOther(command)) {
      const int size = Other().SendCommand(message, length);
      m_responses.Forget();
      m_forwarded.Store({});
      return size;
    }
    const int size = Send(command);
    if (m_other.load(std::memory_order_acquire) != nullptr) {
      m_forwarded.Forget();
    }
    return size;
  } catch (const ClientFailure& failure) {
    throw std::runtime_error(failure.what());
  }
}

int ClientChannel::Send(std::span<const std::uint8_t> command) {
  const auto start = CommandTime::Clock::now();
  Call call{command, start, CommandTime(command, start), {}};
  call.answer.bytes = m_responses.UsedRoom();
  CarryOut(call);
  const int size = static_cast<int>(call.answer.bytes.size());
  m_responses.Store(std::move(call.answer.bytes));
  return size;
}

// A server that shuts down says so on a kept connection. Another server may take over its address.
void ClientChannel::CarryOut(Call& call) {
  Line kept = m_idle.Take(EndpointConfiguration::Revision(), call.start);
  if (kept.connection == nullptr) {
    CarryOutAnew(call);
    return;
  }
  try {
    CarryOutOn(std::move(kept), call);
    return;
  } catch (const ClientFailure& failure) {
    if (!failure.LeavesOthersToTry()) {
      throw;
    }
  }
  CarryOutAnew(call);
}

// Uses a new connection, to the server that was reached last, then to the others in turn while
// nothing was executed.
void ClientChannel::CarryOutAnew(Call& call) {
  const auto settings = std::make_shared<const ClientSettings>(ClientSettings::Read(m_endpoint));
  if (settings->requiresTls && m_kind.channelType != Protocol::Header::kChannelTls) {
    Fail(ClientError::Refused, "The configuration requires TLS for " + m_endpoint.Name() +
                                   ". The command was not sent. Use a target with TLS.");
  }
  call.time.LimitUnlessOwn(settings->callTimeout);
  const std::size_t count = settings->servers.size();
  const std::size_t first = m_server.load(std::memory_order_relaxed) % count;
  std::string failures;
  for (std::size_t tried = 1;; ++tried) {
    const std::size_t server = (first + tried - 1) % count;
    bool isReached = false;
    try {
      FailIfOver(call.time, settings->servers[server]);
      Line line{Dial(settings->servers[server], *settings, *m_kind.secure, call.time.end(),
                     count - tried + 1),
                settings, server};
      m_server.store(server, std::memory_order_relaxed);
      isReached = true;
      CarryOutOn(std::move(line), call);
      return;
    } catch (const ClientFailure& failure) {
      if (!isReached) {
        m_server.store((server + 1) % count, std::memory_order_relaxed);
      }
      failures += "\n" + failure.Text();
      if (count == 1 || !failure.LeavesOthersToTry()) {
        throw;
      }
      if (tried == count) {
        Fail(failure.Code(), "None of the " + std::to_string(count) + " servers of " +
                                 m_endpoint.Name() + " has taken the command:" + failures);
      }
    }
  }
}

void ClientChannel::CarryOutOn(Line line, Call& call) {
  Connection& connection = *line.connection;
  call.time.LimitUnlessOwn(line.settings->callTimeout);
  if (call.command.size() > connection.Limit()) {
    const std::string tooLong = LimitOf(line, call.command.size());
    const std::string name = line.GetPeer().Name();
    m_idle.Give(std::move(line), CommandTime::Clock::now());
    Fail(ClientError::TooLong, "The command for " + name + " has " + tooLong +
                                   ". The command was not sent. FERROLINK_MAX_FRAME_BYTES sets "
                                   "the limit.");
  }
  FailIfOver(call.time, line.GetPeer());
  const std::uint32_t number = connection.NextNumber();
  connection.Socket().WaitUntil(call.time.end());
  Transmit(line, call, number);
  Receive(line, call, number);
  const Wire::Status status = call.answer.header.status;
  const std::shared_ptr<const ClientSettings> settings = line.settings;
  const Peer& server = line.GetPeer();
  if (!Wire::EndsConnection(status) && !connection.IsUsedUp()) {
    m_idle.Give(std::move(line), CommandTime::Clock::now());
  }
  if (status != Wire::Status::Payload) {
    FailWithAnswer(server, call.answer);
  }
}

void ClientChannel::Transmit(const Line& line, const Call& call, std::uint32_t number) const {
  Wire::FrameHeader header;
  header.number = number;
  header.milliseconds = call.time.Left();
  try {
    line.connection->Send(header, call.command);
  } catch (const std::system_error& error) {
    FailToSend(line, call, number, error.code());
  }
}

// A server that refuses a command before it has received all of it closes the connection. Its
// answer has arrived by then.
void ClientChannel::FailToSend(const Line& line, const Call& call, std::uint32_t number,
                               const std::error_code& error) const {
  if (error == asio::error::timed_out && call.time.IsOver()) {
    FailOverTime(line.GetPeer(), "while it was sent to");
  }
  Frame answer;
  try {
    line.connection->Socket().DontWait(true);
    if (!line.connection->Receive(answer) || answer.header.number != number) {
      answer.header.status = Wire::Status::Payload;
    }
  } catch (const std::exception&) {
    answer.header.status = Wire::Status::Payload;
  }
  if (answer.header.status != Wire::Status::Payload) {
    FailWithAnswer(line.GetPeer(), answer);
  }
  FailBroken(line.GetPeer(), "while a command was sent", error);
}

void ClientChannel::Receive(const Line& line, Call& call, std::uint32_t number) const {
  try {
    if (!line.connection->Receive(call.answer)) {
      throw std::system_error(asio::error::make_error_code(asio::error::eof));
    }
    if (call.answer.header.number != number) {
      throw std::system_error(std::make_error_code(std::errc::bad_message));
    }
  } catch (const std::system_error& error) {
    if (error.code() == asio::error::timed_out && call.time.IsOver()) {
      FailOverTime(line.GetPeer(), "while an answer was awaited from");
    }
    FailBroken(line.GetPeer(), "while an answer was awaited", error.code());
  } catch (const FrameTooLong& tooLong) {
    const Wire::FrameHeader& header = call.answer.header;
    if (header.number != number || header.status != Wire::Status::Payload) {
      FailBroken(line.GetPeer(), "while an answer was awaited",
                 std::make_error_code(std::errc::bad_message));
    }
    Fail(ClientError::AnswerTooLong, "The answer of " + line.GetPeer().Name() + " has " +
                                         tooLong.what() +
                                         ". The command was executed. FERROLINK_MAX_FRAME_BYTES "
                                         "sets the limit.");
  }
}

int ClientChannel::ReadResponse(std::uint8_t* buffer, int length) {
  ITransport* const forwarder = m_other.load(std::memory_order_acquire);
  if (forwarder != nullptr && m_forwarded.Read(nullptr, 0)) {
    return forwarder->ReadResponse(buffer, length);
  }
  if (!m_responses.Read(buffer, std::max(length, 0))) {
    throw std::runtime_error(
        ClientFailure(ClientError::NoResponse, "No response of " + m_endpoint.Name() +
                                                   " waits on this thread. Send and read on one "
                                                   "thread, once each.")
            .what());
  }
  return 0;
}

bool ClientChannel::IsForOther(std::span<const std::uint8_t> command) const {
  return command.size() > Protocol::Header::kChannelType &&
         command[Protocol::Header::kChannelType] == m_kind.otherChannelType;
}

ITransport& ClientChannel::Other() {
  if (ITransport* made = m_other.load(std::memory_order_acquire); made != nullptr) {
    return *made;
  }
  const SiblingLibrary library(m_kind.otherLibrary);
  using Create = ITransport*(const char* host, std::uint16_t port);
  auto* create = library.Find<Create>("CreateTransportChannel");
  if (create == nullptr) {
    Fail(ClientError::Settings,
         std::string("The command for ") + m_endpoint.Name() + " needs " + m_kind.otherLibrary +
             ", which cannot be opened: " +
             (library.IsOpen() ? "it is another library" : library.Reason()) +
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
