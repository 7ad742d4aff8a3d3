#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTCHANNEL_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTCHANNEL_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <system_error>

#include "companions/tcp/client/ConnectionPool.h"
#include "companions/tcp/client/Dialer.h"
#include "companions/tcp/client/Peer.h"
#include "native/ThreadResponses.h"
#include "native/interfaces/ITransport.h"

namespace Ferrolink::Companions::Tcp::Client {

/// The difference between the two client libraries.
struct LibraryKind {
  std::uint8_t channelType;       ///< of the commands that it serves itself
  std::uint8_t otherChannelType;  ///< of those that the other library serves
  const char* otherLibrary;       ///< its file
  Secure* secure;
};

/// The channel to one server. It connects with the first command. Later commands connect if all
/// connections are busy, or if a connection was lost. A command that may have been begun is not
/// sent again: if its connection breaks, it fails, and the next command opens a new connection.
///
/// Each command names its kind, TCP or TLS. A command of the other kind goes through a channel of
/// the other library. A command that names neither uses this library's kind.
///
/// Thread-safe. Each thread has a connection to itself while its command runs, and reads its own
/// response. Errors: those of ClientError.h, and std::runtime_error with the server's text if the
/// server says why there is no response.
class ClientChannel : public Native::Interfaces::ITransport {
 public:
  ClientChannel(Peer endpoint, const LibraryKind& kind);

  /// A no-op, since the server need not run yet. Returns 0.
  int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                 std::uint8_t launchArgument) override;
  int SendCommand(std::uint8_t* message, int length) override;
  /// Copies what fits and discards the response. Returns 0.
  int ReadResponse(std::uint8_t* buffer, int length) override;
  /// No-ops, since a server has no embedded runtime to set or deploy. They return 0.
  int SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                         std::uint8_t launchArgument, std::string path) override;
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

 private:
  struct Call;

  int Send(std::span<const std::uint8_t> command);
  void CarryOut(Call& call);
  void CarryOutAnew(Call& call);
  void CarryOutOn(Line line, Call& call);
  void Transmit(const Line& line, const Call& call, std::uint32_t number) const;
  void Receive(const Line& line, Call& call, std::uint32_t number) const;
  [[noreturn]] void FailToSend(const Line& line, const Call& call, std::uint32_t number,
                               const std::error_code& error) const;

  [[nodiscard]] bool IsForOther(std::span<const std::uint8_t> command) const;
  ITransport& Other();

  // Constant after construction.
  const Peer m_endpoint;
  const LibraryKind& m_kind;

  ConnectionPool m_idle;
  std::atomic<std::size_t> m_server{0};  ///< the one that was reached last
  Native::ThreadResponses m_responses;

  // The channel of the other library, created at its first use. m_otherMutex guards the creation;
  // afterwards the channel stays and is read without the lock.
  std::mutex m_otherMutex;
  std::unique_ptr<ITransport> m_ownedOther;
  std::atomic<ITransport*> m_other{nullptr};
  // The threads that have a response to read there.
  Native::ThreadResponses m_forwarded;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
