#ifndef FERROLINK_NATIVE_INTERFACES_ITRANSPORT_H
#define FERROLINK_NATIVE_INTERFACES_ITRANSPORT_H

#include <cstdint>
#include <string>

namespace Ferrolink::Native::Interfaces {

/// A channel from the transmitter role to a called runtime.
///
/// Part of the binary contract between the libraries of the family: objects made by one library are
/// driven by another through these virtual slots. The order is fixed, the destructor takes the
/// first slot, and a new operation goes to the end only.
///
/// Messages are command byte arrays (CommandHeader.h), lengths are in bytes, buffers stay the
/// caller's, runtime identifiers are those of Runtime.h. Errors are exceptions derived from
/// std::exception, never result codes.
/// Thread rule: Initialize is called before every use; the other operations may run on any thread,
/// a SendCommand and its ReadResponse on the same one.
class ITransport {
 public:
  ITransport() = default;
  ITransport(const ITransport&) = delete;
  ITransport& operator=(const ITransport&) = delete;
  virtual ~ITransport() = default;

  /// Prepares the channel for this pair of runtimes; idempotent for the same pair.
  virtual int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                         std::uint8_t launchArgument) = 0;
  /// Delivers one command; returns the length of the response now waiting.
  virtual int SendCommand(std::uint8_t* message, int length) = 0;
  /// Copies the waiting response into `buffer` of `length` bytes.
  virtual int ReadResponse(std::uint8_t* buffer, int length) = 0;
  /// Tells the called runtime where its own runtime files lie.
  virtual int SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                 std::uint8_t launchArgument, std::string path) = 0;
  /// Asks the called runtime to deploy the runtime package given by `message` and `path`.
  virtual int DeployRuntime(std::uint8_t* message, int length, std::string path,
                            std::uint8_t flag) = 0;
};

}  // namespace Ferrolink::Native::Interfaces

#endif
