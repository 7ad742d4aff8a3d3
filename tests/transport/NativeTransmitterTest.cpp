#include "native/NativeTransmitter.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "native/transport/TransportNetwork.h"

#include "tests/transport/TransportFixture.h"

using namespace FerrolinkTest;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Transmitter::NativeTransmitter;

namespace {

using Texts = std::vector<std::string>;
using Bytes = std::vector<std::uint8_t>;

NativeTransmitter& transmitterOfCase() {
  static auto* const made = new NativeTransmitter(RuntimeOperationMode::CallingRuntime);
  return *made;
}

Bytes inMemory(std::uint8_t target) {
  return {target, 3, 0, 0, 0, 0, 0, 0, 0, 2, 2};
}

Bytes network(std::uint8_t type, std::uint8_t portLow, std::uint8_t portHigh) {
  return {8, 3, type, 127, 0, 0, 1, portLow, portHigh, 2, 2};
}

int send(NativeTransmitter& transmitter, Bytes command) {
  return transmitter.SendCommand(command.data(), static_cast<int>(command.size()));
}

int read(NativeTransmitter& transmitter, std::uint8_t target) {
  Bytes buffer = {target};
  return transmitter.ReadResponse(buffer.data(), 1);
}

void addAll(SiblingTree& siblings) {
  siblings.addRuntime("Cpp", FAKESIBLING_PATH);
  siblings.addRuntime("Jvm", FAKESIBLING_PATH);
  siblings.addLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
  siblings.addLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
}

constexpr int kInMemoryRead = 31;
constexpr int kNetworkRead = 71;

}  // namespace

PROCESS_CASE(refuse) {
  NativeTransmitter& transmitter = transmitterOfCase();
  report(thrownBy([&] { read(transmitter, 8); }));
  report(thrownBy([&] { send(transmitter, Bytes(10, 0)); }));
  report(send(transmitter, inMemory(8)));
  report(thrownBy([&] { send(transmitter, network(3, 0, 0)); }));
  report(read(transmitter, 8));
}

TEST(NativeTransmitter, RefusesWhatItCannotRouteAndKeepsItsChannel) {
  SiblingTree siblings;
  addAll(siblings);
  EXPECT_EQ(siblings.run("refuse").report,
            (Texts{"Ferrolink Native Exception: Exception code 020. \nNo channel selected",
                   "Message byte array length is less than 11", "1011",
                   "Ferrolink Native Exception: Exception code 023.", "31"}));
}

PROCESS_CASE(reuseEndpoint) {
  NativeTransmitter& transmitter = transmitterOfCase();
  report(send(transmitter, network(1, 0x90, 0x1F)));
  report(send(transmitter, network(1, 0x90, 0x1F)));
  report(send(transmitter, network(2, 0x90, 0x1F)));
  report(send(transmitter, network(2, 0, 0)));
}

TEST(NativeTransmitter, KeepsOneChannelForEachAddressAndPortWhateverItsKind) {
  SiblingTree siblings;
  addAll(siblings);
  EXPECT_EQ(siblings.run("reuseEndpoint").report, (Texts{"2011", "2011", "2011", "2011"}));
  const std::string sent = "Channel.SendCommand(8 3 ";
  EXPECT_EQ(siblings.calls(),
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
  NativeTransmitter& transmitter = transmitterOfCase();
  send(transmitter, network(1, 1, 0));
  report(read(transmitter, 8));
  report(transmitter.SetEmbeddedRuntime(2, 8, 3, "path"));
  report(read(transmitter, 8));
  Bytes deployment = network(1, 1, 0);
  report(transmitter.DeployRuntime(deployment.data(), 10, "package", 1));
  report(read(transmitter, 8));
}

TEST(NativeTransmitter, ReadsFromTheChannelOfTheLastOperation) {
  SiblingTree siblings;
  addAll(siblings);
  EXPECT_EQ(siblings.run("switchChannels").report, (Texts{"71", "41", "31", "0", "71"}));
}

PROCESS_CASE(setChannel) {
  NativeTransmitter& transmitter = transmitterOfCase();
  send(transmitter, inMemory(8));
  auto* own = new Ferrolink::Native::Transport::TransportNetwork("10.0.0.7", 5, false);
  own->Initialize(2, 8, 3);
  transmitter.SetTransportChannel(own);
  report(read(transmitter, 8));
  // The next command selects by its header, which releases the channel that was set.
  send(transmitter, inMemory(8));
  report(read(transmitter, 8));
}

TEST(NativeTransmitter, OwnsTheChannelThatItIsGivenUntilTheNextCommand) {
  SiblingTree siblings;
  addAll(siblings);
  EXPECT_EQ(siblings.run("setChannel").report, (Texts{"71", "31"}));
  const std::string calls = siblings.calls();
  EXPECT_LT(calls.find("TcpClient: Channel.ReadResponse(8)"), calls.find("TcpClient: ~Channel"));
  EXPECT_NE(calls.find("TcpClient: ~Channel"), std::string::npos);
}

PROCESS_CASE(readOnTwoThreads) {
  NativeTransmitter& transmitter = transmitterOfCase();
  std::latch otherSent(1);
  std::latch firstRead(1);
  send(transmitter, inMemory(8));
  std::thread other([&] {
    send(transmitter, network(1, 1, 0));
    otherSent.count_down();
    firstRead.wait();
    report(read(transmitter, 8));
  });
  otherSent.wait();
  report(read(transmitter, 8));
  firstRead.count_down();
  other.join();
  // A thread that selected nothing reads from the current channel, the last one selected.
  std::thread([&] { report(read(transmitter, 8)); }).join();
}

TEST(NativeTransmitter, KeepsEachThreadsReadWithItsCommand) {
  SiblingTree siblings;
  addAll(siblings);
  EXPECT_EQ(siblings.run("readOnTwoThreads").report,
            (Texts{std::to_string(kInMemoryRead), std::to_string(kNetworkRead),
                   std::to_string(kNetworkRead)}));
}
