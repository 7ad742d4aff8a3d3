#ifndef FERROLINK_NATIVE_TRANSPORT_TRANSPORTNETWORK_H
#define FERROLINK_NATIVE_TRANSPORT_TRANSPORTNETWORK_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "native/Export.h"
#include "native/interfaces/ITransport.h"

namespace Ferrolink::Native::Transport {

/// The channel to a runtime in another process, over TCP or TCP with TLS. Contains no socket code:
/// a client library makes a channel object, and everything is forwarded to that. The client
/// libraries stay open until the process ends.
///
/// Thread rule: any thread. The client channel pairs each response with its command. Errors
/// (FerrolinkNativeException): 011 to 013 and the finder's 001 from Initialize; 020 if a command
/// comes before Initialize; the client channel's own, unchanged.
class FERROLINK_EXPORT TransportNetwork : public Interfaces::ITransport {
 public:
  /// Stores its arguments; opens nothing. `host` is a name or an address.
  TransportNetwork(std::string host, std::uint16_t port, bool useTls);
  TransportNetwork(const TransportNetwork&) = delete;
  TransportNetwork& operator=(const TransportNetwork&) = delete;
  ~TransportNetwork() override;

  /// Makes and initialises the client channel on the first call. Later calls only select it again.
  /// Returns 0.
  int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                 std::uint8_t launchArgument) override;
  int SendCommand(std::uint8_t* message, int length) override;
  int ReadResponse(std::uint8_t* buffer, int length) override;
  /// A no-op that returns 0, as DeployRuntime: a peer has no embedded runtime.
  int SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                         std::uint8_t launchArgument, std::string path) override;
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

  // The steps of Initialize; the first has nothing to do. All return 0 or raise. Public because
  // they are operations of the class that other libraries may call; the library itself calls them
  // from Initialize only.
  int ImportLibraryAndExportedFunctions();
  int ImportTcpClientLibrary();
  int ImportTcpTlsClientLibrary();
  int CreateTransportTcpChannel(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                std::uint8_t launchArgument);
  int CreateTransportTcpTlsChannel(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                   std::uint8_t launchArgument);

 private:
  /// A client library and the channel that it made.
  struct Client {
    std::atomic<void*> library{nullptr};
    std::shared_ptr<Interfaces::ITransport> channel;  ///< guarded by m_channelMutex
  };

  FERROLINK_LOCAL int CreateChannel(Client& client, std::uint8_t callingRuntime,
                                    std::uint8_t calledRuntime, std::uint8_t launchArgument);
  FERROLINK_LOCAL std::shared_ptr<Interfaces::ITransport> ChannelOf(const Client& client) const;
  [[nodiscard]] FERROLINK_LOCAL Interfaces::ITransport& ActiveChannel() const;

  // Constant after construction.
  const std::string m_host;
  const std::uint16_t m_port;
  const bool m_useTls;

  // Guarded by m_channelMutex, which is held for a copy or an assignment only, never across a call
  // into a client library.
  mutable std::mutex m_channelMutex;
  Client m_tcp;
  Client m_tls;
  std::shared_ptr<Interfaces::ITransport> m_activeChannel;
  // The active channel, read without the lock. A channel is never replaced by another, so this
  // pointer is valid as long as the transport.
  std::atomic<Interfaces::ITransport*> m_active{nullptr};
};

}  // namespace Ferrolink::Native::Transport

#endif
