#include "native/transport/TransportInMemory.h"

#include <dlfcn.h>

#include <mutex>
#include <utility>

#include "native/Console.h"
#include "native/FerrolinkNativeException.h"
#include "native/LibrariesFinder.h"
#include "native/Loader.h"
#include "native/ReentryGuard.h"
#include "native/RoleSingletons.h"
#include "native/RuntimeNameHandler.h"
#include "native/ThreadLocal.h"
#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Native::Transport {
namespace {

namespace CommandHeader = Definitions::CommandHeader;
using Definitions::RuntimeOperationMode;
using Interfaces::IReceiver;
using Interfaces::ITransmitter;
using LibrariesFinder::LibrariesFinder;

using CreateReceiverFunction = IReceiver*(RuntimeOperationMode);
using CreateTransmitterFunction = ITransmitter*(RuntimeOperationMode);

// Whether this thread is forwarding a deployment. The transmitter of the called runtime returns the
// deployment to this runtime if its channel last called this runtime.
FERROLINK_THREAD_LOCAL bool deploying = false;

// Whether this thread holds initializationMutex. A command that a set-up sends on the same thread
// would wait for itself.
FERROLINK_THREAD_LOCAL bool settingUpHere = false;

constexpr auto kPhp = static_cast<std::uint8_t>(Definitions::Runtime::Php);

[[noreturn]] void Raise(const std::string& text) {
  throw FerrolinkNativeException("Ferrolink Native Exception: Exception code " + text, "Unknown");
}

[[noreturn]] void RaiseReinstall(const char* code) {
  Raise(std::string(code) + ". \nReinstall Ferrolink package");
}

std::string NameOf(std::uint8_t runtime) {
  return RuntimeNameHandler::RuntimeNameHandler::GetRuntimeName(runtime);
}

[[noreturn]] void RaiseNotLoaded(std::uint8_t runtime) {
  Raise("019. \nRuntime not loaded: " + NameOf(runtime));
}

[[noreturn]] void RaiseSentOutOfSetUp(std::uint8_t called, std::uint8_t settingUp) {
  Raise("021. \nA command to " + NameOf(called) + " came out of the set-up of " +
        NameOf(settingUp) +
        ", on the same thread, which would wait for itself. Send it after CreateReceiver and "
        "Initialize have returned");
}

/// Marks that a set-up is in progress, so that the fast path of Initialize ignores a partial one.
class SettingUp {
 public:
  explicit SettingUp(std::atomic<bool>& flag) : m_flag(flag) { m_flag.store(true); }
  SettingUp(const SettingUp&) = delete;
  SettingUp& operator=(const SettingUp&) = delete;
  ~SettingUp() { m_flag.store(false); }

 private:
  std::atomic<bool>& m_flag;
};

}  // namespace

TransportInMemory::TransportInMemory() = default;

TransportInMemory::~TransportInMemory() {
  for (int runtime = 0; runtime < kKnownRuntimes; ++runtime) {
    if (void* library = m_libraries.at(static_cast<std::size_t>(runtime)).load()) {
      dlclose(library);
    }
  }
}

int TransportInMemory::Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                  std::uint8_t launchArgument) {
  // A complete pair needs no lock. Initialize waits for a set-up on another thread.
  if (IsSetUp(callingRuntime, calledRuntime) && !m_settingUp.load()) {
    return 0;
  }
  return SetUp(callingRuntime, calledRuntime, launchArgument);
}

bool TransportInMemory::IsSetUp(std::uint8_t callingRuntime, std::uint8_t calledRuntime) const {
  return m_libraries[callingRuntime].load() != nullptr &&
         m_libraries[calledRuntime].load() != nullptr &&
         m_receivers[calledRuntime].role.load() != nullptr;
}

int TransportInMemory::SetUp(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                             std::uint8_t launchArgument) {
  if (settingUpHere) {
    if (IsSetUp(callingRuntime, calledRuntime)) {
      return 0;
    }
    RaiseSentOutOfSetUp(calledRuntime, m_calledRuntime);
  }
  const std::lock_guard<std::mutex> lock(initializationMutex);
  if (IsSetUp(callingRuntime, calledRuntime)) {
    return 0;
  }
  const ReentryGuard here(settingUpHere);
  const SettingUp settingUp(m_settingUp);
  m_callingRuntime = callingRuntime;
  m_calledRuntime = calledRuntime;
  m_launchArgument = launchArgument;
  ImportCalledLibrary();
  CreateReceiverInCalledRuntime();
  CreateTransmitterInCalledRuntime();
  try {
    ImportCallingLibrary();
    CreateReceiverInCallingRuntime();
    CreateTransmitterInCallingRuntime();
  } catch (const FerrolinkNativeException&) {
    // The exception is dropped; its constructor has logged it. Without a calling side, commands can
    // be sent, but the calling runtime cannot be called back.
  }
  return 0;
}

void TransportInMemory::ImportCallingLibrary() {
  std::atomic<void*>& library = m_libraries[m_callingRuntime];
  if (library.load() == nullptr) {
    library = LibrariesFinder::loadLibrary(LibrariesFinder::getRuntimeLibraryPath(m_callingRuntime),
                                           true, true);
  }
}

void TransportInMemory::ImportCalledLibrary() {
  std::atomic<void*>& library = m_libraries[m_calledRuntime];
  if (library.load() != nullptr) {
    return;
  }
  const std::string path = LibrariesFinder::getRuntimeLibraryPath(m_calledRuntime);
  // Php exports symbols that a called library must not bind to.
  library = m_callingRuntime == kPhp ? LibrariesFinder::loadLibraryDeepBind(path, true, true)
                                     : LibrariesFinder::loadLibrary(path, true, true);
}

void TransportInMemory::CreateReceiverInCalledRuntime() {
  CreateReceiver(m_calledRuntime, RuntimeOperationMode::CalledRuntime, "014", "015");
}

void TransportInMemory::CreateReceiverInCallingRuntime() {
  CreateReceiver(m_callingRuntime, RuntimeOperationMode::CallingRuntime, "017", "018");
}

void TransportInMemory::CreateTransmitterInCalledRuntime() {
  CreateTransmitter(m_calledRuntime, RuntimeOperationMode::CalledRuntime);
}

void TransportInMemory::CreateTransmitterInCallingRuntime() {
  CreateTransmitter(m_callingRuntime, RuntimeOperationMode::CallingRuntime);
}

// A receiver whose Initialize throws is not stored and still belongs to its library, which returns
// it to the next attempt.
void TransportInMemory::CreateReceiver(std::uint8_t runtime, RuntimeOperationMode mode,
                                       const char* missingCode, const char* nullCode) {
  RoleEntry<IReceiver>& entry = m_receivers[runtime];
  if (entry.role.load() != nullptr) {
    return;
  }
  auto* create =
      Loader::FindFunctionIn<CreateReceiverFunction>(m_libraries[runtime].load(), "CreateReceiver");
  if (create == nullptr) {
    RaiseReinstall(missingCode);
  }
  IReceiver* created = create(mode);
  if (created == nullptr) {
    RaiseReinstall(nullCode);
  }
  created->Initialize(m_callingRuntime, m_calledRuntime, m_launchArgument);
  entry.owner.reset(created);
  entry.role.store(created);
}

// A null result is stored; the entry then counts as missing.
void TransportInMemory::CreateTransmitter(std::uint8_t runtime, RuntimeOperationMode mode) {
  RoleEntry<ITransmitter>& entry = m_transmitters[runtime];
  if (entry.role.load() != nullptr) {
    return;
  }
  auto* create = Loader::FindFunctionIn<CreateTransmitterFunction>(m_libraries[runtime].load(),
                                                                   "CreateTransmitter");
  if (create == nullptr) {
    RaiseReinstall("016");
  }
  ITransmitter* created = create(mode);
  entry.owner.reset(created);
  entry.role.store(created);
}

IReceiver& TransportInMemory::ReceiverOf(std::uint8_t runtime) const {
  IReceiver* found = m_receivers[runtime].role.load(std::memory_order_acquire);
  if (found == nullptr) {
    RaiseNotLoaded(runtime);
  }
  return *found;
}

int TransportInMemory::SendCommand(std::uint8_t* command, int length) {
  return ReceiverOf(command[CommandHeader::kTargetRuntime]).SendCommand(command, length);
}

int TransportInMemory::ReadResponse(std::uint8_t* buffer, int length) {
  return ReceiverOf(buffer[CommandHeader::kTargetRuntime]).ReadResponse(buffer, length);
}

int TransportInMemory::SetEmbeddedRuntime(std::uint8_t /*callingRuntime*/,
                                          std::uint8_t /*calledRuntime*/,
                                          std::uint8_t launchArgument, std::string path) {
  return ReceiverOf(m_calledRuntime).SetEmbeddedRuntime(launchArgument, std::move(path));
}

int TransportInMemory::DeployRuntime(std::uint8_t* message, int length, std::string path,
                                     std::uint8_t flag) {
  const std::uint8_t called = m_calledRuntime;
  ITransmitter* forward = m_transmitters[called].role.load(std::memory_order_acquire);
  if (forward == nullptr) {
    RaiseNotLoaded(called);
  }
  const ReentryGuard guard(deploying);
  if (forward == transmitter.load() || !guard.Outermost()) {
    return ReceiverOf(called).DeployRuntime(message, length, std::move(path), flag);
  }
  return forward->DeployRuntime(message, length, std::move(path), flag);
}

void TransportInMemory::SendHeartBeatToCalledRuntime() {
  Console::PrintOut("SendHeartBeatToCalledRuntime\n");
  SendHeartBeat(m_calledRuntime, m_callingRuntime, m_launchArgument);
}

void TransportInMemory::SendHeartBeatToCallingRuntime() {
  Console::PrintOut("SendHeartBeatToCallingRuntime\n");
  SendHeartBeat(m_callingRuntime, m_calledRuntime, 0);
}

void TransportInMemory::SendHeartBeat(std::uint8_t to, std::uint8_t from,
                                      std::uint8_t launchArgument) {
  std::array<std::uint8_t, 13> message{};
  message[CommandHeader::kTargetRuntime] = to;
  message[CommandHeader::kLaunchArgument] = launchArgument;
  message[CommandHeader::kCallingRuntime] = from;
  message[CommandHeader::kCommandType] = CommandHeader::kTypeHeartBeat;
  message[11] = 0x31;
  message[12] = 0x32;
  ReceiverOf(to).SendCommand(message.data(), static_cast<int>(message.size()));
}

}  // namespace Ferrolink::Native::Transport
