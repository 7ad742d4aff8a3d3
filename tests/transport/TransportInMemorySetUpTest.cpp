// How the in-memory transport sets up pairs of runtimes: loader calls, order, locks.
#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <thread>

#include "native/RoleSingletons.h"
#include "tests/transport/Runtimes.h"

using Ferrolink::Native::initializationMutex;

namespace Ferrolink::Tests {
namespace {

#if defined(FERROLINK_SANITIZED)
constexpr int kDeep = 2;
#else
constexpr int kDeep = 10;
#endif

}  // namespace

PROCESS_CASE(initializePair) {
  TransportInMemory& channel = Transport();
  Report("constructed");
  const auto calling = static_cast<std::uint8_t>(std::stoi(CaseArguments().at(0)));
  const auto called = static_cast<std::uint8_t>(std::stoi(CaseArguments().at(1)));
  Report(ThrownBy([&] { channel.Initialize(calling, called, 3); }));
  Report(ThrownBy([&] { channel.Initialize(calling, called, 3); }));
}

TEST(TransportInMemorySetUp, OpensTheCalledLibraryFirstAndEachLibraryOnce) {
  Runtimes siblings = {"Cpp", "Jvm"};
  CaseOptions options;
  options.arguments = {"2", "8"};
  EXPECT_EQ(siblings.RunWithLoader("initializePair", options).report,
            (Texts{"constructed", "(nothing thrown)", "(nothing thrown)"}));
  EXPECT_EQ(siblings.Calls(), Open("Cpp") + CreatedAs("Cpp", "1", "2, 8, 3") + Open("Jvm") +
                                  CreatedAs("Jvm", "0", "2, 8, 3"));
}

TEST(TransportInMemorySetUp, BindsTheLibraryThatPhpCallsDeeplyAndNoOther) {
  Runtimes siblings = {"Cpp", "Php"};
  CaseOptions options;
  options.arguments = {"9", "8"};
  siblings.RunWithLoader("initializePair", options);
  EXPECT_EQ(siblings.Calls(), Open("Cpp", kDeep) + CreatedAs("Cpp", "1", "9, 8, 3") + Open("Php") +
                                  CreatedAs("Php", "0", "9, 8, 3"));
  Runtimes others = {"Cpp", "Php"};
  options.arguments = {"8", "9"};
  others.RunWithLoader("initializePair", options);
  EXPECT_EQ(others.Calls(), Open("Php") + CreatedAs("Php", "1", "8, 9, 3") + Open("Cpp") +
                                CreatedAs("Cpp", "0", "8, 9, 3"));
}

TEST(TransportInMemorySetUp, ARuntimeThatCallsItselfIsSetUpAsTheCalledOneAlone) {
  Runtimes siblings = {"Jvm"};
  CaseOptions options;
  options.arguments = {"2", "2"};
  siblings.RunWithLoader("initializePair", options);
  EXPECT_EQ(siblings.Calls(), Open("Jvm") + CreatedAs("Jvm", "1", "2, 2, 3"));
}

TEST(TransportInMemorySetUp, ARuntimeThatIsNotKnownHasNoLibrary) {
  Runtimes siblings = {"Jvm"};
  CaseOptions options = siblings.Logged();
  options.arguments = {"2", "200"};
  const std::string error = siblings.NotFound("Unknown");
  EXPECT_EQ(siblings.Run("initializePair", options).report, (Texts{"constructed", error, error}));
  EXPECT_EQ(siblings.Calls(), "");
}

namespace {

// What the calling side's failure logs, of two calls for the same pair.
void ExpectLogged(Runtimes& siblings, CaseOptions options, const Texts& errors,
                  const std::string& callingSide) {
  options.arguments = {"2", "8"};
  const CaseResult result = siblings.Run("initializePair", options);
  EXPECT_EQ(result.report, (Texts{"constructed", "(nothing thrown)", "(nothing thrown)"}));
  EXPECT_EQ(LoggedErrors(siblings.Tree()), errors);
  EXPECT_EQ(siblings.Calls(), CreatedAs("Cpp", "1", "2, 8, 3") + callingSide);
}

}  // namespace

TEST(TransportInMemorySetUp, AMissingCallingLibraryIsLoggedAndLookedForAgain) {
  Runtimes siblings = {"Cpp"};
  const std::string error = siblings.NotFound(kJvm);
  ExpectLogged(siblings, siblings.Logged(), {error, error}, "");
}

TEST(TransportInMemorySetUp, ACallingLibraryWithoutFactoriesIsLoggedOnce) {
  Runtimes siblings = {"Cpp"};
  siblings.AddRuntime("Jvm", FAKESIBLINGEMPTY_PATH);
  ExpectLogged(siblings, siblings.Logged(), {Reinstall("017")}, "");
}

TEST(TransportInMemorySetUp, ACallingLibraryWithoutAReceiverIsNotAskedForATransmitter) {
  Runtimes siblings = {"Cpp", "Jvm"};
  CaseOptions options = siblings.Logged();
  options.environment["FAKE_SIBLING_NULL_RECEIVER"] = kJvm;
  ExpectLogged(siblings, options, {Reinstall("018")}, "Jvm: CreateReceiver(0)\n");
}

TEST(TransportInMemorySetUp, ACallingLibraryWithoutATransmitterIsLoggedOnce) {
  Runtimes siblings = {"Cpp"};
  siblings.AddRuntime("Jvm", FAKESIBLINGWITHOUTTRANSMITTER_PATH);
  ExpectLogged(siblings, siblings.Logged(), {Reinstall("016")},
               "Jvm: CreateReceiver(0)\nJvm: Receiver.Initialize(2, 8, 3)\n");
}

PROCESS_CASE(retryCalledSide) {
  TransportInMemory& channel = Transport();
  const auto attempt = [&] { Report(ThrownBy([&] { channel.Initialize(2, 8, 3); })); };
  setenv("FAKE_SIBLING_NULL_RECEIVER", kCpp, 1);
  attempt();
  unsetenv("FAKE_SIBLING_NULL_RECEIVER");
  setenv("FAKE_SIBLING_THROW", kCpp, 1);
  attempt();
  Report(IsFree(initializationMutex));
  unsetenv("FAKE_SIBLING_THROW");
  attempt();
}

TEST(TransportInMemorySetUp, ARetryGoesOnWhereTheLastAttemptStopped) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.RunWithLoader("retryCalledSide").report,
            (Texts{Reinstall("015"), "Receiver.Initialize failed", "1", "(nothing thrown)"}));
  EXPECT_EQ(
      siblings.Calls(),
      Open("Cpp") +
          "Cpp: CreateReceiver(1)\nCpp: CreateReceiver(1)\nCpp: Receiver.Initialize(2, 8, 3)\n" +
          CreatedAs("Cpp", "1", "2, 8, 3") + Open("Jvm") + CreatedAs("Jvm", "0", "2, 8, 3"));
}

PROCESS_CASE(lendTransmitterLater) {
  TransportInMemory& channel = Transport();
  setenv("FAKE_SIBLING_NULL_TRANSMITTER", kCpp, 1);
  channel.Initialize(2, 8, 3);
  std::array<std::uint8_t, 1> message = {8};
  Report(ThrownBy([&] { channel.DeployRuntime(message.data(), 1, "package", 1); }));
  unsetenv("FAKE_SIBLING_NULL_TRANSMITTER");
  channel.Initialize(5, 8, 3);
  Report(channel.DeployRuntime(message.data(), 1, "package", 1));
}

TEST(TransportInMemorySetUp, ANullTransmitterIsNoErrorAndIsAskedForAgainForTheNextPair) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.Run("lendTransmitterLater").report,
            (Texts{std::string(kPrefix) + "019. \nRuntime not loaded: Cpp", "61"}));
  EXPECT_EQ(siblings.Calls(), CreatedAs("Cpp", "1", "2, 8, 3") + CreatedAs("Jvm", "0", "2, 8, 3") +
                                  "Cpp: CreateTransmitter(1)\n" +
                                  CreatedAs("Python", "0", "5, 8, 3") +
                                  "Cpp: Transmitter.DeployRuntime(8, package, 1)\n");
}

PROCESS_CASE(pairsInTurn) {
  TransportInMemory& channel = Transport();
  channel.Initialize(2, 8, 3);
  channel.Initialize(8, 5, 4);
  channel.Initialize(2, 8, 9);  // both are open: the pair of the call before stays
  Report(channel.SetEmbeddedRuntime(2, 8, 1, "path"));
  channel.SendHeartBeatToCalledRuntime();
  channel.SendHeartBeatToCallingRuntime();
}

TEST(TransportInMemorySetUp, APairWhoseLibrariesAreOpenChangesNothing) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.Run("pairsInTurn").report, Texts{"41"});
  EXPECT_EQ(siblings.Calls(), CreatedAs("Cpp", "1", "2, 8, 3") + CreatedAs("Jvm", "0", "2, 8, 3") +
                                  CreatedAs("Python", "1", "8, 5, 4") +
                                  "Python: Receiver.SetEmbeddedRuntime(1, path)\n"
                                  "Python: Receiver.SendCommand(5 4 0 0 0 0 0 0 0 8 11 49 50)\n"
                                  "Cpp: Receiver.SendCommand(8 0 0 0 0 0 0 0 0 5 11 49 50)\n");
}

PROCESS_CASE(heartBeatsBefore) {
  TransportInMemory& channel = Transport();
  Report(ThrownBy([&] { channel.SendHeartBeatToCallingRuntime(); }));
  channel.Initialize(2, 8, 3);
  Report(ThrownBy([&] { channel.SendHeartBeatToCallingRuntime(); }));
  setenv("FAKE_SIBLING_THROW", kCpp, 1);
  Report(ThrownBy([&] { channel.SendHeartBeatToCalledRuntime(); }));
}

TEST(TransportInMemorySetUp, AHeartBeatIsAnnouncedEvenWhereItFails) {
  Runtimes siblings = {"Cpp"};
  const CaseResult result = siblings.Run("heartBeatsBefore", siblings.Logged());
  const std::string text = std::string(kPrefix) + "019. \nRuntime not loaded: ";
  EXPECT_EQ(result.report, (Texts{text + "Unknown", text + "Jvm", "Receiver.SendCommand failed"}));
  EXPECT_EQ(result.out,
            "SendHeartBeatToCallingRuntime\nSendHeartBeatToCallingRuntime\n"
            "SendHeartBeatToCalledRuntime\n");
}

namespace {

void ReportLock(const char* call) {
  Report(std::string(call) + (IsFree(initializationMutex) ? ": free" : ": locked"));
}

}  // namespace

PROCESS_CASE(lockInside) {
  HookSibling(kCpp, &ReportLock);
  HookSibling(kJvm, &ReportLock);
  TransportInMemory& channel = Transport();
  channel.Initialize(2, 8, 3);
  Report(IsFree(initializationMutex) ? "free" : "locked");
  std::array<std::uint8_t, 1> message = {8};
  channel.SendCommand(message.data(), 1);
  channel.ReadResponse(message.data(), 1);
  channel.SetEmbeddedRuntime(2, 8, 3, "path");
  channel.DeployRuntime(message.data(), 0, "path", 1);
  channel.SendHeartBeatToCallingRuntime();
}

TEST(TransportInMemorySetUp, HoldsTheProcessWideLockForTheSetUpOnly) {
  Runtimes siblings = {"Cpp", "Jvm"};
  const Texts create = {"CreateReceiver(1): locked", "Receiver.Initialize(2, 8, 3): locked",
                        "CreateTransmitter(1): locked"};
  const Texts createCalling = {"CreateReceiver(0): locked", "Receiver.Initialize(2, 8, 3): locked",
                               "CreateTransmitter(0): locked"};
  const Texts use = {"free",
                     "Receiver.SendCommand(8): free",
                     "Receiver.ReadResponse(8): free",
                     "Receiver.SetEmbeddedRuntime(3, path): free",
                     "Transmitter.DeployRuntime(, path, 1): free",
                     "Receiver.SendCommand(2 0 0 0 0 0 0 0 0 8 11 49 50): free"};
  EXPECT_EQ(siblings.Run("lockInside").report, Joined({create, createCalling, use}));
}

PROCESS_CASE(setUpWhileLocked) {
  TransportInMemory& channel = Transport();
  channel.Initialize(2, 8, 3);
  const std::lock_guard<std::mutex> lock(initializationMutex);
  OnNewThread([&] { Report(channel.Initialize(2, 8, 3)); });
}

TEST(TransportInMemorySetUp, APairThatIsSetUpNeedsNoLock) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.Run("setUpWhileLocked").report, Texts{"0"});
}

namespace {

std::atomic<int> latecomer{0};  // its thread's number, once it runs
std::atomic<bool> latecomerIsThrough{false};
std::optional<std::thread> latecomersThread;

// The latecomer is asleep: where it waits for the lock, it stays so.
bool IsAsleep(int thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string text;
  std::getline(status, text);
  return text.find(") S ") != std::string::npos;
}

// Both libraries are open by now, the calling side's objects are not there yet.
void InitializeMeanwhile(const char* call) {
  if (std::string(call) != "CreateReceiver(0)") {
    return;
  }
  latecomersThread.emplace([] {
    latecomer = gettid();
    Transport().Initialize(8, 2, 9);
    latecomerIsThrough = true;
  });
  while (!latecomerIsThrough && (latecomer == 0 || !IsAsleep(latecomer))) {
    std::this_thread::yield();
  }
  Report(latecomerIsThrough ? "through" : "waits");
}

}  // namespace

PROCESS_CASE(lateInitialize) {
  HookSibling(kJvm, &InitializeMeanwhile);
  Transport().Initialize(2, 8, 3);
  latecomersThread->join();
  Transport().SendHeartBeatToCalledRuntime();
}

TEST(TransportInMemorySetUp, AThreadThatComesMeanwhileWaitsAndThenChangesNothing) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.Run("lateInitialize").report, Texts{"waits"});
  EXPECT_EQ(siblings.Calls(), CreatedAs("Cpp", "1", "2, 8, 3") + CreatedAs("Jvm", "0", "2, 8, 3") +
                                  "Cpp: Receiver.SendCommand(8 3 0 0 0 0 0 0 0 2 11 49 50)\n");
}

PROCESS_CASE(setUpByMany) {
  TransportInMemory& channel = Transport();
  OnNewThreads(8, [&](int) {
    channel.Initialize(2, 8, 3);
    std::array<std::uint8_t, 1> message = {8};
    if (channel.SendCommand(message.data(), 1) != 1001) {
      Report("not sent");
    }
  });
}

TEST(TransportInMemorySetUp, ThreadsThatInitializeAtOnceSetThePairUpOnceAndFindItWhole) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.Run("setUpByMany").report, Texts{});
  const std::string calls = siblings.Calls();
  const std::string setUp = CreatedAs("Cpp", "1", "2, 8, 3") + CreatedAs("Jvm", "0", "2, 8, 3");
  EXPECT_EQ(calls.substr(0, setUp.size()), setUp);
  std::string sent;
  for (int i = 0; i < 8; ++i) {
    sent += "Cpp: Receiver.SendCommand(8)\n";
  }
  EXPECT_EQ(calls.substr(setUp.size()), sent);
}

PROCESS_CASE(endTransport) {
  for (const char* name : {kCpp, kJvm, "libFerrolinkPythonRuntimeNative.so"}) {
    HookSibling(name, nullptr);
  }
  std::optional<TransportInMemory> channel(std::in_place);
  channel->Initialize(8, 5, 3);
  channel->Initialize(2, 8, 3);
  channel.reset();
}

TEST(TransportInMemorySetUp, TheEndClosesTheLibrariesThenReleasesTransmittersThenReceivers) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.RunWithLoader("endTransport").exitCode, 0);
  const std::string calls = siblings.Calls();
  const std::string closed = "loader: close Jvm\nloader: close Python\nloader: close Cpp\n";
  ASSERT_NE(calls.find(closed), std::string::npos) << calls;
  EXPECT_EQ(calls.substr(calls.find(closed) + closed.size()),
            "Cpp: ~Transmitter\nPython: ~Transmitter\nJvm: ~Transmitter\n"
            "Cpp: ~Receiver\nPython: ~Receiver\nJvm: ~Receiver\n");
}

}  // namespace Ferrolink::Tests
