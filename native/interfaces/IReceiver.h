#ifndef FERROLINK_NATIVE_INTERFACES_IRECEIVER_H
#define FERROLINK_NATIVE_INTERFACES_IRECEIVER_H

#include <cstdint>
#include <string>

namespace Ferrolink::Native::Interfaces {

/// The role that executes commands of another runtime.
/// @code
/// receiver.Initialize(8, 2, 0);  // C++ calls the JVM
/// std::vector<std::uint8_t> response(receiver.SendCommand(command.data(), size));
/// receiver.ReadResponse(response.data(), static_cast<int>(response.size()));
/// @endcode
/// Binary contract of all interfaces in this folder: one library makes the object, and another one
/// calls it through the virtual slots. The order of the slots is fixed, the destructor first; new
/// operations go to the end. CommandHeader.h has the layout of messages, Runtime.h the numbers of
/// runtimes. Lengths are in bytes. Buffers stay the caller's. Errors are exceptions derived from
/// std::exception, never results.
///
/// Thread rule: the caller serialises calls of Initialize and makes one before each use. All other
/// functions are thread-safe. A SendCommand and its ReadResponse run on the same thread.
///
/// Ownership: the library that made the object owns it; hosts never delete it.
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
