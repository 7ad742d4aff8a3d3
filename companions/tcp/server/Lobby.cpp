#include "companions/tcp/server/Lobby.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <asio/error.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <system_error>
#include <utility>
#include <variant>

#include "companions/tcp/TlsConnection.h"
#include "companions/tcp/server/ClientIdentity.h"
#include "companions/tcp/server/CommandGate.h"
#include "companions/tcp/server/Greeter.h"
#include "companions/tcp/server/Refusals.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// A last answer is lost where the connection is closed before the client has taken it, or while it
// still sends. These are how long a client may be silent meanwhile, the same for clients that
// merely have to notice that the server goes away, and how long a client may take altogether.
constexpr std::chrono::seconds kSilence{5};
constexpr std::chrono::seconds kShortSilence{1};
constexpr std::chrono::seconds kFarewell{60};

// What one client may make the loop read before others get their turn.
constexpr int kReadsATurn = 16;

// Longer than the name of any handler and what precedes it.
constexpr std::size_t kBeginning = 512;

// What has come of the command whose header waits: enough for the name of its handler, if it came
// along with the header.
std::span<const std::uint8_t> beginningOfCommand(Connection& connection,
                                                 std::span<std::uint8_t> room) {
  Wire::FrameHeader header;
  try {
    connection.receiveHeader(header);
  } catch (const FrameTooLong&) {
    return {};
  }
  const auto beginning =
      room.first(std::min({room.size(), connection.unread(), std::size_t{header.length}}));
  connection.receiveBytes(beginning);
  return beginning;
}

// Null where the client has shown none; otherwise it has been verified.
const X509* certificateOf(Connection& connection) {
  auto* tls = dynamic_cast<TlsConnection*>(&connection);
  return tls == nullptr ? nullptr : SSL_get0_peer_certificate(tls->native());
}

}  // namespace

/// A guest, what it waits for and until when. Closures of the event loop hold it as well; it is of
/// no use any more once the guest is gone.
struct Lobby::Seat {
  Seat(asio::io_context& context, Guest newcomer, Stage now, bool usesTls)
      : guest(std::move(newcomer)),
        stage(now),
        greeter(usesTls),
        readiness(context, guest.connection->socket().descriptor()),
        deadline(context) {}
  Seat(const Seat&) = delete;
  Seat& operator=(const Seat&) = delete;
  ~Seat() { freeDescriptor(); }

  // The descriptor is the connection's.
  void freeDescriptor() {
    if (readiness.is_open()) {
      readiness.release();
    }
  }

  [[nodiscard]] bool isTaken() const { return guest.connection != nullptr; }
  [[nodiscard]] Connection& connection() const { return *guest.connection; }

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
    cut();
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
  }
}

void Lobby::greet(Guest guest) {
  const SeatPointer newcomer = seat(std::move(guest), Stage::Greeting);
  limit(newcomer, Clock::now() + m_options.greetingTimeout);
  proceed(newcomer);
}

void Lobby::await(Guest guest) {
  const SeatPointer waiting = seat(std::move(guest), Stage::Waiting);
  startWaiting(waiting);
  proceed(waiting);
}

void Lobby::refuse(Guest guest, const std::string& why, Refusal kind) {
  std::array<std::uint8_t, kBeginning> room{};
  try {
    m_events.notBegun(guest, handlerOf(beginningOfCommand(*guest.connection, room)), why, kind);
  } catch (const std::system_error& error) {
    m_events.broke(guest, error.code().message());
    return;
  }
  sayGoodbye(std::move(guest), why);
}

void Lobby::sayGoodbye(Guest guest, const std::string& why) {
  sayGoodbye(seat(std::move(guest), Stage::Leaving), why);
}

void Lobby::close(Guest guest) {
  startLeaving(seat(std::move(guest), Stage::Leaving));
}

void Lobby::goAway(const std::string& why) {
  m_goesAway = true;
  for (Row& row : m_rows) {
    for (const SeatPointer& each : Row(row)) {
      switch (each->stage) {
        case Stage::Greeting:
          leave(each);
          break;
        case Stage::Waiting:
          sayGoodbye(each, why);
          break;
        case Stage::Leaving:
          startLeaving(each);
          break;
      }
    }
  }
}

void Lobby::cut() {
  for (Row& row : m_rows) {
    while (!row.empty()) {
      leave(row.front());
    }
  }
}

bool Lobby::dropOldest() {
  for (Row& row : m_rows) {
    if (!row.empty()) {
      const Guest oldest = rise(row.front());
      m_events.displaced(oldest);
      return true;
    }
  }
  return false;
}

Lobby::SeatPointer Lobby::seat(Guest guest, Stage stage) {
  guest.connection->socket().waitUntil(std::nullopt);
  guest.connection->socket().waitAtMost(std::nullopt);
  guest.connection->socket().abortBy(-1);
  guest.connection->socket().dontWait(true);
  guest.connection->keepBuffers(false);
  Row& row = m_rows[guest.isKnown ? 1 : 0];
  auto taken = std::make_shared<Seat>(m_context, std::move(guest), stage, m_options.usesTls());
  taken->place = row.insert(row.end(), taken);
  return taken;
}

Guest Lobby::rise(const SeatPointer& seat) {
  // Keeps the seat: the row's own pointer may be what was passed.
  Row risen;
  risen.splice(risen.end(), m_rows[seat->guest.isKnown ? 1 : 0], seat->place);
  Seat& held = *risen.front();
  held.freeDescriptor();
  held.deadline.cancel();
  return std::move(held.guest);
}

void Lobby::proceed(const SeatPointer& seat) {
  try {
    if (seat->stage == Stage::Greeting) {
      greet(seat);
    }
    if (seat->isTaken() && seat->stage == Stage::Waiting) {
      await(seat);
    }
    if (seat->isTaken() && seat->stage == Stage::Leaving) {
      drain(seat);
    }
  } catch (const std::exception& error) {
    if (seat->isTaken()) {
      m_events.broke(seat->guest, error.what());
      leave(seat);
    }
  }
}

void Lobby::greet(const SeatPointer& seat) {
  switch (seat->greeter.advance(seat->connection())) {
    case Greeter::State::Waits:
      watch(seat, seat->connection().awaitedEvents());
      break;
    case Greeter::State::Greeted:
      admit(seat);
      break;
    case Greeter::State::Refused:
      m_events.refused(seat->guest, seat->greeter.why(),
                       seat->greeter.isInHandshake() ? Refusal::Tls : Refusal::Greeting);
      startLeaving(seat);
      break;
    case Greeter::State::Gone:
      leave(seat);
      break;
  }
}

// Whom the rules refuse is greeted all the same, and told so in place of an answer.
void Lobby::admit(const SeatPointer& seat) {
  Guest& guest = seat->guest;
  ClientIdentity identity = identityOf(certificateOf(*guest.connection), guest.address);
  std::unique_ptr<AccessRules::Client> client;
  if (m_options.rules->exist()) {
    AccessRules::Admission admission = m_options.rules->admit(identity);
    if (const auto* refusal = std::get_if<std::string>(&admission)) {
      m_events.refused(guest, *refusal, Refusal::Rules);
      sayGoodbye(seat, *refusal);
      return;
    }
    client = std::move(std::get<std::unique_ptr<AccessRules::Client>>(admission));
  }
  guest.visit =
      std::make_unique<Visit>(m_events.metrics(), std::move(identity.subject), std::move(client));
  m_events.accepted(guest);
  startWaiting(seat);
}

void Lobby::await(const SeatPointer& seat) {
  Connection& connection = seat->connection();
  asio::error_code error;
  while (!connection.hasHeader() && !error) {
    connection.readAhead(error);
  }
  if (connection.hasHeader()) {
    m_called(rise(seat));
  } else if (error == asio::error::would_block) {
    if (connection.unread() > 0 && !seat->commandHasBegun) {
      seat->commandHasBegun = true;
      limit(seat, Clock::now() + m_options.readTimeout);
    }
    watch(seat, connection.awaitedEvents());
  } else {
    if (error != asio::error::eof || connection.unread() > 0) {
      m_events.broke(seat->guest, error.message());
    }
    leave(seat);
  }
}

// Reads and forgets. What was read ahead, and what TLS has in hand, does not matter any more.
void Lobby::drain(const SeatPointer& seat) {
  std::array<std::uint8_t, 16U << 10U> unwanted;
  asio::error_code error;
  for (int reads = 0; reads < kReadsATurn && !error; ++reads) {
    seat->connection().socket().receive(unwanted, error);
  }
  if (error && error != asio::error::would_block) {
    leave(seat);
    return;
  }
  limitSilence(seat);
  watch(seat, POLLIN);
}

void Lobby::sayGoodbye(const SeatPointer& seat, const std::string& why) {
  try {
    Connection& connection = seat->connection();
    Wire::FrameHeader header;
    header.number = connection.nextNumber();
    header.status = Wire::Status::FinalNotBegun;
    connection.send(header, {reinterpret_cast<const std::uint8_t*>(why.data()), why.size()});
    m_events.metrics().sent(Wire::kFrameHeaderSize + why.size());
    startLeaving(seat);
  } catch (const std::exception& error) {
    m_events.broke(seat->guest, error.what());
    leave(seat);
  }
}

void Lobby::startWaiting(const SeatPointer& seat) {
  seat->stage = Stage::Waiting;
  limit(seat, m_options.idleTimeout.count() == 0 ? Clock::time_point::max()
                                                 : Clock::now() + m_options.idleTimeout);
}

void Lobby::startLeaving(const SeatPointer& seat) {
  seat->stage = Stage::Leaving;
  seat->connection().socket().endWriting();
  const std::chrono::milliseconds most =
      m_goesAway ? std::min<std::chrono::milliseconds>(kFarewell, m_options.shutdownGrace)
                 : kFarewell;
  seat->lastMoment = std::min(seat->lastMoment, Clock::now() + most);
  limitSilence(seat);
  watch(seat, POLLIN);
}

void Lobby::limitSilence(const SeatPointer& seat) {
  const auto silence = m_goesAway ? kShortSilence : kSilence;
  limit(seat, std::min(seat->lastMoment, Clock::now() + silence));
}

void Lobby::watch(const SeatPointer& seat, short events) {
  using Waited = asio::posix::descriptor_base;
  seat->readiness.cancel();
  seat->readiness.async_wait(events == POLLOUT ? Waited::wait_write : Waited::wait_read,
                             [this, seat](const asio::error_code& error) {
                               if (!error && seat->isTaken()) {
                                 proceed(seat);
                               }
                             });
}

void Lobby::limit(const SeatPointer& seat, Clock::time_point end) {
  seat->deadline.expires_at(end);
  if (end == Clock::time_point::max()) {
    return;
  }
  seat->deadline.async_wait([this, seat](const asio::error_code& error) {
    if (!error && seat->isTaken() && seat->deadline.expiry() <= Clock::now()) {
      expire(seat);
    }
  });
}

void Lobby::expire(const SeatPointer& seat) {
  if (seat->stage == Stage::Greeting) {
    m_events.refused(seat->guest,
                     "no greeting within " + std::to_string(m_options.greetingTimeout.count()) +
                         " ms (--greeting-timeout-ms)",
                     Refusal::Greeting);
    leave(seat);
  } else if (seat->stage == Stage::Waiting) {
    sayGoodbye(seat, seat->commandHasBegun ? Refusals::kTooSlow : Refusals::kIdle);
  } else {
    leave(seat);
  }
}

}  // namespace Ferrolink::Companions::Tcp::Server
