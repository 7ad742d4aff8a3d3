#ifndef FERROLINK_NATIVE_INTERFACES_ITRANSPORT_H
#define FERROLINK_NATIVE_INTERFACES_ITRANSPORT_H

#include <cstdint>
#include <string>

namespace Ferrolink::Native::Interfaces {

/// A channel from the transmitter to a called runtime. Binary contract: see IReceiver.
/// @code
/// channel.Initialize(2, 8, 0);  // the JVM calls C++
/// const int length = channel.SendCommand(command.data(), size);
/// @endcode
/// Thread rule: thread-safe. Initialize precedes every use.
class ITransport {
 public:
  ITransport() = default;
  ITransport(const ITransport&) = delete;
  ITransport& operator=(const ITransport&) = delete;
  virtual ~ITransport() = default;

  /// Prepares the channel for this pair of runtimes. Idempotent. The result means nothing.
  virtual int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                         std::uint8_t launchArgument) = 0;
  /// Delivers one command; returns the length of the response that waits for this thread.
  virtual int SendCommand(std::uint8_t* message, int length) = 0;
  /// Copies this thread's response into `buffer`, whose first byte names the target runtime.
  virtual int ReadResponse(std::uint8_t* buffer, int length) = 0;
  /// Tells the called runtime where its runtime files are.
  virtual int SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                 std::uint8_t launchArgument, std::string path) = 0;
  /// Asks the called runtime to deploy the package that `message` and `path` describe.
  virtual int DeployRuntime(std::uint8_t* message, int length, std::string path,
                            std::uint8_t flag) = 0;
};

}  // namespace Ferrolink::Native::Interfaces

#endif
