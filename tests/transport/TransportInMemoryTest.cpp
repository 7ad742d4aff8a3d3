#include "native/transport/TransportInMemory.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>

#include "native/RoleSingletons.h"
#include "tests/transport/TransportFixture.h"

using namespace Ferrolink::Tests;
using Ferrolink::Native::Transport::TransportInMemory;

namespace {

using Texts = std::vector<std::string>;

// Lives until the process ends: its destructor closes the libraries of the objects that it owns.
TransportInMemory& Transport() {
  static auto* const made = new TransportInMemory;
  return *made;
}

constexpr const char* kBothSides =
    "Cpp: CreateReceiver(1)\n"
    "Cpp: Receiver.Initialize(2, 8, 3)\n"
    "Cpp: CreateTransmitter(1)\n"
    "Jvm: CreateReceiver(0)\n"
    "Jvm: Receiver.Initialize(2, 8, 3)\n"
    "Jvm: CreateTransmitter(0)\n";

constexpr const char* kPrefix = "Ferrolink Native Exception: Exception code ";

std::string Reinstall(const char* code) {
  return std::string(kPrefix) + code + ". \nReinstall Ferrolink package";
}

std::string InitializeFails(SiblingTree& siblings, CaseOptions options = {}) {
  const CaseResult result = siblings.Run("initializeOnce", std::move(options));
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return result.report.empty() ? "" : result.report.front();
}

}  // namespace

PROCESS_CASE(initializeOnce) {
  Report(ThrownBy([] { Transport().Initialize(2, 8, 3); }));
}

PROCESS_CASE(initializeTwice) {
  TransportInMemory& channel = Transport();
  Report(channel.Initialize(2, 8, 3));
  Report(channel.Initialize(2, 8, 3));
}

TEST(TransportInMemory, SetsUpTheCalledSideThenTheCallingSideOnce) {
  SiblingTree siblings;
  siblings.AddRuntime("Cpp", FAKESIBLING_PATH);
  siblings.AddRuntime("Jvm", FAKESIBLING_PATH);
  EXPECT_EQ(siblings.Run("initializeTwice").report, (Texts{"0", "0"}));
  EXPECT_EQ(siblings.Calls(), kBothSides);
}

TEST(TransportInMemory, RaisesEachFailureOfTheCalledSide) {
  SiblingTree missing;
  EXPECT_EQ(InitializeFails(missing),
            std::string(kPrefix) + "001. \nCannot load: " +
                (missing.Tree().NativeDirectory() / "libFerrolinkCppRuntimeNative.so").string() +
                ". \nError: File not found.");
  SiblingTree empty;
  empty.AddRuntime("Cpp", FAKESIBLINGEMPTY_PATH);
  EXPECT_EQ(InitializeFails(empty), Reinstall("014"));
  SiblingTree null;
  null.AddRuntime("Cpp", FAKESIBLING_PATH);
  CaseOptions options;
  options.environment["FAKE_SIBLING_NULL_RECEIVER"] = "libFerrolinkCppRuntimeNative.so";
  EXPECT_EQ(InitializeFails(null, options), Reinstall("015"));
  SiblingTree noTransmitter;
  noTransmitter.AddRuntime("Cpp", FAKESIBLINGWITHOUTTRANSMITTER_PATH);
  noTransmitter.AddRuntime("Jvm", FAKESIBLING_PATH);
  EXPECT_EQ(InitializeFails(noTransmitter), Reinstall("016"));
  EXPECT_EQ(noTransmitter.Calls(), "Cpp: CreateReceiver(1)\nCpp: Receiver.Initialize(2, 8, 3)\n");
}

TEST(TransportInMemory, LogsAndDropsEachFailureOfTheCallingSide) {
  const auto logged = [](const char* fake, const char* nullReceiver) {
    SiblingTree siblings;
    siblings.AddRuntime("Cpp", FAKESIBLING_PATH);
    if (fake != nullptr) {
      siblings.AddRuntime("Jvm", fake);
    }
    CaseOptions options;
    options.environment["FAKE_SIBLING_NULL_RECEIVER"] = nullReceiver;
    const CaseResult result = siblings.Run("initializeTwice", options);
    EXPECT_EQ(result.report, (Texts{"0", "0"}));
    return result.err;
  };
  EXPECT_NE(logged(nullptr, "").find("Error: File not found."), std::string::npos);
  EXPECT_NE(logged(FAKESIBLINGEMPTY_PATH, "").find(Reinstall("017")), std::string::npos);
  EXPECT_NE(logged(FAKESIBLING_PATH, "libFerrolinkJvmRuntimeNative.so").find(Reinstall("018")),
            std::string::npos);
  EXPECT_NE(logged(FAKESIBLINGWITHOUTTRANSMITTER_PATH, "").find(Reinstall("016")),
            std::string::npos);
}

TEST(TransportInMemory, LetsOtherErrorsOfTheCallingSidePass) {
  SiblingTree siblings;
  siblings.AddRuntime("Cpp", FAKESIBLING_PATH);
  siblings.AddRuntime("Jvm", FAKESIBLING_PATH);
  CaseOptions options;
  options.environment["FAKE_SIBLING_THROW"] = "libFerrolinkJvmRuntimeNative.so";
  EXPECT_EQ(InitializeFails(siblings, options), "Receiver.Initialize failed");
}

PROCESS_CASE(useTheChannel) {
  TransportInMemory& channel = Transport();
  channel.Initialize(2, 8, 3);
  channel.Initialize(2, 5, 4);
  std::array<std::uint8_t, 3> command = {8, 1, 2};
  Report(channel.SendCommand(command.data(), 3));
  std::array<std::uint8_t, 2> buffer = {8, 0};
  Report(channel.ReadResponse(buffer.data(), 2));
  Report(static_cast<long>(buffer[1]));
  Report(channel.SetEmbeddedRuntime(9, 9, 7, "path"));
  Report(channel.DeployRuntime(command.data(), 3, "package", 6));
  channel.SendHeartBeatToCalledRuntime();
  channel.SendHeartBeatToCallingRuntime();
}

TEST(TransportInMemory, RoutesByTheFirstByteAndForwardsTheRestToTheLastCalledRuntime) {
  SiblingTree siblings;
  for (const char* runtime : {"Cpp", "Jvm", "Python"}) {
    siblings.AddRuntime(runtime, FAKESIBLING_PATH);
  }
  const CaseResult result = siblings.Run("useTheChannel");
  EXPECT_EQ(result.report, (Texts{"1003", "31", "90", "41", "61"})) << result.err;
  EXPECT_EQ(result.out, "SendHeartBeatToCalledRuntime\nSendHeartBeatToCallingRuntime\n");
  EXPECT_EQ(siblings.Calls(), std::string(kBothSides) +
                                  "Python: CreateReceiver(1)\n"
                                  "Python: Receiver.Initialize(2, 5, 4)\n"
                                  "Python: CreateTransmitter(1)\n"
                                  "Cpp: Receiver.SendCommand(8 1 2)\n"
                                  "Cpp: Receiver.ReadResponse(8 0)\n"
                                  "Python: Receiver.SetEmbeddedRuntime(7, path)\n"
                                  "Python: Transmitter.DeployRuntime(8 1 2, package, 6)\n"
                                  "Python: Receiver.SendCommand(5 4 0 0 0 0 0 0 0 2 11 49 50)\n"
                                  "Jvm: Receiver.SendCommand(2 0 0 0 0 0 0 0 0 5 11 49 50)\n");
}

PROCESS_CASE(useNothingThatIsThere) {
  TransportInMemory& channel = Transport();
  std::array<std::uint8_t, 11> command = {5};
  Report(ThrownBy([&] { channel.SendCommand(command.data(), 11); }));
  command[0] = 200;
  Report(ThrownBy([&] { channel.ReadResponse(command.data(), 11); }));
  Report(ThrownBy([&] { channel.SetEmbeddedRuntime(2, 8, 0, ""); }));
  Report(ThrownBy([&] { channel.DeployRuntime(command.data(), 11, "", 0); }));
  Report(ThrownBy([&] { channel.SendHeartBeatToCalledRuntime(); }));
}

TEST(TransportInMemory, NamesTheRuntimeThatIsNotLoaded) {
  SiblingTree siblings;
  const std::string text = std::string(kPrefix) + "019. \nRuntime not loaded: ";
  EXPECT_EQ(siblings.Run("useNothingThatIsThere").report,
            (Texts{text + "Python", text + "Unknown", text + "Unknown", text + "Unknown",
                   text + "Unknown"}));
}

PROCESS_CASE(deployThroughOwnTransmitter) {
  TransportInMemory& channel = Transport();
  channel.Initialize(2, 8, 3);
  // As if the transmitter that the called runtime's library handed out were this process's own.
  void* library = dlopen((CaseNativeDirectory() / "libFerrolinkCppRuntimeNative.so").c_str(),
                         RTLD_NOW | RTLD_NOLOAD);
  using Last = Ferrolink::Native::Interfaces::ITransmitter*();
  Ferrolink::Native::transmitter = reinterpret_cast<Last*>(dlsym(library, "LastTransmitter"))();
  std::array<std::uint8_t, 2> message = {8, 1};
  Report(channel.DeployRuntime(message.data(), 2, "package", 6));
}

TEST(TransportInMemory, HandsADeploymentForItsOwnTransmitterToTheReceiver) {
  SiblingTree siblings;
  siblings.AddRuntime("Cpp", FAKESIBLING_PATH);
  siblings.AddRuntime("Jvm", FAKESIBLING_PATH);
  EXPECT_EQ(siblings.Run("deployThroughOwnTransmitter").report, Texts{"51"});
}

PROCESS_CASE(destroyTheChannel) {
  for (const char* name : {"libFerrolinkCppRuntimeNative.so", "libFerrolinkJvmRuntimeNative.so"}) {
    dlopen((CaseNativeDirectory() / name).c_str(), RTLD_NOW | RTLD_NODELETE);
  }
  TransportInMemory channel;
  channel.Initialize(2, 8, 3);
}

TEST(TransportInMemory, ReleasesTransmittersThenReceiversInTheEnd) {
  SiblingTree siblings;
  siblings.AddRuntime("Cpp", FAKESIBLING_PATH);
  siblings.AddRuntime("Jvm", FAKESIBLING_PATH);
  EXPECT_EQ(siblings.Run("destroyTheChannel").exitCode, 0);
  EXPECT_EQ(siblings.Calls(), std::string(kBothSides) +
                                  "Cpp: ~Transmitter\nJvm: ~Transmitter\n"
                                  "Cpp: ~Receiver\nJvm: ~Receiver\n");
}
