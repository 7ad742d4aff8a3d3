#ifndef FERROLINK_NATIVE_INTERFACES_IRECEIVER_H
#define FERROLINK_NATIVE_INTERFACES_IRECEIVER_H

#include <cstdint>
#include <string>

namespace Ferrolink::Native::Interfaces {

/// The role that executes commands of another runtime.
///
/// Binary contract of all interfaces here: one library makes the object and another one drives it
/// through the virtual slots. Their order is fixed, the destructor first; new operations go to the
/// end. Messages are laid out as in CommandHeader.h, runtime identifiers are those of Runtime.h,
/// lengths are in bytes, buffers stay the caller's. Errors are exceptions derived from
/// std::exception, never results.
/// Thread rule: the caller serialises Initialize and calls it before each use. Everything else runs
/// on any thread, a SendCommand and its ReadResponse on the same one.
/// Ownership: the library that made it; hosts never delete it.
///
/// Example: `receiver.Initialize(8, 2, 0); int length = receiver.SendCommand(bytes, size);`
class IReceiver {
 public:
  IReceiver() = default;
  IReceiver(const IReceiver&) = delete;
  IReceiver& operator=(const IReceiver&) = delete;
  virtual ~IReceiver() = default;

  /// Passes `source` to the configuration library and returns its result.
  virtual int SetConfigSource(std::string source) = 0;
  /// Starts or binds the runtime. Idempotent. Returns 0.
  virtual int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                         std::uint8_t launchArgument) = 0;
  /// Executes one command; returns the length of the response that waits for this thread.
  virtual int SendCommand(std::uint8_t* message, int length) = 0;
  /// Copies at most `length` bytes of this thread's response and discards the response.
  virtual int ReadResponse(std::uint8_t* buffer, int length) = 0;
  /// Reports an exception response (command type 10) to telemetry.
  virtual void LogException(std::uint8_t* message, int length) = 0;
  /// Prepares a method for fast calls, if the runtime supports that.
  virtual int LoadOptimizedMethod(std::string name) = 0;
  /// Tells the runtime where its runtime files are.
  virtual int SetEmbeddedRuntime(std::uint8_t runtime, std::string path) = 0;
  /// Deploys the package that `message` and `path` describe.
  virtual int DeployRuntime(std::uint8_t* message, int length, std::string path,
                            std::uint8_t flag) = 0;
};

}  // namespace Ferrolink::Native::Interfaces

#endif
