// The binary contract between the libraries of the family: slots, signatures, values.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/ILauncher.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/ITransport.h"
#include "native/interfaces/Runtime.h"
#include "native/interfaces/RuntimeOperationMode.h"

using Ferrolink::Native::Definitions::Runtime;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::ILauncher;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Native::Interfaces::ITransmitter;
using Ferrolink::Native::Interfaces::ITransport;

namespace CommandHeader = Ferrolink::Native::Definitions::CommandHeader;

namespace {

/// The virtual slot of an operation, counted from 1 after the destructor.
///
/// In the platform's C++ binary interface a pointer to a virtual member holds 1 plus the slot's
/// offset; a virtual destructor takes two table entries (complete and deleting).
template <class Operation>
std::size_t SlotOf(Operation operation) {
  static_assert(sizeof operation == 2 * sizeof(std::ptrdiff_t));
  std::ptrdiff_t parts[2] = {};
  std::memcpy(parts, &operation, sizeof parts);
  EXPECT_EQ(parts[0] % static_cast<std::ptrdiff_t>(sizeof(void*)), 1) << "not virtual";
  EXPECT_EQ(parts[1], 0) << "not of the first base";
  return static_cast<std::size_t>(parts[0]) / sizeof(void*) - 1;
}

template <class... Operations>
void ExpectSlotsInOrder(Operations... operations) {
  std::size_t expected = 1;
  for (const std::size_t slot : {SlotOf(operations)...}) {
    EXPECT_EQ(slot, expected++);
  }
}

template <class Interface>
constexpr bool kIsPureInterface =
    std::is_abstract_v<Interface>&& std::has_virtual_destructor_v<Interface> &&
    sizeof(Interface) == sizeof(void*) && !std::is_copy_constructible_v<Interface> &&
    !std::is_copy_assignable_v<Interface>;

static_assert(kIsPureInterface<ITransport>);
static_assert(kIsPureInterface<ITransmitter>);
static_assert(kIsPureInterface<IReceiver>);
static_assert(kIsPureInterface<ILauncher>);

template <class Expected, class Operation>
constexpr bool kHasType = std::is_same_v<Expected, Operation>;

using Byte = std::uint8_t;
using Text = std::string;

using TransportChannel = int (ITransport::*)(Byte, Byte, Byte);
using TransportBytes = int (ITransport::*)(Byte*, int);
static_assert(kHasType<TransportChannel, decltype(&ITransport::Initialize)>);
static_assert(kHasType<TransportBytes, decltype(&ITransport::SendCommand)>);
static_assert(kHasType<TransportBytes, decltype(&ITransport::ReadResponse)>);
static_assert(kHasType<int (ITransport::*)(Byte, Byte, Byte, Text),
                       decltype(&ITransport::SetEmbeddedRuntime)>);
static_assert(
    kHasType<int (ITransport::*)(Byte*, int, Text, Byte), decltype(&ITransport::DeployRuntime)>);

using TransmitterBytes = int (ITransmitter::*)(Byte*, int);
static_assert(kHasType<TransmitterBytes, decltype(&ITransmitter::SendCommand)>);
static_assert(kHasType<TransmitterBytes, decltype(&ITransmitter::ReadResponse)>);
static_assert(
    kHasType<void (ITransmitter::*)(ITransport*), decltype(&ITransmitter::SetTransportChannel)>);
static_assert(kHasType<int (ITransmitter::*)(Byte, Byte, Byte, Text),
                       decltype(&ITransmitter::SetEmbeddedRuntime)>);
static_assert(kHasType<int (ITransmitter::*)(Byte*, int, Text, Byte),
                       decltype(&ITransmitter::DeployRuntime)>);

using ReceiverBytes = int (IReceiver::*)(Byte*, int);
static_assert(kHasType<int (IReceiver::*)(Text), decltype(&IReceiver::SetConfigSource)>);
static_assert(kHasType<int (IReceiver::*)(Byte, Byte, Byte), decltype(&IReceiver::Initialize)>);
static_assert(kHasType<ReceiverBytes, decltype(&IReceiver::SendCommand)>);
static_assert(kHasType<ReceiverBytes, decltype(&IReceiver::ReadResponse)>);
static_assert(kHasType<void (IReceiver::*)(Byte*, int), decltype(&IReceiver::LogException)>);
static_assert(kHasType<int (IReceiver::*)(Text), decltype(&IReceiver::LoadOptimizedMethod)>);
static_assert(kHasType<int (IReceiver::*)(Byte, Text), decltype(&IReceiver::SetEmbeddedRuntime)>);
static_assert(
    kHasType<int (IReceiver::*)(Byte*, int, Text, Byte), decltype(&IReceiver::DeployRuntime)>);

using LauncherBytes = int (ILauncher::*)(Byte*, int);
static_assert(kHasType<int (ILauncher::*)(Byte), decltype(&ILauncher::Initialize)>);
static_assert(kHasType<LauncherBytes, decltype(&ILauncher::SendCommand)>);
static_assert(kHasType<LauncherBytes, decltype(&ILauncher::ReadResponse)>);
static_assert(kHasType<int (ILauncher::*)(Text), decltype(&ILauncher::LoadOptimizedMethod)>);
static_assert(kHasType<int (ILauncher::*)(Byte, Text), decltype(&ILauncher::SetPath)>);
static_assert(
    kHasType<int (ILauncher::*)(Byte*, int, Text, Byte), decltype(&ILauncher::DeployRuntime)>);
static_assert(kHasType<bool (ILauncher::*)(), decltype(&ILauncher::IsInitialized)>);
static_assert(kHasType<void (ILauncher::*)(), decltype(&ILauncher::SetInitialized)>);
static_assert(kHasType<Text (ILauncher::*)(), decltype(&ILauncher::GetRuntimeName)>);
static_assert(kHasType<Text (ILauncher::*)(), decltype(&ILauncher::GetRuntimeInfo)>);

static_assert(std::is_same_v<std::underlying_type_t<RuntimeOperationMode>, std::int32_t>);
static_assert(static_cast<int>(RuntimeOperationMode::NotSet) == -1);
static_assert(static_cast<int>(RuntimeOperationMode::CallingRuntime) == 0);
static_assert(static_cast<int>(RuntimeOperationMode::CalledRuntime) == 1);

static_assert(std::is_same_v<std::underlying_type_t<Runtime>, std::uint8_t>);

}  // namespace

TEST(Interfaces, KeepTheSlotsOfATransport) {
  ExpectSlotsInOrder(&ITransport::Initialize, &ITransport::SendCommand, &ITransport::ReadResponse,
                     &ITransport::SetEmbeddedRuntime, &ITransport::DeployRuntime);
}

TEST(Interfaces, KeepTheSlotsOfATransmitter) {
  ExpectSlotsInOrder(&ITransmitter::SendCommand, &ITransmitter::ReadResponse,
                     &ITransmitter::SetTransportChannel, &ITransmitter::SetEmbeddedRuntime,
                     &ITransmitter::DeployRuntime);
}

TEST(Interfaces, KeepTheSlotsOfAReceiver) {
  ExpectSlotsInOrder(&IReceiver::SetConfigSource, &IReceiver::Initialize, &IReceiver::SendCommand,
                     &IReceiver::ReadResponse, &IReceiver::LogException,
                     &IReceiver::LoadOptimizedMethod, &IReceiver::SetEmbeddedRuntime,
                     &IReceiver::DeployRuntime);
}

TEST(Interfaces, KeepTheSlotsOfALauncher) {
  ExpectSlotsInOrder(&ILauncher::Initialize, &ILauncher::SendCommand, &ILauncher::ReadResponse,
                     &ILauncher::LoadOptimizedMethod, &ILauncher::SetPath,
                     &ILauncher::DeployRuntime, &ILauncher::IsInitialized,
                     &ILauncher::SetInitialized, &ILauncher::GetRuntimeName,
                     &ILauncher::GetRuntimeInfo);
}

TEST(Interfaces, KeepTheIdentifiersOfTheRuntimes) {
  const std::vector<Runtime> inOrder = {Runtime::Clr,     Runtime::Go,     Runtime::Jvm,
                                        Runtime::Netcore, Runtime::Perl,   Runtime::Python,
                                        Runtime::Ruby,    Runtime::Nodejs, Runtime::Cpp,
                                        Runtime::Php,     Runtime::Python2};
  for (std::size_t id = 0; id < inOrder.size(); ++id) {
    EXPECT_EQ(static_cast<std::size_t>(inOrder[id]), id);
  }
  EXPECT_EQ(inOrder.size(), 11u);
}

TEST(Interfaces, KeepTheCommandHeader) {
  EXPECT_EQ(CommandHeader::kTargetRuntime, 0);
  EXPECT_EQ(CommandHeader::kLaunchArgument, 1);
  EXPECT_EQ(CommandHeader::kChannelType, 2);
  EXPECT_EQ(CommandHeader::kAddress, 3);
  EXPECT_EQ(CommandHeader::kPort, 7);
  EXPECT_EQ(CommandHeader::kCallingRuntime, 9);
  EXPECT_EQ(CommandHeader::kCommandType, 10);
  EXPECT_EQ(CommandHeader::kSize, 11);
  EXPECT_EQ(CommandHeader::kTypeLoadLibrary, 1);
  EXPECT_EQ(CommandHeader::kTypeExceptionReport, 10);
  EXPECT_EQ(CommandHeader::kTypeHeartBeat, 11);
}
