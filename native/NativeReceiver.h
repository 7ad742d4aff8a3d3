#ifndef FERROLINK_NATIVE_NATIVERECEIVER_H
#define FERROLINK_NATIVE_NATIVERECEIVER_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "native/Export.h"
#include "native/interfaces/ILauncher.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Native::Receiver {

/// The bookkeeping that all runtimes' receivers share (mode check, one-time initialisation,
/// telemetry, exception reporting); every real operation goes to the launcher, whose errors pass
/// through unchanged.
///
/// The forwarding operations check nothing, neither the mode nor whether Initialize has run:
/// callers call Initialize before each use. The receiver takes no lock; callers serialise the first
/// Initialize. Lifetime: until the process ends (a launched JVM cannot be waited for, see
/// JvmLauncher's destructor).
class FERROLINK_EXPORT NativeReceiver : public Interfaces::IReceiver {
 public:
  explicit NativeReceiver(Definitions::RuntimeOperationMode mode);
  NativeReceiver(const NativeReceiver&) = delete;
  NativeReceiver& operator=(const NativeReceiver&) = delete;
  ~NativeReceiver() override;

  int SetConfigSource(std::string source) override;

  /// Does its work once per receiver; later calls, with whatever identifiers, change nothing. A
  /// launcher that fails leaves the receiver not initialised, and the next call tries again.
  /// Errors: code 031 in mode -1; the launcher's. Returns 0.
  int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                 std::uint8_t launchArgument) override;

  int SendCommand(std::uint8_t* message, int length) override;

  /// Hands the response back unchanged; one that reports an exception of the called runtime (its
  /// command type is 10) goes through LogException as well.
  int ReadResponse(std::uint8_t* buffer, int length) override;

  /// Sends the message to telemetry as printable text, one character per byte, blanks for the rest.
  void LogException(std::uint8_t* message, int length) override;

  int LoadOptimizedMethod(std::string name) override;
  int SetEmbeddedRuntime(std::uint8_t runtime, std::string path) override;
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

 protected:
  /// To be called once, by the constructor of the runtime's own class.
  FERROLINK_LOCAL void SetLauncher(std::unique_ptr<Interfaces::ILauncher> launcher);

 private:
  FERROLINK_LOCAL void AnnounceInitialized();

  static constexpr std::uint8_t kNoRuntime = 255;

  // Atomic: a caller that did not serialise its first Initialize must not corrupt them.
  std::atomic<std::uint8_t> m_callingRuntime{kNoRuntime};
  std::atomic<std::uint8_t> m_calledRuntime{kNoRuntime};
  std::atomic<bool> m_runtimeInfoPrinted{false};

  // Constant after construction; the launcher provides its own synchronisation.
  std::unique_ptr<Interfaces::ILauncher> m_launcher;
  const Definitions::RuntimeOperationMode m_operationMode;
};

}  // namespace Ferrolink::Native::Receiver

#endif
