#include "companions/tcp/server/Lobby.h"

#include <openssl/x509.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <asio/error.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <system_error>
#include <utility>
#include <variant>

#include "companions/tcp/Connection.h"
#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/Wire.h"
#include "companions/tcp/server/AccessRules.h"
#include "companions/tcp/server/ClientIdentity.h"
#include "companions/tcp/server/CommandGate.h"
#include "companions/tcp/server/Greeter.h"
#include "companions/tcp/server/Metrics.h"
#include "companions/tcp/server/Refusals.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// A last answer is lost if the connection is closed before the client has read it, or while the
// client still sends. So the server waits for the client: at most kSilence without a byte from it,
// or kShortSilence while the server shuts down, and at most kFarewell in total.
constexpr std::chrono::seconds kSilence{5};
constexpr std::chrono::seconds kShortSilence{1};
constexpr std::chrono::seconds kFarewell{60};

// The reads for one client before others get their turn.
constexpr int kReadsATurn = 16;

// More bytes than the longest handler name and everything before it.
constexpr std::size_t kBeginning = 512;

// The bytes of the waiting command that have arrived. They include the name of the handler if it
// arrived together with the header.
std::span<const std::uint8_t> BeginningOfCommand(Connection& connection,
                                                 std::span<std::uint8_t> room) {
  Wire::FrameHeader header;
  try {
    connection.ReceiveHeader(header);
  } catch (const FrameTooLong&) {
    return {};
  }
  const auto beginning =
      room.first(std::min({room.size(), connection.Unread(), std::size_t{header.length}}));
  connection.ReceiveBytes(beginning);
  return beginning;
}

// The verified certificate of the client; null if it sent none.
const X509* CertificateOf(Connection& connection) {
  auto* tls = dynamic_cast<TlsConnection*>(&connection);
  return tls == nullptr ? nullptr : SSL_get0_peer_certificate(tls->Native());
}

}  // namespace

/// A guest with its state and deadline. Closures of the event loop share ownership; they ignore it
/// once the guest has left.
struct Lobby::Seat {
  Seat(asio::io_context& context, Guest newcomer, Stage now, bool usesTls)
      : guest(std::move(newcomer)),
        stage(now),
        greeter(usesTls),
        readiness(context, guest.connection->Socket().Descriptor()),
        deadline(context) {}
  Seat(const Seat&) = delete;
  Seat& operator=(const Seat&) = delete;
  ~Seat() { FreeDescriptor(); }

  // The connection owns the descriptor.
  void FreeDescriptor() {
    if (readiness.is_open()) {
      readiness.release();
    }
  }

  [[nodiscard]] bool IsTaken() const { return guest.connection != nullptr; }
  [[nodiscard]] Connection& GetConnection() const { return *guest.connection; }

  Guest guest;
  Stage stage;
  Greeter greeter;
  asio::posix::stream_descriptor readiness;
  asio::steady_timer deadline;
  Clock::time_point lastMoment = Clock::time_point::max();
  bool commandHasBegun = false;
  Row::iterator place;
};

Lobby::Lobby(asio::io_context& context, const ServerOptions& options, const Events& events,
             Called called)
    : m_context(context), m_options(options), m_events(events), m_called(std::move(called)) {}

// A timer that cannot be cancelled ends with the loop.
Lobby::~Lobby() {
  try {
    Cut();
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
  }
}

void Lobby::Greet(Guest guest) {
  const SeatPointer newcomer = TakeSeat(std::move(guest), Stage::Greeting);
  Limit(newcomer, Clock::now() + m_options.greetingTimeout);
  Proceed(newcomer);
}

void Lobby::Await(Guest guest) {
  const SeatPointer waiting = TakeSeat(std::move(guest), Stage::Waiting);
  StartWaiting(waiting);
  Proceed(waiting);
}

void Lobby::Refuse(Guest guest, const std::string& why, Refusal kind) {
  std::array<std::uint8_t, kBeginning> room{};
  try {
    m_events.NotBegun(guest, HandlerOf(BeginningOfCommand(*guest.connection, room)), why, kind);
  } catch (const std::system_error& error) {
    m_events.Broke(guest, error.code().message());
    return;
  }
  SayGoodbye(std::move(guest), why);
}

void Lobby::SayGoodbye(Guest guest, const std::string& why) {
  SayGoodbye(TakeSeat(std::move(guest), Stage::Leaving), why);
}

void Lobby::Close(Guest guest) {
  StartLeaving(TakeSeat(std::move(guest), Stage::Leaving));
}

void Lobby::GoAway(const std::string& why) {
  m_goesAway = true;
  for (Row& row : m_rows) {
    for (const SeatPointer& each : Row(row)) {
      switch (each->stage) {
        case Stage::Greeting:
          Leave(each);
          break;
        case Stage::Waiting:
          SayGoodbye(each, why);
          break;
        case Stage::Leaving:
          StartLeaving(each);
          break;
      }
    }
  }
}

void Lobby::Cut() {
  for (Row& row : m_rows) {
    while (!row.empty()) {
      Leave(row.front());
    }
  }
}

bool Lobby::DropOldest() {
  for (Row& row : m_rows) {
    if (!row.empty()) {
      const Guest oldest = Rise(row.front());
      m_events.Displaced(oldest);
      return true;
    }
  }
  return false;
}

Lobby::SeatPointer Lobby::TakeSeat(Guest guest, Stage stage) {
  guest.connection->Socket().WaitUntil(std::nullopt);
  guest.connection->Socket().WaitAtMost(std::nullopt);
  guest.connection->Socket().AbortBy(-1);
  guest.connection->Socket().DontWait(true);
  guest.connection->KeepBuffers(false);
  Row& row = m_rows[guest.isKnown ? 1 : 0];
  auto taken = std::make_shared<Seat>(m_context, std::move(guest), stage, m_options.UsesTls());
  taken->place = row.insert(row.end(), taken);
  return taken;
}

Guest Lobby::Rise(const SeatPointer& seat) {
  // Keeps the seat alive: the parameter may be the row's own pointer.
  Row risen;
  risen.splice(risen.end(), m_rows[seat->guest.isKnown ? 1 : 0], seat->place);
  Seat& held = *risen.front();
  held.FreeDescriptor();
  held.deadline.cancel();
  return std::move(held.guest);
}

void Lobby::Proceed(const SeatPointer& seat) {
  try {
    if (seat->stage == Stage::Greeting) {
      Greet(seat);
    }
    if (seat->IsTaken() && seat->stage == Stage::Waiting) {
      Await(seat);
    }
    if (seat->IsTaken() && seat->stage == Stage::Leaving) {
      Drain(seat);
    }
  } catch (const std::exception& error) {
    if (seat->IsTaken()) {
      m_events.Broke(seat->guest, error.what());
      Leave(seat);
    }
  }
}

void Lobby::Greet(const SeatPointer& seat) {
  switch (seat->greeter.Advance(seat->GetConnection())) {
    case Greeter::State::Waits:
      Watch(seat, seat->GetConnection().AwaitedEvents());
      break;
    case Greeter::State::Greeted:
      Admit(seat);
      break;
    case Greeter::State::Refused:
      m_events.Refused(seat->guest, seat->greeter.Why(),
                       seat->greeter.IsInHandshake() ? Refusal::Tls : Refusal::Greeting);
      StartLeaving(seat);
      break;
    case Greeter::State::Gone:
      Leave(seat);
      break;
  }
}

// A client that the rules refuse is greeted as well; the reason is the answer to its first command.
void Lobby::Admit(const SeatPointer& seat) {
  Guest& guest = seat->guest;
  ClientIdentity identity = IdentityOf(CertificateOf(*guest.connection), guest.address);
  std::unique_ptr<AccessRules::Client> client;
  if (m_options.rules->Exist()) {
    AccessRules::Admission admission = m_options.rules->Admit(identity);
    if (const auto* refusal = std::get_if<std::string>(&admission)) {
      m_events.Refused(guest, *refusal, Refusal::Rules);
      SayGoodbye(seat, *refusal);
      return;
    }
    client = std::move(std::get<std::unique_ptr<AccessRules::Client>>(admission));
  }
  guest.visit = std::make_unique<Visit>(m_events.GetMetrics(), std::move(identity.subject),
                                        std::move(client));
  m_events.Accepted(guest);
  StartWaiting(seat);
}

void Lobby::Await(const SeatPointer& seat) {
  Connection& connection = seat->GetConnection();
  asio::error_code error;
  while (!connection.HasHeader() && !error) {
    connection.ReadAhead(error);
  }
  if (connection.HasHeader()) {
    m_called(Rise(seat));
  } else if (error == asio::error::would_block) {
    if (connection.Unread() > 0 && !seat->commandHasBegun) {
      seat->commandHasBegun = true;
      Limit(seat, Clock::now() + m_options.readTimeout);
    }
    Watch(seat, connection.AwaitedEvents());
  } else {
    if (error != asio::error::eof || connection.Unread() > 0) {
      m_events.Broke(seat->guest, error.message());
    }
    Leave(seat);
  }
}

// Reads and discards. Bytes that were read ahead or that TLS holds do not matter any more.
void Lobby::Drain(const SeatPointer& seat) {
  std::array<std::uint8_t, 16U << 10U> unwanted;
  asio::error_code error;
  for (int reads = 0; reads < kReadsATurn && !error; ++reads) {
    seat->GetConnection().Socket().Receive(unwanted, error);
  }
  if (error && error != asio::error::would_block) {
    Leave(seat);
    return;
  }
  LimitSilence(seat);
  Watch(seat, POLLIN);
}

void Lobby::SayGoodbye(const SeatPointer& seat, const std::string& why) {
  try {
    Connection& connection = seat->GetConnection();
    Wire::FrameHeader header;
    header.number = connection.NextNumber();
    header.status = Wire::Status::FinalNotBegun;
    connection.Send(header, {reinterpret_cast<const std::uint8_t*>(why.data()), why.size()});
    m_events.GetMetrics().Sent(Wire::kFrameHeaderSize + why.size());
    StartLeaving(seat);
  } catch (const std::exception& error) {
    m_events.Broke(seat->guest, error.what());
    Leave(seat);
  }
}

void Lobby::StartWaiting(const SeatPointer& seat) {
  seat->stage = Stage::Waiting;
  Limit(seat, m_options.idleTimeout.count() == 0 ? Clock::time_point::max()
                                                 : Clock::now() + m_options.idleTimeout);
}

void Lobby::StartLeaving(const SeatPointer& seat) {
  seat->stage = Stage::Leaving;
  seat->GetConnection().Socket().EndWriting();
  const std::chrono::milliseconds most =
      m_goesAway ? std::min<std::chrono::milliseconds>(kFarewell, m_options.shutdownGrace)
                 : kFarewell;
  seat->lastMoment = std::min(seat->lastMoment, Clock::now() + most);
  LimitSilence(seat);
  Watch(seat, POLLIN);
}

void Lobby::LimitSilence(const SeatPointer& seat) {
  const auto silence = m_goesAway ? kShortSilence : kSilence;
  Limit(seat, std::min(seat->lastMoment, Clock::now() + silence));
}

void Lobby::Watch(const SeatPointer& seat, short events) {
  using Waited = asio::posix::descriptor_base;
  seat->readiness.cancel();
  seat->readiness.async_wait(events == POLLOUT ? Waited::wait_write : Waited::wait_read,
                             [this, seat](const asio::error_code& error) {
                               if (!error && seat->IsTaken()) {
                                 Proceed(seat);
                               }
                             });
}

void Lobby::Limit(const SeatPointer& seat, Clock::time_point end) {
  seat->deadline.expires_at(end);
  if (end == Clock::time_point::max()) {
    return;
  }
  seat->deadline.async_wait([this, seat](const asio::error_code& error) {
    if (!error && seat->IsTaken() && seat->deadline.expiry() <= Clock::now()) {
      Expire(seat);
    }
  });
}

void Lobby::Expire(const SeatPointer& seat) {
  if (seat->stage == Stage::Greeting) {
    m_events.Refused(seat->guest,
                     "no greeting within " + std::to_string(m_options.greetingTimeout.count()) +
                         " ms (--greeting-timeout-ms)",
                     Refusal::Greeting);
    Leave(seat);
  } else if (seat->stage == Stage::Waiting) {
    SayGoodbye(seat, seat->commandHasBegun ? Refusals::kTooSlow : Refusals::kIdle);
  } else {
    Leave(seat);
  }
}

}  // namespace Ferrolink::Companions::Tcp::Server
