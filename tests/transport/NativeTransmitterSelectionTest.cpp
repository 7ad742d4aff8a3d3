// Which channel a command takes, which channel its response comes from, and who owns channels.
#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <thread>

#include "jvm/JvmNativeTransmitter.h"
#include "native/transport/TransportNetwork.h"
#include "tests/transport/Channels.h"

using Ferrolink::Runtimes::Jvm::Native::Transmitter::JvmNativeTransmitter;

namespace Ferrolink::Tests {

PROCESS_CASE(shortCommands) {
  NativeTransmitter& transmitter = TheTransmitter();
  Bytes bytes = InMemory();
  for (const int length : {10, 1, 0, -1}) {
    Report(ThrownBy([&] { transmitter.SendCommand(bytes.data(), length); }));
  }
  Report(Read(transmitter));
  Report(transmitter.SendCommand(bytes.data(), 11));
}

TEST(NativeTransmitterSelection, ACommandWithoutAWholeHeaderSelectsNothing) {
  Channels siblings;
  const std::string tooShort = "Message byte array length is less than 11";
  siblings.Expect("shortCommands", {tooShort, tooShort, tooShort, tooShort, kNoChannel, "1011"});
}

PROCESS_CASE(otherTypes) {
  NativeTransmitter& transmitter = TheTransmitter();
  Send(transmitter, Network(1, 7));
  for (int type = 3; type < 256; ++type) {
    Bytes bytes = Network(static_cast<std::uint8_t>(type), 9);
    std::string text;
    // A deployment selects the same way; errors are slow to raise, so each type has one of them.
    if (type % 2 == 0) {
      text = ThrownBy([&] { transmitter.DeployRuntime(bytes.data(), 11, "path", 1); });
    } else {
      text = ThrownBy([&] { Send(transmitter, bytes); });
    }
    if (text != "Ferrolink Native Exception: Exception code 023.") {
      Report(std::to_string(type) + ": " + text);
    }
  }
  Report(Read(transmitter));
}

TEST(NativeTransmitterSelection, EveryOtherChannelTypeIsRefusedWith023AndDisturbsNothing) {
  Channels siblings;
  CaseOptions options;
  siblings.Tree().AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = "/proc/nowhere";  // no log, no pause
  siblings.Expect("otherTypes", {"7"}, options);
}

PROCESS_CASE(endpoints) {
  NativeTransmitter& transmitter = TheTransmitter();
  Send(transmitter, {8, 3, 2, 10, 0, 0, 7, 0x90, 0x1F, 2, 2});
  Send(transmitter, {8, 3, 1, 10, 0, 0, 7, 0x90, 0x1F, 2, 2});
  Send(transmitter, {8, 3, 1, 255, 255, 255, 255, 0xFF, 0xFF, 2, 2});
  Send(transmitter, {8, 3, 1, 0, 0, 0, 0, 0, 0, 2, 2});
  Send(transmitter, {8, 3, 1, 1, 2, 3, 4, 0, 1, 2, 2});
  Send(transmitter, {8, 3, 1, 1, 2, 3, 4, 1, 0, 2, 2});
}

TEST(NativeTransmitterSelection, AnEndpointIsReachedByTheTypeThatCameFirst) {
  Channels siblings;
  siblings.Expect("endpoints", {});
  const auto made = [](const std::string& client, const std::string& endpoint) {
    return client + ": CreateTransportChannel(" + endpoint + ")\n" + client +
           ": Channel.Initialize(2, 8, 3)\n";
  };
  const auto sent = [](const std::string& client, const std::string& header) {
    return client + ": Channel.SendCommand(8 3 " + header + " 2 2)\n";
  };
  EXPECT_EQ(siblings.Calls(),
            made("TcpTlsClient", "10.0.0.7, 8080") + sent("TcpTlsClient", "2 10 0 0 7 144 31") +
                sent("TcpTlsClient", "1 10 0 0 7 144 31") +
                made("TcpClient", "255.255.255.255, 65535") +
                sent("TcpClient", "1 255 255 255 255 255 255") + made("TcpClient", "0.0.0.0, 0") +
                sent("TcpClient", "1 0 0 0 0 0 0") + made("TcpClient", "1.2.3.4, 256") +
                sent("TcpClient", "1 1 2 3 4 0 1") + made("TcpClient", "1.2.3.4, 1") +
                sent("TcpClient", "1 1 2 3 4 1 0"));
}

PROCESS_CASE(failedInitialize) {
  NativeTransmitter& transmitter = TheTransmitter();
  Send(transmitter, InMemory());
  Report(Read(transmitter));
  Report(ThrownBy([&] { Send(transmitter, Network(1, 7)); }));
  Report(Read(transmitter));
  std::thread([&] { Report(Read(transmitter)); }).join();
}

TEST(NativeTransmitterSelection, AChannelThatCannotBeInitialisedIsTheCurrentOneAllTheSame) {
  SiblingTree siblings;
  siblings.AddRuntime("Cpp", FAKESIBLING_PATH);
  siblings.AddRuntime("Jvm", FAKESIBLING_PATH);
  const CaseResult result = siblings.Run("failedInitialize");
  EXPECT_EQ(
      result.report,
      (Texts{"90",
             "Ferrolink Native Exception: Exception code 001. \nCannot load: " +
                 (siblings.Tree().NativeDirectory() / kTcp).string() + ". \nError: File not found.",
             kNoChannel, kNoChannel}));
}

PROCESS_CASE(embedAndDeploy) {
  NativeTransmitter& transmitter = TheTransmitter();
  Report(transmitter.SetEmbeddedRuntime(2, 8, 3, "path"));
  Bytes bytes = InMemory();
  Report(transmitter.DeployRuntime(bytes.data(), 10, "package", 6));
  bytes = Network(2, 7);
  Report(transmitter.DeployRuntime(bytes.data(), 0, "package", 6));
  Report(Read(transmitter));
  Report(transmitter.SetEmbeddedRuntime(2, 8, 4, "path"));
  Report(Read(transmitter));
}

TEST(NativeTransmitterSelection, EmbeddingAndDeployingInitialiseTheirChannelsFirst) {
  Channels siblings;
  siblings.Expect("embedAndDeploy", {"41", "61", "0", "7", "41", "90"});
  EXPECT_EQ(siblings.Calls(),
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
  NativeTransmitter& transmitter = TheTransmitter();
  Bytes buffer = {8};
  transmitter.SetTransportChannel(new NamedChannel("first"));
  Report(transmitter.ReadResponse(buffer.data(), 1));
  transmitter.SetTransportChannel(new NamedChannel("second"));
  Report("second set");
  Report(Read(transmitter));
  transmitter.SetTransportChannel(nullptr);
  Report(Read(transmitter));
  transmitter.SetTransportChannel(new NamedChannel("third"));
  Send(transmitter, Network(1, 7));
  transmitter.SetTransportChannel(new NamedChannel("fourth"));
  Send(transmitter, Network(1, 7));  // the registry still holds the endpoint's channel
  Report(Read(transmitter));
}

TEST(NativeTransmitterSelection, AGivenChannelIsOwnedUntilAnotherBecomesCurrent) {
  Channels siblings;
  siblings.Expect("givenChannels",
                  {"read from first", "5", "~first", "second set", "read from second", "8",
                   "~second", kNoChannel, "~third", "~fourth", "7"});
  EXPECT_EQ(siblings.Calls().find("~Channel"), std::string::npos);
}

PROCESS_CASE(givenOnAnotherThread) {
  NativeTransmitter& transmitter = TheTransmitter();
  Send(transmitter, InMemory());
  std::thread([&] {
    transmitter.SetTransportChannel(new NamedChannel("given"));
    Read(transmitter);
  }).join();
  Report(Read(transmitter));
  std::thread([&] { Read(transmitter); }).join();
}

TEST(NativeTransmitterSelection, AChannelGivenByAnotherThreadLeavesAThreadItsOwn) {
  Channels siblings;
  siblings.Expect("givenOnAnotherThread", {"read from given", "90", "read from given"});
}

PROCESS_CASE(twoTransmitters) {
  NativeTransmitter& transmitter = TheTransmitter();
  static auto& other = *new NativeTransmitter(RuntimeOperationMode::CalledRuntime);
  Send(transmitter, Network(1, 7));
  Report(Read(other));
  Send(other, Network(1, 8));
  Report(Read(transmitter));
  Report(Read(other));
}

TEST(NativeTransmitterSelection, TransmittersDoNotShareTheirSelections) {
  Channels siblings;
  siblings.Expect("twoTransmitters", {kNoChannel, "7", "8"});
}

PROCESS_CASE(endTransmitter) {
  for (const char* name : {kCpp, "libFerrolinkJvmRuntimeNative.so"}) {
    HookSibling(name, nullptr);
  }
  auto transmitter = std::make_unique<JvmNativeTransmitter>(RuntimeOperationMode::CallingRuntime);
  Send(*transmitter, InMemory());
  Send(*transmitter, Network(1, 7));
  Send(*transmitter, Network(2, 8));
  transmitter->SetTransportChannel(new NamedChannel("current"));
  HookSibling(kTcp, [](const char* call) { Report(std::string("Tcp: ") + call); });
  HookSibling(kTls, [](const char* call) { Report(std::string("Tls: ") + call); });
  HookSibling(kCpp, [](const char* call) { Report(std::string("Cpp: ") + call); });
  transmitter.reset();
  Report("gone");
}

// Within the registry the order is the map's own.
TEST(NativeTransmitterSelection, TheEndReleasesTheCurrentThenTheNetworkThenTheInMemoryChannel) {
  Channels siblings;
  siblings.Expect("endTransmitter", {"~current", "Tls: ~Channel", "Tcp: ~Channel",
                                     "Cpp: ~Transmitter", "Cpp: ~Receiver", "gone"});
}

PROCESS_CASE(manyChannels) {
  NativeTransmitter& transmitter = TheTransmitter();
  std::latch start(6);
  OnNewThreads(6, [&](int i) {
    const auto port = static_cast<std::uint8_t>(20 + i);
    const Bytes command = i < 2 ? InMemory() : Network(i < 4 ? 1 : 2, port);
    const std::string expected = i < 2 ? "90" : Numbers({port});
    start.arrive_and_wait();
    for (int n = 0; n < 30; ++n) {
      Send(transmitter, command);
      if (Read(transmitter) != expected) {
        Report("thread " + std::to_string(i) + " read from another channel");
      }
    }
  });
  Report("read");
}

TEST(NativeTransmitterSelection, ThreadsReadFromTheirOwnCommandsChannels) {
  Channels siblings;
  siblings.Expect("manyChannels", {"read"});
}

}  // namespace Ferrolink::Tests
