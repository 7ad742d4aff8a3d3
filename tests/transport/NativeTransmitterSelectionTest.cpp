// Which channel a command takes, which channel its response comes from, and who owns channels.
#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <thread>

#include "jvm/JvmNativeTransmitter.h"
#include "native/transport/TransportNetwork.h"
#include "tests/transport/Channels.h"

using Ferrolink::Runtimes::Jvm::Native::Transmitter::JvmNativeTransmitter;

namespace FerrolinkTest {

PROCESS_CASE(shortCommands) {
  NativeTransmitter& transmitter = theTransmitter();
  Bytes bytes = inMemory();
  for (const int length : {10, 1, 0, -1}) {
    report(thrownBy([&] { transmitter.SendCommand(bytes.data(), length); }));
  }
  report(read(transmitter));
  report(transmitter.SendCommand(bytes.data(), 11));
}

TEST(NativeTransmitterSelection, ACommandWithoutAWholeHeaderSelectsNothing) {
  Channels siblings;
  const std::string tooShort = "Message byte array length is less than 11";
  siblings.expect("shortCommands", {tooShort, tooShort, tooShort, tooShort, kNoChannel, "1011"});
}

PROCESS_CASE(otherTypes) {
  NativeTransmitter& transmitter = theTransmitter();
  send(transmitter, network(1, 7));
  for (int type = 3; type < 256; ++type) {
    Bytes bytes = network(static_cast<std::uint8_t>(type), 9);
    std::string text;
    // A deployment selects the same way; errors are slow to raise, so each type has one of them.
    if (type % 2 == 0) {
      text = thrownBy([&] { transmitter.DeployRuntime(bytes.data(), 11, "path", 1); });
    } else {
      text = thrownBy([&] { send(transmitter, bytes); });
    }
    if (text != "Ferrolink Native Exception: Exception code 023.") {
      report(std::to_string(type) + ": " + text);
    }
  }
  report(read(transmitter));
}

TEST(NativeTransmitterSelection, EveryOtherChannelTypeIsRefusedWith023AndDisturbsNothing) {
  Channels siblings;
  CaseOptions options;
  siblings.tree().addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = "/proc/nowhere";  // no log, no pause
  siblings.expect("otherTypes", {"7"}, options);
}

PROCESS_CASE(endpoints) {
  NativeTransmitter& transmitter = theTransmitter();
  send(transmitter, {8, 3, 2, 10, 0, 0, 7, 0x90, 0x1F, 2, 2});
  send(transmitter, {8, 3, 1, 10, 0, 0, 7, 0x90, 0x1F, 2, 2});
  send(transmitter, {8, 3, 1, 255, 255, 255, 255, 0xFF, 0xFF, 2, 2});
  send(transmitter, {8, 3, 1, 0, 0, 0, 0, 0, 0, 2, 2});
  send(transmitter, {8, 3, 1, 1, 2, 3, 4, 0, 1, 2, 2});
  send(transmitter, {8, 3, 1, 1, 2, 3, 4, 1, 0, 2, 2});
}

TEST(NativeTransmitterSelection, AnEndpointIsReachedByTheTypeThatCameFirst) {
  Channels siblings;
  siblings.expect("endpoints", {});
  const auto made = [](const std::string& client, const std::string& endpoint) {
    return client + ": CreateTransportChannel(" + endpoint + ")\n" + client +
           ": Channel.Initialize(2, 8, 3)\n";
  };
  const auto sent = [](const std::string& client, const std::string& header) {
    return client + ": Channel.SendCommand(8 3 " + header + " 2 2)\n";
  };
  EXPECT_EQ(siblings.calls(),
            made("TcpTlsClient", "10.0.0.7, 8080") + sent("TcpTlsClient", "2 10 0 0 7 144 31") +
                sent("TcpTlsClient", "1 10 0 0 7 144 31") +
                made("TcpClient", "255.255.255.255, 65535") +
                sent("TcpClient", "1 255 255 255 255 255 255") + made("TcpClient", "0.0.0.0, 0") +
                sent("TcpClient", "1 0 0 0 0 0 0") + made("TcpClient", "1.2.3.4, 256") +
                sent("TcpClient", "1 1 2 3 4 0 1") + made("TcpClient", "1.2.3.4, 1") +
                sent("TcpClient", "1 1 2 3 4 1 0"));
}

PROCESS_CASE(failedInitialize) {
  NativeTransmitter& transmitter = theTransmitter();
  send(transmitter, inMemory());
  report(read(transmitter));
  report(thrownBy([&] { send(transmitter, network(1, 7)); }));
  report(read(transmitter));
  std::thread([&] { report(read(transmitter)); }).join();
}

TEST(NativeTransmitterSelection, AChannelThatCannotBeInitialisedIsTheCurrentOneAllTheSame) {
  SiblingTree siblings;
  siblings.addRuntime("Cpp", FAKESIBLING_PATH);
  siblings.addRuntime("Jvm", FAKESIBLING_PATH);
  const CaseResult result = siblings.run("failedInitialize");
  EXPECT_EQ(
      result.report,
      (Texts{"90",
             "Ferrolink Native Exception: Exception code 001. \nCannot load: " +
                 (siblings.tree().nativeDirectory() / kTcp).string() + ". \nError: File not found.",
             kNoChannel, kNoChannel}));
}

PROCESS_CASE(embedAndDeploy) {
  NativeTransmitter& transmitter = theTransmitter();
  report(transmitter.SetEmbeddedRuntime(2, 8, 3, "path"));
  Bytes bytes = inMemory();
  report(transmitter.DeployRuntime(bytes.data(), 10, "package", 6));
  bytes = network(2, 7);
  report(transmitter.DeployRuntime(bytes.data(), 0, "package", 6));
  report(read(transmitter));
  report(transmitter.SetEmbeddedRuntime(2, 8, 4, "path"));
  report(read(transmitter));
}

TEST(NativeTransmitterSelection, EmbeddingAndDeployingInitialiseTheirChannelsFirst) {
  Channels siblings;
  siblings.expect("embedAndDeploy", {"41", "61", "0", "7", "41", "90"});
  EXPECT_EQ(siblings.calls(),
            "Cpp: CreateReceiver(1)\n"
            "Cpp: Receiver.Initialize(2, 8, 3)\n"
            "Cpp: CreateTransmitter(1)\n"
            "Jvm: CreateReceiver(0)\n"
            "Jvm: Receiver.Initialize(2, 8, 3)\n"
            "Jvm: CreateTransmitter(0)\n"
            "Cpp: Receiver.SetEmbeddedRuntime(3, path)\n"
            "Cpp: Transmitter.DeployRuntime(8 3 0 0 0 0 0 0 0 2, package, 6)\n"
            "TcpTlsClient: CreateTransportChannel(127.0.0.1, 7)\n"
            "TcpTlsClient: Channel.Initialize(2, 8, 3)\n"
            "TcpTlsClient: Channel.ReadResponse(8)\n"
            "Cpp: Receiver.SetEmbeddedRuntime(4, path)\n"
            "Cpp: Receiver.ReadResponse(8)\n");
}

PROCESS_CASE(givenChannels) {
  NativeTransmitter& transmitter = theTransmitter();
  Bytes buffer = {8};
  transmitter.SetTransportChannel(new NamedChannel("first"));
  report(transmitter.ReadResponse(buffer.data(), 1));
  transmitter.SetTransportChannel(new NamedChannel("second"));
  report("second set");
  report(read(transmitter));
  transmitter.SetTransportChannel(nullptr);
  report(read(transmitter));
  transmitter.SetTransportChannel(new NamedChannel("third"));
  send(transmitter, network(1, 7));
  transmitter.SetTransportChannel(new NamedChannel("fourth"));
  send(transmitter, network(1, 7));  // the registry still holds the endpoint's channel
  report(read(transmitter));
}

TEST(NativeTransmitterSelection, AGivenChannelIsOwnedUntilAnotherBecomesCurrent) {
  Channels siblings;
  siblings.expect("givenChannels",
                  {"read from first", "5", "~first", "second set", "read from second", "8",
                   "~second", kNoChannel, "~third", "~fourth", "7"});
  EXPECT_EQ(siblings.calls().find("~Channel"), std::string::npos);
}

PROCESS_CASE(givenOnAnotherThread) {
  NativeTransmitter& transmitter = theTransmitter();
  send(transmitter, inMemory());
  std::thread([&] {
    transmitter.SetTransportChannel(new NamedChannel("given"));
    read(transmitter);
  }).join();
  report(read(transmitter));
  std::thread([&] { read(transmitter); }).join();
}

TEST(NativeTransmitterSelection, AChannelGivenByAnotherThreadLeavesAThreadItsOwn) {
  Channels siblings;
  siblings.expect("givenOnAnotherThread", {"read from given", "90", "read from given"});
}

PROCESS_CASE(twoTransmitters) {
  NativeTransmitter& transmitter = theTransmitter();
  static auto& other = *new NativeTransmitter(RuntimeOperationMode::CalledRuntime);
  send(transmitter, network(1, 7));
  report(read(other));
  send(other, network(1, 8));
  report(read(transmitter));
  report(read(other));
}

TEST(NativeTransmitterSelection, TransmittersDoNotShareTheirSelections) {
  Channels siblings;
  siblings.expect("twoTransmitters", {kNoChannel, "7", "8"});
}

PROCESS_CASE(endTransmitter) {
  for (const char* name : {kCpp, "libFerrolinkJvmRuntimeNative.so"}) {
    hookSibling(name, nullptr);
  }
  auto transmitter = std::make_unique<JvmNativeTransmitter>(RuntimeOperationMode::CallingRuntime);
  send(*transmitter, inMemory());
  send(*transmitter, network(1, 7));
  send(*transmitter, network(2, 8));
  transmitter->SetTransportChannel(new NamedChannel("current"));
  hookSibling(kTcp, [](const char* call) { report(std::string("Tcp: ") + call); });
  hookSibling(kTls, [](const char* call) { report(std::string("Tls: ") + call); });
  hookSibling(kCpp, [](const char* call) { report(std::string("Cpp: ") + call); });
  transmitter.reset();
  report("gone");
}

// Within the registry the order is the map's own.
TEST(NativeTransmitterSelection, TheEndReleasesTheCurrentThenTheNetworkThenTheInMemoryChannel) {
  Channels siblings;
  siblings.expect("endTransmitter", {"~current", "Tls: ~Channel", "Tcp: ~Channel",
                                     "Cpp: ~Transmitter", "Cpp: ~Receiver", "gone"});
}

PROCESS_CASE(manyChannels) {
  NativeTransmitter& transmitter = theTransmitter();
  std::latch start(6);
  onNewThreads(6, [&](int i) {
    const auto port = static_cast<std::uint8_t>(20 + i);
    const Bytes command = i < 2 ? inMemory() : network(i < 4 ? 1 : 2, port);
    const std::string expected = i < 2 ? "90" : numbers({port});
    start.arrive_and_wait();
    for (int n = 0; n < 30; ++n) {
      send(transmitter, command);
      if (read(transmitter) != expected) {
        report("thread " + std::to_string(i) + " read from another channel");
      }
    }
  });
  report("read");
}

TEST(NativeTransmitterSelection, ThreadsReadFromTheirOwnCommandsChannels) {
  Channels siblings;
  siblings.expect("manyChannels", {"read"});
}

}  // namespace FerrolinkTest
