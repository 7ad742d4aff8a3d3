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

/// What the receivers of all runtimes share: mode check, one-time initialisation, telemetry,
/// exception reporting. Every operation is forwarded to the launcher, whose errors pass through
/// unchanged.
///
/// The forwarding operations check neither the mode nor whether Initialize has run: callers call
/// Initialize before each use. Thread rule: as for IReceiver. The receiver takes no lock; callers
/// serialise the first Initialize. Lifetime: until the process ends. See ~JvmLauncher for the
/// reason.
class FERROLINK_EXPORT NativeReceiver : public Interfaces::IReceiver {
 public:
  explicit NativeReceiver(Definitions::RuntimeOperationMode mode);
  NativeReceiver(const NativeReceiver&) = delete;
  NativeReceiver& operator=(const NativeReceiver&) = delete;
  ~NativeReceiver() override;

  int SetConfigSource(std::string source) override;

  /// Initialises the launcher once. Later calls are no-ops, even with other identifiers. If the
  /// launcher fails, the next call tries again. Returns 0. Errors: code 031 in mode -1; the
  /// launcher's.
  int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                 std::uint8_t launchArgument) override;

  int SendCommand(std::uint8_t* message, int length) override;

  /// Returns the response unchanged. A response that reports an exception of the called runtime
  /// (command type 10) also goes to LogException.
  int ReadResponse(std::uint8_t* buffer, int length) override;

  /// Sends `length` bytes to telemetry as text of the same length; each unprintable byte becomes a
  /// blank.
  void LogException(std::uint8_t* message, int length) override;

  int LoadOptimizedMethod(std::string name) override;
  int SetEmbeddedRuntime(std::uint8_t runtime, std::string path) override;
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

 protected:
  /// Takes ownership. The constructor of the runtime's own class calls it once.
  FERROLINK_LOCAL void SetLauncher(std::unique_ptr<Interfaces::ILauncher> launcher);

 private:
  FERROLINK_LOCAL void AnnounceInitialized();

  static constexpr std::uint8_t kNoRuntime = 255;

  // Atomic: unserialised first calls of Initialize must not corrupt them.
  std::atomic<std::uint8_t> m_callingRuntime{kNoRuntime};
  std::atomic<std::uint8_t> m_calledRuntime{kNoRuntime};
  std::atomic<bool> m_runtimeInfoPrinted{false};

  // Constant after construction. The launcher has its own synchronisation.
  std::unique_ptr<Interfaces::ILauncher> m_launcher;
  const Definitions::RuntimeOperationMode m_operationMode;
};

}  // namespace Ferrolink::Native::Receiver

#endif
