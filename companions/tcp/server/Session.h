#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SESSION_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SESSION_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "companions/tcp/Connection.h"
#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/Wire.h"
#include "companions/tcp/server/Crowd.h"
#include "companions/tcp/server/Departure.h"
#include "companions/tcp/server/Events.h"
#include "companions/tcp/server/FrameBuffer.h"
#include "companions/tcp/server/Guest.h"
#include "companions/tcp/server/Member.h"
#include "companions/tcp/server/MemoryBudget.h"
#include "companions/tcp/server/Metrics.h"
#include "companions/tcp/server/RunningCall.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Shared by all sessions, and must outlive them.
struct Surroundings {
  const ServerOptions& options;
  const Member& member;
  MemoryBudget& memory;
  const Departure& departure;
  const Crowd& crowd;
  const Events& events;
};

/// One client's connection while its commands follow one another, on one thread.
class Session {
 public:
  /// What the caller must do with the connection.
  enum class End {
    Closed,     ///< nothing
    Idle,       ///< no command has come for a while: to await one without a thread
    GoingAway,  ///< the next command will not be begun: to tell the client so
    Answered,   ///< the last answer is sent, and should arrive before the connection is closed
  };

  /// Precondition: the client was greeted.
  Session(Guest guest, Surroundings surroundings)
      : m_guest(std::move(guest)),
        m_connection(*m_guest.connection),
        m_around(surroundings),
        m_command(surroundings.memory),
        m_response(surroundings.memory) {}

  /// Answers commands. Logs errors. Raises nothing except the end of the thread.
  End Run();

  /// Ends the connection at once; a running command is not answered. Thread-safe.
  void Cut() { m_connection.Socket().Cut(); }

  /// Call it after Run.
  Guest TakeGuest() { return std::move(m_guest); }

 private:
  /// The next step after a frame.
  enum class Next { Frame, Idle, GoAway, Close, Linger };
  struct Answer {
    Wire::Status status = Wire::Status::Payload;
    std::string text{};  ///< in place of a response; else the response is in its buffer
  };

  End Serve();
  End RefuseFirst(const std::string& why);
  Next AwaitHeader();
  Next AnswerNext();
  Next ReceiveCommand(const Wire::FrameHeader& header);
  Next Reply(const Answer& answer);
  Next Refuse(const std::string& text, Refusal kind);
  Answer Execute(const Wire::FrameHeader& header, PatientSocket::Clock::time_point arrived);
  Answer Admit(std::span<std::uint8_t> command);
  Answer NotBegun(Wire::Status status, std::string text, Refusal kind);
  Answer Run(std::span<std::uint8_t> command);
  Answer RunAs(std::span<std::uint8_t> command, RunningCall& call);
  void LimitBy(std::chrono::milliseconds progress);

  // Used by the session's thread only, except for Cut.
  Guest m_guest;
  Connection& m_connection;  ///< the guest's
  const Surroundings m_around;
  FrameBuffer m_command;
  FrameBuffer m_response;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
