#ifndef FERROLINK_NATIVE_INTERFACES_ITRANSMITTER_H
#define FERROLINK_NATIVE_INTERFACES_ITRANSMITTER_H

#include <cstdint>
#include <string>

namespace Ferrolink::Native::Interfaces {

class ITransport;

/// The role that sends commands to other runtimes. Binary contract: see IReceiver.
/// @code
/// std::vector<std::uint8_t> response(transmitter.SendCommand(command.data(), size));
/// response.at(0) = command[0];  // the channel finds the response by the target runtime
/// transmitter.ReadResponse(response.data(), static_cast<int>(response.size()));
/// @endcode
/// Thread rule: thread-safe. A SendCommand and its ReadResponse run on the same thread.
class ITransmitter {
 public:
  ITransmitter() = default;
  ITransmitter(const ITransmitter&) = delete;
  ITransmitter& operator=(const ITransmitter&) = delete;
  virtual ~ITransmitter() = default;

  /// Routes one command by its header; returns the length of the response that waits.
  virtual int SendCommand(std::uint8_t* message, int length) = 0;
  /// Copies this thread's response into `buffer`, whose first byte names the target runtime.
  virtual int ReadResponse(std::uint8_t* buffer, int length) = 0;
  /// Makes `channel` the current channel and takes ownership of it.
  virtual void SetTransportChannel(ITransport* channel) = 0;
  /// Tells the called runtime, in this process, where its runtime files are.
  virtual int SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                 std::uint8_t launchArgument, std::string path) = 0;
  /// Routes by the header of `message`; see ITransport.
  virtual int DeployRuntime(std::uint8_t* message, int length, std::string path,
                            std::uint8_t flag) = 0;
};

}  // namespace Ferrolink::Native::Interfaces

#endif
