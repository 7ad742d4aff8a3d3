#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTCHANNEL_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTCHANNEL_H

#include <cstdint>
#include <string>

#include "companions/tcp/client/ConnectionPool.h"
#include "companions/tcp/client/Dialer.h"
#include "native/ThreadResponses.h"
#include "native/interfaces/ITransport.h"

namespace Ferrolink::Companions::Tcp::Client {

/// The channel to one server. Connects with the first command, and with later ones where there are
/// more at once than connections, or where a connection was lost. A command is sent once: when its
/// connection breaks it fails, and the next one connects anew.
///
/// Thread rule: any number of threads, each with a connection to itself while its command runs, and
/// each reading its own response. Errors: those of ClientError.h, and where the server says why
/// there is no response, std::runtime_error with its text.
class ClientChannel : public Native::Interfaces::ITransport {
 public:
  ClientChannel(Peer peer, Secure& secure);

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
  Frame exchange(Connection& connection, std::span<const std::uint8_t> command) const;
  void send(Connection& connection, const Wire::FrameHeader& header,
            std::span<const std::uint8_t> command) const;
  Frame receive(Connection& connection, std::uint32_t number) const;

  // Constant after construction.
  const Peer m_peer;
  Secure& m_secure;

  ConnectionPool m_idle;
  Native::ThreadResponses m_responses;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
