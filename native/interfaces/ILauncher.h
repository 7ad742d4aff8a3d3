#ifndef FERROLINK_NATIVE_INTERFACES_ILAUNCHER_H
#define FERROLINK_NATIVE_INTERFACES_ILAUNCHER_H

#include <cstdint>
#include <string>

namespace Ferrolink::Native::Interfaces {

/// Starts or binds a target runtime and carries commands into it.
///
/// Part of the binary contract between the libraries of the family: objects made by one library are
/// driven by another through these virtual slots. The order is fixed, the destructor takes the
/// first slot, and a new operation goes to the end only.
///
/// Messages are command byte arrays (CommandHeader.h), lengths are in bytes, buffers stay the
/// caller's, runtime identifiers are those of Runtime.h. Errors are exceptions derived from
/// std::exception, never result codes.
/// Thread rule: as for IReceiver, which forwards to it.
class ILauncher {
 public:
  ILauncher() = default;
  ILauncher(const ILauncher&) = delete;
  ILauncher& operator=(const ILauncher&) = delete;
  virtual ~ILauncher() = default;

  virtual int Initialize(std::uint8_t launchArgument) = 0;
  /// Executes one command; returns the length of the response now waiting on this thread.
  virtual int SendCommand(std::uint8_t* message, int length) = 0;
  virtual int ReadResponse(std::uint8_t* buffer, int length) = 0;
  virtual int LoadOptimizedMethod(std::string name) = 0;
  virtual int SetPath(std::uint8_t runtime, std::string path) = 0;
  virtual int DeployRuntime(std::uint8_t* message, int length, std::string path,
                            std::uint8_t flag) = 0;
  /// Whether SetInitialized has been called; a launcher is initialised at most once.
  virtual bool IsInitialized() = 0;
  virtual void SetInitialized() = 0;
  virtual std::string GetRuntimeName() = 0;
  /// Describes the runtime in text for diagnostics and error messages.
  virtual std::string GetRuntimeInfo() = 0;
};

}  // namespace Ferrolink::Native::Interfaces

#endif
