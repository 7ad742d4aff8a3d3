#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SESSION_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SESSION_H

#include <atomic>
#include <memory>
#include <string>

#include "companions/tcp/Connection.h"
#include "companions/tcp/server/Member.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// One line on standard error, in one piece.
void logLine(const std::string& text);

/// One client's connection, from its greeting to its end.
class Session {
 public:
  Session(std::unique_ptr<Connection> connection, std::string client, const ServerOptions& options,
          const Member& member)
      : m_connection(std::move(connection)),
        m_client(std::move(client)),
        m_options(options),
        m_member(member) {}

  /// Greets the client and answers its commands, all on this thread, until it goes or is told to.
  /// Logs what is wrong; raises nothing but the end of the thread.
  void run();

  /// Any thread: a command that runs is still answered, none is begun after it.
  void end();

 private:
  bool welcome();
  bool refuseOtherKind(std::uint8_t firstByte);
  void refuse(const std::string& why);
  void serve();
  bool answer(Frame& command);
  bool reply(Frame& answer);
  Frame execute(Bytes& command) const;

  // Constant after construction. The connection is used by the session's thread alone, but for its
  // end, and is closed when the session is destroyed.
  const std::unique_ptr<Connection> m_connection;
  const std::string m_client;
  const ServerOptions& m_options;
  const Member& m_member;

  std::atomic<bool> m_ending{false};
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
