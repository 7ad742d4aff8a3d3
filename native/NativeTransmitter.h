#ifndef FERROLINK_NATIVE_NATIVETRANSMITTER_H
#define FERROLINK_NATIVE_NATIVETRANSMITTER_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "native/BriefMutex.h"
#include "native/Export.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/ITransport.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Native::Transport {
class TransportInMemory;
}

namespace Ferrolink::Native::Transmitter {

/// Routes commands out of this runtime by their header: picks or makes the channel, initialises it
/// for the pair of runtimes, and hands the command on.
///
/// The channel of the most recent command is the current channel, which ReadResponse reads from. A
/// thread that selected a channel itself reads from that one, so that other threads' commands do
/// not come between a command and its response; a thread that did not reads from the current
/// channel.
///
/// All in-memory traffic shares one channel. Network channels are kept under "address:port" and
/// never closed. The key leaves out the channel type: whichever type reached an endpoint first
/// serves both.
/// Thread rule: any thread. Errors (FerrolinkNativeException): the length text; 023; 020 from
/// ReadResponse before any channel was selected; the channels' own, unchanged.
class FERROLINK_EXPORT NativeTransmitter : public Interfaces::ITransmitter {
 public:
  explicit NativeTransmitter(Definitions::RuntimeOperationMode mode);
  NativeTransmitter(const NativeTransmitter&) = delete;
  NativeTransmitter& operator=(const NativeTransmitter&) = delete;
  ~NativeTransmitter() override;

  int SendCommand(std::uint8_t* message, int length) override;
  int ReadResponse(std::uint8_t* buffer, int length) override;
  void SetTransportChannel(Interfaces::ITransport* channel) override;
  /// Always over the in-memory channel, which becomes the current one.
  int SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                         std::uint8_t launchArgument, std::string path) override;
  /// Checks no length: the caller supplies at least the 10 bytes that select the channel.
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

 private:
  struct Endpoint;
  using Channel = std::shared_ptr<Interfaces::ITransport>;

  FERROLINK_LOCAL Interfaces::ITransport& Select(const std::uint8_t* message);
  FERROLINK_LOCAL Interfaces::ITransport& Select(const Endpoint& endpoint);
  FERROLINK_LOCAL Interfaces::ITransport& SelectAnew(const Endpoint& endpoint);
  FERROLINK_LOCAL Channel& ChannelTo(const Endpoint& endpoint);

  // Guarded by m_channelsMutex, held for a look-up or an assignment only, never across a channel's
  // operation. Destroyed in reverse order: current channel, registry, in-memory channel.
  BriefMutex m_channelsMutex;
  Channel m_inMemoryChannel;
  std::map<std::string, Channel> m_channels;
  Channel m_currentChannel;

  // m_currentChannel without the lock, for comparing only.
  std::atomic<Interfaces::ITransport*> m_current{nullptr};

  // Constant after construction. The number tells this transmitter from all others that ever were.
  [[maybe_unused]] const Definitions::RuntimeOperationMode m_operationMode;
  const unsigned long m_number;
};

}  // namespace Ferrolink::Native::Transmitter

#endif
