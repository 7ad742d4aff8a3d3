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

namespace FerrolinkTest {
namespace {

#if defined(FERROLINK_SANITIZED)
constexpr int kDeep = 2;
#else
constexpr int kDeep = 10;
#endif

}  // namespace

PROCESS_CASE(initializePair) {
  TransportInMemory& channel = transport();
  report("constructed");
  const auto calling = static_cast<std::uint8_t>(std::stoi(caseArguments().at(0)));
  const auto called = static_cast<std::uint8_t>(std::stoi(caseArguments().at(1)));
  report(thrownBy([&] { channel.Initialize(calling, called, 3); }));
  report(thrownBy([&] { channel.Initialize(calling, called, 3); }));
}

TEST(TransportInMemorySetUp, OpensTheCalledLibraryFirstAndEachLibraryOnce) {
  Runtimes siblings = {"Cpp", "Jvm"};
  CaseOptions options;
  options.arguments = {"2", "8"};
  EXPECT_EQ(siblings.runWithLoader("initializePair", options).report,
            (Texts{"constructed", "(nothing thrown)", "(nothing thrown)"}));
  EXPECT_EQ(siblings.calls(), open("Cpp") + createdAs("Cpp", "1", "2, 8, 3") + open("Jvm") +
                                  createdAs("Jvm", "0", "2, 8, 3"));
}

TEST(TransportInMemorySetUp, BindsTheLibraryThatPhpCallsDeeplyAndNoOther) {
  Runtimes siblings = {"Cpp", "Php"};
  CaseOptions options;
  options.arguments = {"9", "8"};
  siblings.runWithLoader("initializePair", options);
  EXPECT_EQ(siblings.calls(), open("Cpp", kDeep) + createdAs("Cpp", "1", "9, 8, 3") + open("Php") +
                                  createdAs("Php", "0", "9, 8, 3"));
  Runtimes others = {"Cpp", "Php"};
  options.arguments = {"8", "9"};
  others.runWithLoader("initializePair", options);
  EXPECT_EQ(others.calls(), open("Php") + createdAs("Php", "1", "8, 9, 3") + open("Cpp") +
                                createdAs("Cpp", "0", "8, 9, 3"));
}

TEST(TransportInMemorySetUp, ARuntimeThatCallsItselfIsSetUpAsTheCalledOneAlone) {
  Runtimes siblings = {"Jvm"};
  CaseOptions options;
  options.arguments = {"2", "2"};
  siblings.runWithLoader("initializePair", options);
  EXPECT_EQ(siblings.calls(), open("Jvm") + createdAs("Jvm", "1", "2, 2, 3"));
}

TEST(TransportInMemorySetUp, ARuntimeThatIsNotKnownHasNoLibrary) {
  Runtimes siblings = {"Jvm"};
  CaseOptions options = siblings.logged();
  options.arguments = {"2", "200"};
  const std::string error = siblings.notFound("Unknown");
  EXPECT_EQ(siblings.run("initializePair", options).report, (Texts{"constructed", error, error}));
  EXPECT_EQ(siblings.calls(), "");
}

namespace {

// What the calling side's failure logs, of two calls for the same pair.
void expectLogged(Runtimes& siblings, CaseOptions options, const Texts& errors,
                  const std::string& callingSide) {
  options.arguments = {"2", "8"};
  const CaseResult result = siblings.run("initializePair", options);
  EXPECT_EQ(result.report, (Texts{"constructed", "(nothing thrown)", "(nothing thrown)"}));
  EXPECT_EQ(loggedErrors(siblings.tree()), errors);
  EXPECT_EQ(siblings.calls(), createdAs("Cpp", "1", "2, 8, 3") + callingSide);
}

}  // namespace

TEST(TransportInMemorySetUp, AMissingCallingLibraryIsLoggedAndLookedForAgain) {
  Runtimes siblings = {"Cpp"};
  const std::string error = siblings.notFound(kJvm);
  expectLogged(siblings, siblings.logged(), {error, error}, "");
}

TEST(TransportInMemorySetUp, ACallingLibraryWithoutFactoriesIsLoggedOnce) {
  Runtimes siblings = {"Cpp"};
  siblings.addRuntime("Jvm", FAKESIBLINGEMPTY_PATH);
  expectLogged(siblings, siblings.logged(), {reinstall("017")}, "");
}

TEST(TransportInMemorySetUp, ACallingLibraryWithoutAReceiverIsNotAskedForATransmitter) {
  Runtimes siblings = {"Cpp", "Jvm"};
  CaseOptions options = siblings.logged();
  options.environment["FAKE_SIBLING_NULL_RECEIVER"] = kJvm;
  expectLogged(siblings, options, {reinstall("018")}, "Jvm: CreateReceiver(0)\n");
}

TEST(TransportInMemorySetUp, ACallingLibraryWithoutATransmitterIsLoggedOnce) {
  Runtimes siblings = {"Cpp"};
  siblings.addRuntime("Jvm", FAKESIBLINGWITHOUTTRANSMITTER_PATH);
  expectLogged(siblings, siblings.logged(), {reinstall("016")},
               "Jvm: CreateReceiver(0)\nJvm: Receiver.Initialize(2, 8, 3)\n");
}

PROCESS_CASE(retryCalledSide) {
  TransportInMemory& channel = transport();
  const auto attempt = [&] { report(thrownBy([&] { channel.Initialize(2, 8, 3); })); };
  setenv("FAKE_SIBLING_NULL_RECEIVER", kCpp, 1);
  attempt();
  unsetenv("FAKE_SIBLING_NULL_RECEIVER");
  setenv("FAKE_SIBLING_THROW", kCpp, 1);
  attempt();
  report(isFree(initializationMutex));
  unsetenv("FAKE_SIBLING_THROW");
  attempt();
}

TEST(TransportInMemorySetUp, ARetryGoesOnWhereTheLastAttemptStopped) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.runWithLoader("retryCalledSide").report,
            (Texts{reinstall("015"), "Receiver.Initialize failed", "1", "(nothing thrown)"}));
  EXPECT_EQ(
      siblings.calls(),
      open("Cpp") +
          "Cpp: CreateReceiver(1)\nCpp: CreateReceiver(1)\nCpp: Receiver.Initialize(2, 8, 3)\n" +
          createdAs("Cpp", "1", "2, 8, 3") + open("Jvm") + createdAs("Jvm", "0", "2, 8, 3"));
}

PROCESS_CASE(lendTransmitterLater) {
  TransportInMemory& channel = transport();
  setenv("FAKE_SIBLING_NULL_TRANSMITTER", kCpp, 1);
  channel.Initialize(2, 8, 3);
  std::array<std::uint8_t, 1> message = {8};
  report(thrownBy([&] { channel.DeployRuntime(message.data(), 1, "package", 1); }));
  unsetenv("FAKE_SIBLING_NULL_TRANSMITTER");
  channel.Initialize(5, 8, 3);
  report(channel.DeployRuntime(message.data(), 1, "package", 1));
}

TEST(TransportInMemorySetUp, ANullTransmitterIsNoErrorAndIsAskedForAgainForTheNextPair) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.run("lendTransmitterLater").report,
            (Texts{std::string(kPrefix) + "019. \nRuntime not loaded: Cpp", "61"}));
  EXPECT_EQ(siblings.calls(), createdAs("Cpp", "1", "2, 8, 3") + createdAs("Jvm", "0", "2, 8, 3") +
                                  "Cpp: CreateTransmitter(1)\n" +
                                  createdAs("Python", "0", "5, 8, 3") +
                                  "Cpp: Transmitter.DeployRuntime(8, package, 1)\n");
}

PROCESS_CASE(pairsInTurn) {
  TransportInMemory& channel = transport();
  channel.Initialize(2, 8, 3);
  channel.Initialize(8, 5, 4);
  channel.Initialize(2, 8, 9);  // both are open: the pair of the call before stays
  report(channel.SetEmbeddedRuntime(2, 8, 1, "path"));
  channel.SendHeartBeatToCalledRuntime();
  channel.SendHeartBeatToCallingRuntime();
}

TEST(TransportInMemorySetUp, APairWhoseLibrariesAreOpenChangesNothing) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.run("pairsInTurn").report, Texts{"41"});
  EXPECT_EQ(siblings.calls(), createdAs("Cpp", "1", "2, 8, 3") + createdAs("Jvm", "0", "2, 8, 3") +
                                  createdAs("Python", "1", "8, 5, 4") +
                                  "Python: Receiver.SetEmbeddedRuntime(1, path)\n"
                                  "Python: Receiver.SendCommand(5 4 0 0 0 0 0 0 0 8 11 49 50)\n"
                                  "Cpp: Receiver.SendCommand(8 0 0 0 0 0 0 0 0 5 11 49 50)\n");
}

PROCESS_CASE(heartBeatsBefore) {
  TransportInMemory& channel = transport();
  report(thrownBy([&] { channel.SendHeartBeatToCallingRuntime(); }));
  channel.Initialize(2, 8, 3);
  report(thrownBy([&] { channel.SendHeartBeatToCallingRuntime(); }));
  setenv("FAKE_SIBLING_THROW", kCpp, 1);
  report(thrownBy([&] { channel.SendHeartBeatToCalledRuntime(); }));
}

TEST(TransportInMemorySetUp, AHeartBeatIsAnnouncedEvenWhereItFails) {
  Runtimes siblings = {"Cpp"};
  const CaseResult result = siblings.run("heartBeatsBefore", siblings.logged());
  const std::string text = std::string(kPrefix) + "019. \nRuntime not loaded: ";
  EXPECT_EQ(result.report, (Texts{text + "Unknown", text + "Jvm", "Receiver.SendCommand failed"}));
  EXPECT_EQ(result.out,
            "SendHeartBeatToCallingRuntime\nSendHeartBeatToCallingRuntime\n"
            "SendHeartBeatToCalledRuntime\n");
}

namespace {

void reportLock(const char* call) {
  report(std::string(call) + (isFree(initializationMutex) ? ": free" : ": locked"));
}

}  // namespace

PROCESS_CASE(lockInside) {
  hookSibling(kCpp, &reportLock);
  hookSibling(kJvm, &reportLock);
  TransportInMemory& channel = transport();
  channel.Initialize(2, 8, 3);
  report(isFree(initializationMutex) ? "free" : "locked");
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
  EXPECT_EQ(siblings.run("lockInside").report, joined({create, createCalling, use}));
}

PROCESS_CASE(setUpWhileLocked) {
  TransportInMemory& channel = transport();
  channel.Initialize(2, 8, 3);
  const std::lock_guard<std::mutex> lock(initializationMutex);
  onNewThread([&] { report(channel.Initialize(2, 8, 3)); });
}

TEST(TransportInMemorySetUp, APairThatIsSetUpNeedsNoLock) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.run("setUpWhileLocked").report, Texts{"0"});
}

namespace {

std::atomic<int> latecomer{0};  // its thread's number, once it runs
std::atomic<bool> latecomerIsThrough{false};
std::optional<std::thread> latecomersThread;

// The latecomer is asleep: where it waits for the lock, it stays so.
bool isAsleep(int thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string text;
  std::getline(status, text);
  return text.find(") S ") != std::string::npos;
}

// Both libraries are open by now, the calling side's objects are not there yet.
void initializeMeanwhile(const char* call) {
  if (std::string(call) != "CreateReceiver(0)") {
    return;
  }
  latecomersThread.emplace([] {
    latecomer = gettid();
    transport().Initialize(8, 2, 9);
    latecomerIsThrough = true;
  });
  while (!latecomerIsThrough && (latecomer == 0 || !isAsleep(latecomer))) {
    std::this_thread::yield();
  }
  report(latecomerIsThrough ? "through" : "waits");
}

}  // namespace

PROCESS_CASE(lateInitialize) {
  hookSibling(kJvm, &initializeMeanwhile);
  transport().Initialize(2, 8, 3);
  latecomersThread->join();
  transport().SendHeartBeatToCalledRuntime();
}

TEST(TransportInMemorySetUp, AThreadThatComesMeanwhileWaitsAndThenChangesNothing) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.run("lateInitialize").report, Texts{"waits"});
  EXPECT_EQ(siblings.calls(), createdAs("Cpp", "1", "2, 8, 3") + createdAs("Jvm", "0", "2, 8, 3") +
                                  "Cpp: Receiver.SendCommand(8 3 0 0 0 0 0 0 0 2 11 49 50)\n");
}

PROCESS_CASE(setUpByMany) {
  TransportInMemory& channel = transport();
  onNewThreads(8, [&](int) {
    channel.Initialize(2, 8, 3);
    std::array<std::uint8_t, 1> message = {8};
    if (channel.SendCommand(message.data(), 1) != 1001) {
      report("not sent");
    }
  });
}

TEST(TransportInMemorySetUp, ThreadsThatInitializeAtOnceSetThePairUpOnceAndFindItWhole) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.run("setUpByMany").report, Texts{});
  const std::string calls = siblings.calls();
  const std::string setUp = createdAs("Cpp", "1", "2, 8, 3") + createdAs("Jvm", "0", "2, 8, 3");
  EXPECT_EQ(calls.substr(0, setUp.size()), setUp);
  std::string sent;
  for (int i = 0; i < 8; ++i) {
    sent += "Cpp: Receiver.SendCommand(8)\n";
  }
  EXPECT_EQ(calls.substr(setUp.size()), sent);
}

PROCESS_CASE(endTransport) {
  for (const char* name : {kCpp, kJvm, "libFerrolinkPythonRuntimeNative.so"}) {
    hookSibling(name, nullptr);
  }
  std::optional<TransportInMemory> channel(std::in_place);
  channel->Initialize(8, 5, 3);
  channel->Initialize(2, 8, 3);
  channel.reset();
}

TEST(TransportInMemorySetUp, TheEndClosesTheLibrariesThenReleasesTransmittersThenReceivers) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.runWithLoader("endTransport").exitCode, 0);
  const std::string calls = siblings.calls();
  const std::string closed = "loader: close Jvm\nloader: close Python\nloader: close Cpp\n";
  ASSERT_NE(calls.find(closed), std::string::npos) << calls;
  EXPECT_EQ(calls.substr(calls.find(closed) + closed.size()),
            "Cpp: ~Transmitter\nPython: ~Transmitter\nJvm: ~Transmitter\n"
            "Cpp: ~Receiver\nPython: ~Receiver\nJvm: ~Receiver\n");
}

}  // namespace FerrolinkTest
