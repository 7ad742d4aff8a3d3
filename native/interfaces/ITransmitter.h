#ifndef FERROLINK_NATIVE_INTERFACES_ITRANSMITTER_H
#define FERROLINK_NATIVE_INTERFACES_ITRANSMITTER_H

#include <cstdint>
#include <string>

namespace Ferrolink::Native::Interfaces {

class ITransport;

/// The role that sends commands into other runtimes.
///
/// Part of the binary contract between the libraries of the family: objects made by one library are
/// driven by another through these virtual slots. The order is fixed, the destructor takes the
/// first slot, and a new operation goes to the end only.
///
/// Messages are command byte arrays (CommandHeader.h), lengths are in bytes, buffers stay the
/// caller's, runtime identifiers are those of Runtime.h. Errors are exceptions derived from
/// std::exception, never result codes.
/// Thread rule: any thread; a SendCommand and its ReadResponse on the same one.
class ITransmitter {
 public:
  ITransmitter() = default;
  ITransmitter(const ITransmitter&) = delete;
  ITransmitter& operator=(const ITransmitter&) = delete;
  virtual ~ITransmitter() = default;

  /// Routes one command by its header; returns the length of the response now waiting.
  virtual int SendCommand(std::uint8_t* message, int length) = 0;
  virtual int ReadResponse(std::uint8_t* buffer, int length) = 0;
  /// Makes `channel` the current channel and takes ownership of it.
  virtual void SetTransportChannel(ITransport* channel) = 0;
  virtual int SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                 std::uint8_t launchArgument, std::string path) = 0;
  virtual int DeployRuntime(std::uint8_t* message, int length, std::string path,
                            std::uint8_t flag) = 0;
};

}  // namespace Ferrolink::Native::Interfaces

#endif
