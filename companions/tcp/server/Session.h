#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SESSION_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SESSION_H

#include <memory>
#include <string>
#include <utility>

#include "companions/tcp/Connection.h"
#include "companions/tcp/server/Departure.h"
#include "companions/tcp/server/FrameBuffer.h"
#include "companions/tcp/server/Member.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// What all sessions share. All of it outlives them.
struct Surroundings {
  const ServerOptions& options;
  const Member& member;
  MemoryBudget& memory;
  const Departure& departure;
};

/// One client's connection as long as commands follow one another, on one thread.
class Session {
 public:
  /// What is left to be done for the connection.
  enum class End {
    Closed,     ///< nothing
    Idle,       ///< no command has come for a while: to await one without a thread
    GoingAway,  ///< the next command will not be begun: to tell the client so
    Answered,   ///< the last answer is sent, and should arrive before the connection is closed
  };

  /// Of a client that was greeted.
  Session(std::unique_ptr<Connection> connection, std::string client, Surroundings surroundings)
      : m_connection(std::move(connection)),
        m_client(std::move(client)),
        m_around(surroundings),
        m_command(surroundings.memory),
        m_response(surroundings.memory) {}

  /// Answers commands. Logs what is wrong; raises nothing but the end of the thread.
  End run();

  /// Any thread: the connection ends at once; a command that runs is not answered.
  void cut() { m_connection->socket().cut(); }

  /// After run.
  std::unique_ptr<Connection> takeConnection() { return std::move(m_connection); }

 private:
  /// What becomes of the session after a frame.
  enum class Next { Frame, Idle, GoAway, Close, Linger };
  struct Answer {
    Wire::Status status = Wire::Status::Payload;
    std::string text{};  ///< in place of a response; else the response is in its buffer
  };

  End serve();
  Next awaitHeader();
  Next answerNext();
  Next receiveCommand(const Wire::FrameHeader& header);
  Next reply(const Answer& answer);
  Next refuse(const std::string& text);
  Answer execute(const Wire::FrameHeader& header, PatientSocket::Clock::time_point arrived);
  Answer run(std::span<std::uint8_t> command);
  void limitBy(std::chrono::milliseconds progress);

  // Used by the session's thread alone, but for the end of the connection.
  std::unique_ptr<Connection> m_connection;
  const std::string m_client;
  const Surroundings m_around;
  FrameBuffer m_command;
  FrameBuffer m_response;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
