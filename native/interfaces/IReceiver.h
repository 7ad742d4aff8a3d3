#ifndef FERROLINK_NATIVE_INTERFACES_IRECEIVER_H
#define FERROLINK_NATIVE_INTERFACES_IRECEIVER_H

#include <cstdint>
#include <string>

namespace Ferrolink::Native::Interfaces {

/// The role that executes commands sent by another runtime.
///
/// Part of the binary contract between the libraries of the family: objects made by one library are
/// driven by another through these virtual slots. The order is fixed, the destructor takes the
/// first slot, and a new operation goes to the end only.
///
/// Messages are command byte arrays (CommandHeader.h), lengths are in bytes, buffers stay the
/// caller's, runtime identifiers are those of Runtime.h. Errors are exceptions derived from
/// std::exception, never result codes.
/// Thread rule: the caller serialises Initialize and calls it before each use; commands may arrive
/// on any thread, a SendCommand and its ReadResponse on the same one. Lifetime: a receiver lives
/// until the process ends; a host never deletes one.
class IReceiver {
 public:
  IReceiver() = default;
  IReceiver(const IReceiver&) = delete;
  IReceiver& operator=(const IReceiver&) = delete;
  virtual ~IReceiver() = default;

  /// Returns the configuration library's own result.
  virtual int SetConfigSource(std::string source) = 0;
  virtual int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                         std::uint8_t launchArgument) = 0;
  /// Executes one command; returns the length of the response now waiting on this thread.
  virtual int SendCommand(std::uint8_t* message, int length) = 0;
  virtual int ReadResponse(std::uint8_t* buffer, int length) = 0;
  /// Reports the exception that `message` (a response of type 10) describes to telemetry.
  virtual void LogException(std::uint8_t* message, int length) = 0;
  virtual int LoadOptimizedMethod(std::string name) = 0;
  virtual int SetEmbeddedRuntime(std::uint8_t runtime, std::string path) = 0;
  virtual int DeployRuntime(std::uint8_t* message, int length, std::string path,
                            std::uint8_t flag) = 0;
};

}  // namespace Ferrolink::Native::Interfaces

#endif
