#include "native/NativeTransmitter.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "native/transport/TransportNetwork.h"

#include "tests/transport/TransportFixture.h"

using namespace Ferrolink::Tests;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Transmitter::NativeTransmitter;

namespace {

using Texts = std::vector<std::string>;
using Bytes = std::vector<std::uint8_t>;

NativeTransmitter& TransmitterOfCase() {
  static auto* const made = new NativeTransmitter(RuntimeOperationMode::CallingRuntime);
  return *made;
}

Bytes InMemory(std::uint8_t target) {
  return {target, 3, 0, 0, 0, 0, 0, 0, 0, 2, 2};
}

Bytes Network(std::uint8_t type, std::uint8_t portLow, std::uint8_t portHigh) {
  return {8, 3, type, 127, 0, 0, 1, portLow, portHigh, 2, 2};
}

int Send(NativeTransmitter& transmitter, Bytes command) {
  return transmitter.SendCommand(command.data(), static_cast<int>(command.size()));
}

int Read(NativeTransmitter& transmitter, std::uint8_t target) {
  Bytes buffer = {target};
  return transmitter.ReadResponse(buffer.data(), 1);
}

void AddAll(SiblingTree& siblings) {
  siblings.AddRuntime("Cpp", FAKESIBLING_PATH);
  siblings.AddRuntime("Jvm", FAKESIBLING_PATH);
  siblings.AddLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
  siblings.AddLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
}

constexpr int kInMemoryRead = 31;
constexpr int kNetworkRead = 71;

}  // namespace

PROCESS_CASE(refuse) {
  NativeTransmitter& transmitter = TransmitterOfCase();
  Report(ThrownBy([&] { Read(transmitter, 8); }));
  Report(ThrownBy([&] { Send(transmitter, Bytes(10, 0)); }));
  Report(Send(transmitter, InMemory(8)));
  Report(ThrownBy([&] { Send(transmitter, Network(3, 0, 0)); }));
  Report(Read(transmitter, 8));
}

TEST(NativeTransmitter, RefusesWhatItCannotRouteAndKeepsItsChannel) {
  SiblingTree siblings;
  AddAll(siblings);
  EXPECT_EQ(siblings.Run("refuse").report,
            (Texts{"Ferrolink Native Exception: Exception code 020. \nNo channel selected",
                   "Message byte array length is less than 11", "1011",
                   "Ferrolink Native Exception: Exception code 023.", "31"}));
}

PROCESS_CASE(reuseEndpoint) {
  NativeTransmitter& transmitter = TransmitterOfCase();
  Report(Send(transmitter, Network(1, 0x90, 0x1F)));
  Report(Send(transmitter, Network(1, 0x90, 0x1F)));
  Report(Send(transmitter, Network(2, 0x90, 0x1F)));
  Report(Send(transmitter, Network(2, 0, 0)));
}

TEST(NativeTransmitter, KeepsOneChannelForEachAddressAndPortWhateverItsKind) {
  SiblingTree siblings;
  AddAll(siblings);
  EXPECT_EQ(siblings.Run("reuseEndpoint").report, (Texts{"2011", "2011", "2011", "2011"}));
  const std::string sent = "Channel.SendCommand(8 3 ";
  EXPECT_EQ(siblings.Calls(),
            "TcpClient: CreateTransportChannel(127.0.0.1, 8080)\n"
            "TcpClient: Channel.Initialize(2, 8, 3)\n"
            "TcpClient: " +
                sent +
                "1 127 0 0 1 144 31 2 2)\n"
                "TcpClient: " +
                sent +
                "1 127 0 0 1 144 31 2 2)\n"
                "TcpClient: " +
                sent +
                "2 127 0 0 1 144 31 2 2)\n"
                "TcpTlsClient: CreateTransportChannel(127.0.0.1, 0)\n"
                "TcpTlsClient: Channel.Initialize(2, 8, 3)\n"
                "TcpTlsClient: " +
                sent + "2 127 0 0 1 0 0 2 2)\n");
}

PROCESS_CASE(switchChannels) {
  NativeTransmitter& transmitter = TransmitterOfCase();
  Send(transmitter, Network(1, 1, 0));
  Report(Read(transmitter, 8));
  Report(transmitter.SetEmbeddedRuntime(2, 8, 3, "path"));
  Report(Read(transmitter, 8));
  Bytes deployment = Network(1, 1, 0);
  Report(transmitter.DeployRuntime(deployment.data(), 10, "package", 1));
  Report(Read(transmitter, 8));
}

TEST(NativeTransmitter, ReadsFromTheChannelOfTheLastOperation) {
  SiblingTree siblings;
  AddAll(siblings);
  EXPECT_EQ(siblings.Run("switchChannels").report, (Texts{"71", "41", "31", "0", "71"}));
}

PROCESS_CASE(setChannel) {
  NativeTransmitter& transmitter = TransmitterOfCase();
  Send(transmitter, InMemory(8));
  auto* own = new Ferrolink::Native::Transport::TransportNetwork("10.0.0.7", 5, false);
  own->Initialize(2, 8, 3);
  transmitter.SetTransportChannel(own);
  Report(Read(transmitter, 8));
  // The next command selects by its header, which releases the channel that was set.
  Send(transmitter, InMemory(8));
  Report(Read(transmitter, 8));
}

TEST(NativeTransmitter, OwnsTheChannelThatItIsGivenUntilTheNextCommand) {
  SiblingTree siblings;
  AddAll(siblings);
  EXPECT_EQ(siblings.Run("setChannel").report, (Texts{"71", "31"}));
  const std::string calls = siblings.Calls();
  EXPECT_LT(calls.find("TcpClient: Channel.ReadResponse(8)"), calls.find("TcpClient: ~Channel"));
  EXPECT_NE(calls.find("TcpClient: ~Channel"), std::string::npos);
}

PROCESS_CASE(readOnTwoThreads) {
  NativeTransmitter& transmitter = TransmitterOfCase();
  std::latch otherSent(1);
  std::latch firstRead(1);
  Send(transmitter, InMemory(8));
  std::thread other([&] {
    Send(transmitter, Network(1, 1, 0));
    otherSent.count_down();
    firstRead.wait();
    Report(Read(transmitter, 8));
  });
  otherSent.wait();
  Report(Read(transmitter, 8));
  firstRead.count_down();
  other.join();
  // A thread that selected nothing reads from the current channel, the last one selected.
  std::thread([&] { Report(Read(transmitter, 8)); }).join();
}

TEST(NativeTransmitter, KeepsEachThreadsReadWithItsCommand) {
  SiblingTree siblings;
  AddAll(siblings);
  EXPECT_EQ(siblings.Run("readOnTwoThreads").report,
            (Texts{std::to_string(kInMemoryRead), std::to_string(kNetworkRead),
                   std::to_string(kNetworkRead)}));
}
