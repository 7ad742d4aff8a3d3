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

/// The channel to a runtime in the same process. Opens the native libraries of both runtimes, asks
/// each for its roles, and passes every command to the called runtime's receiver by a virtual call.
///
/// SendCommand and ReadResponse route by the first byte of the array, not by the runtime of the
/// last Initialize. Thread rule: any thread. Initialize sets up under the process-wide
/// initializationMutex and waits while another thread sets up. Everything else takes no lock.
/// Errors (FerrolinkNativeException): 014 to 018, 021 and the finder's 001 from Initialize; 019
/// with the runtime's name if its receiver or transmitter does not exist; the receivers' own.
class FERROLINK_EXPORT TransportInMemory : public Interfaces::ITransport {
 public:
  TransportInMemory();
  TransportInMemory(const TransportInMemory&) = delete;
  TransportInMemory& operator=(const TransportInMemory&) = delete;
  ~TransportInMemory() override;

  /// Sets up the called side, which must succeed, and the calling side, whose errors are logged and
  /// dropped. Returns at once if the pair is complete: both libraries are open, and the receiver of
  /// the called side exists. Otherwise continues where the last attempt stopped. Code 021 if this
  /// thread is inside a set-up and the pair is not complete. Returns 0.
  int Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                 std::uint8_t launchArgument) override;
  int SendCommand(std::uint8_t* command, int length) override;
  int ReadResponse(std::uint8_t* buffer, int length) override;
  /// Forwards to the receiver of the runtime that the last Initialize named. Ignores the two
  /// runtimes given here.
  int SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                         std::uint8_t launchArgument, std::string path) override;
  /// Forwards to the transmitter of the called runtime. If that is this process's own transmitter,
  /// or if it returns the deployment here, the receiver of the called runtime gets it instead:
  /// forwarding would recurse without end.
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

  // The steps of Initialize, called side first. Public because they are operations of the class
  // that other libraries may call; the library itself calls them from Initialize only.
  void ImportCalledLibrary();
  void CreateReceiverInCalledRuntime();
  void CreateTransmitterInCalledRuntime();
  void ImportCallingLibrary();
  void CreateReceiverInCallingRuntime();
  void CreateTransmitterInCallingRuntime();

  // Called by other libraries only.
  void SendHeartBeatToCalledRuntime();
  void SendHeartBeatToCallingRuntime();

 private:
  static constexpr std::uint8_t kNotInitialized = 100;
  static constexpr std::size_t kRuntimes = 256;  ///< one entry for every value of an identifier
  static constexpr int kKnownRuntimes = 11;      ///< only their libraries are ever closed

  /// A role object of another library. Owned here. Read without a lock while Initialize may store
  /// it on another thread.
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

  // Written under initializationMutex, read by every thread without it. The destructor closes the
  // libraries first, and then releases the objects that they made, transmitters before receivers.
  // That order is part of the class. It is harmless, because the channel lives until the process
  // ends.
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
