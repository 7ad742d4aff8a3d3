#ifndef FERROLINK_NATIVE_TRANSPORT_TRANSPORTINMEMORY_H
#define FERROLINK_NATIVE_TRANSPORT_TRANSPORTINMEMORY_H

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "native/Export.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/ITransport.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Native::Transport {

/// The channel to a runtime in the same process. Carries no bytes over any wire: it opens the
/// native libraries of both runtimes, asks each for its roles, and hands every command to the
/// called runtime's receiver by a virtual call.
///
/// SendCommand and ReadResponse route by the first byte of the array they are given, not by the
/// runtime of the last Initialize.
/// Thread rule: any thread. Initialize sets up under the process-wide initializationMutex, and
/// waits for it while another thread is setting up; everything else takes no lock. Errors
/// (FerrolinkNativeException): 014 to 018, 021 and the finder's 001 from Initialize; 019 with the
/// runtime's name where its receiver or transmitter was never created; the receivers' own.
class FERROLINK_EXPORT TransportInMemory : public Interfaces::ITransport {
 public:
  TransportInMemory();
  TransportInMemory(const TransportInMemory&) = delete;
  TransportInMemory& operator=(const TransportInMemory&) = delete;
  ~TransportInMemory() override;

  /// Sets up the called side, which must succeed, and the calling side, which may fail: its errors
  /// are logged and dropped. A pair is set up when both libraries are open and the called side's
  /// receiver is there: Initialize then returns at once. Otherwise it goes on where the last
  /// attempt stopped. Out of a set-up on the same thread, only pairs that are set up can be
  /// reached: 021. Returns 0.
  int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                 std::uint8_t launchArgument) override;
  int SendCommand(std::uint8_t* command, int length) override;
  int ReadResponse(std::uint8_t* buffer, int length) override;
  /// Forwards to the receiver of the runtime that the last Initialize named; the two runtimes given
  /// here are not used.
  int SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                         std::uint8_t launchArgument, std::string path) override;
  /// Forwards to the called runtime's transmitter. Where that is this process's own, or forwards
  /// the deployment back here, it goes to the called runtime's receiver: forwarding would never
  /// end.
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

  // Steps of Initialize, called side first.
  void ImportCalledLibrary();
  void CreateReceiverInCalledRuntime();
  void CreateTransmitterInCalledRuntime();
  void ImportCallingLibrary();
  void CreateReceiverInCallingRuntime();
  void CreateTransmitterInCallingRuntime();

  void SendHeartBeatToCalledRuntime();
  void SendHeartBeatToCallingRuntime();

 private:
  static constexpr std::uint8_t kNotInitialized = 100;
  static constexpr std::size_t kRuntimes = 256;  ///< one entry for every value of an identifier
  static constexpr int kKnownRuntimes = 11;

  /// A role object of another library: owned here, and read without a lock while Initialize may be
  /// storing it on another thread.
  template <class Role>
  struct RoleEntry {
    std::unique_ptr<Role> owner;  ///< taking over allocates nothing, hence cannot fail
    std::atomic<Role*> role{nullptr};
  };

  [[nodiscard]] FERROLINK_LOCAL bool IsSetUp(std::uint8_t callingRuntime,
                                             std::uint8_t calledRuntime) const;
  [[gnu::cold]] FERROLINK_LOCAL int SetUp(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                          std::uint8_t launchArgument);
  FERROLINK_LOCAL void CreateReceiver(std::uint8_t runtime, Definitions::RuntimeOperationMode mode,
                                      const char* missingCode, const char* nullCode);
  FERROLINK_LOCAL void CreateTransmitter(std::uint8_t runtime,
                                         Definitions::RuntimeOperationMode mode);
  [[nodiscard]] FERROLINK_LOCAL Interfaces::IReceiver& ReceiverOf(std::uint8_t runtime) const;
  FERROLINK_LOCAL void SendHeartBeat(std::uint8_t to, std::uint8_t from,
                                     std::uint8_t launchArgument);

  // Written under initializationMutex, read by every thread without it. Destroyed in reverse order:
  // the libraries are closed before the objects that they created are released, and of those the
  // transmitters go first.
  std::atomic<std::uint8_t> m_callingRuntime{kNotInitialized};
  std::atomic<std::uint8_t> m_calledRuntime{kNotInitialized};
  std::atomic<std::uint8_t> m_launchArgument{kNotInitialized};
  std::atomic<bool> m_settingUp{false};
  std::array<RoleEntry<Interfaces::IReceiver>, kRuntimes> m_receivers;
  std::array<RoleEntry<Interfaces::ITransmitter>, kRuntimes> m_transmitters;
  std::array<std::atomic<void*>, kRuntimes> m_libraries{};
};

}  // namespace Ferrolink::Native::Transport

#endif
