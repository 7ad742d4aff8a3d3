#ifndef FERROLINK_NATIVE_INTERFACES_ILAUNCHER_H
#define FERROLINK_NATIVE_INTERFACES_ILAUNCHER_H

#include <cstdint>
#include <string>

namespace Ferrolink::Native::Interfaces {

/// Starts or binds a runtime and carries commands into it. A receiver owns one launcher and
/// forwards to it. Binary contract and thread rule: see IReceiver.
/// @code
/// if (!launcher.IsInitialized()) {
///   launcher.Initialize(0);
///   launcher.SetInitialized();
/// }
/// @endcode
class ILauncher {
 public:
  ILauncher() = default;
  ILauncher(const ILauncher&) = delete;
  ILauncher& operator=(const ILauncher&) = delete;
  virtual ~ILauncher() = default;

  /// Prepares the runtime. The result means nothing.
  virtual int Initialize(std::uint8_t launchArgument) = 0;
  /// Executes one command; returns the length of the response that waits for this thread.
  virtual int SendCommand(std::uint8_t* message, int length) = 0;
  /// Copies at most `length` bytes of this thread's response and discards the response.
  virtual int ReadResponse(std::uint8_t* buffer, int length) = 0;
  /// Prepares a method for fast calls. A launcher without such calls returns 1.
  virtual int LoadOptimizedMethod(std::string name) = 0;
  /// Tells the runtime where its runtime files are.
  virtual int SetPath(std::uint8_t runtime, std::string path) = 0;
  /// Deploys the package that `message` and `path` describe.
  virtual int DeployRuntime(std::uint8_t* message, int length, std::string path,
                            std::uint8_t flag) = 0;
  /// Whether SetInitialized was called.
  virtual bool IsInitialized() = 0;
  /// Called once, after a successful Initialize.
  virtual void SetInitialized() = 0;
  /// The display name, for example "Jvm".
  virtual std::string GetRuntimeName() = 0;
  /// A description of the runtime for diagnostics and error messages.
  virtual std::string GetRuntimeInfo() = 0;
};

}  // namespace Ferrolink::Native::Interfaces

#endif
