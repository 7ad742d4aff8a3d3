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

#include "companions/tcp/client/ConnectionPool.h"
#include "companions/tcp/client/Dialer.h"
#include "native/ThreadResponses.h"
#include "native/interfaces/ITransport.h"

namespace Ferrolink::Companions::Tcp::Client {

/// What commands say of the kind that they go by.
inline constexpr std::uint8_t kPlainChannel = 1;
inline constexpr std::uint8_t kTlsChannel = 2;

/// What tells the two client libraries apart.
struct LibraryKind {
  std::uint8_t channelType;       ///< of the commands that it serves itself
  std::uint8_t otherChannelType;  ///< of those that the other library serves
  const char* otherLibrary;       ///< its file
  Secure* secure;
};

/// The channel to one server. Connects with the first command, and with later ones where there are
/// more at once than connections, or where a connection was lost. A command that may have been
/// begun is not sent again: when its connection breaks it fails, and the next one connects anew.
///
/// Each command goes by the kind that it names itself, TCP or TLS: those of the other kind go
/// through a channel of the other library. What names neither goes by this library's kind.
///
/// Thread rule: any number of threads, each with a connection to itself while its command runs, and
/// each reading its own response. Errors: those of ClientError.h, and where the server says why
/// there is no response, std::runtime_error with its text.
class ClientChannel : public Native::Interfaces::ITransport {
 public:
  ClientChannel(Peer endpoint, const LibraryKind& kind);

  /// Nothing to prepare: the server need not run yet. Returns 0.
  int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                 std::uint8_t launchArgument) override;
  int SendCommand(std::uint8_t* message, int length) override;
  /// Copies what fits and forgets the response. Returns 0.
  int ReadResponse(std::uint8_t* buffer, int length) override;
  /// A server has no embedded runtime to set or deploy: these do nothing, return 0.
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

  // The channel of the other library, made when it is needed first. Guarded by m_otherMutex; once
  // it is there it stays, and is read without.
  std::mutex m_otherMutex;
  std::unique_ptr<ITransport> m_ownedOther;
  std::atomic<ITransport*> m_other{nullptr};
  // A response waits there for each thread that has one here.
  Native::ThreadResponses m_forwarded;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
