// What the in-memory transport makes of a set-up that failed, and of commands out of one that runs.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>

#include "native/RoleSingletons.h"
#include "tests/transport/Runtimes.h"

using Ferrolink::Native::initializationMutex;

namespace Ferrolink::Tests {
namespace {

constexpr std::uint8_t kJvmId = 2;
constexpr std::uint8_t kPythonId = 5;
constexpr std::uint8_t kCppId = 8;
constexpr const char* kPython = "libFerrolinkPythonRuntimeNative.so";

void Initialize(std::uint8_t calling, std::uint8_t called) {
  Report(ThrownBy([&] { Transport().Initialize(calling, called, 3); }));
}

/// What the runtime answers, or the text of what was thrown.
std::string Sent(std::uint8_t called) {
  std::array<std::uint8_t, 1> message = {called};
  std::string answer;
  const std::string thrown =
      ThrownBy([&] { answer = std::to_string(Transport().SendCommand(message.data(), 1)); });
  return answer.empty() ? thrown : answer;
}

std::string NotLoaded(const std::string& runtime) {
  return std::string(kPrefix) + "019. \nRuntime not loaded: " + runtime;
}

std::string SentOutOf(const std::string& settingUp, const std::string& called) {
  return std::string(kPrefix) + "021. \nA command to " + called + " came out of the set-up of " +
         settingUp + ", on the same thread, which would wait for itself. Send it after " +
         "CreateReceiver and Initialize have returned";
}

}  // namespace

PROCESS_CASE(retrySameRuntime) {
  for (const char* variable : {"FAKE_SIBLING_THROW", "FAKE_SIBLING_NULL_RECEIVER"}) {
    setenv(variable, kJvm, 1);
    Initialize(kJvmId, kJvmId);
    Report(Sent(kJvmId));
    unsetenv(variable);
  }
  Initialize(kJvmId, kJvmId);
  Initialize(kJvmId, kJvmId);
  Report(Sent(kJvmId));
}

TEST(TransportInMemoryRetry, ReachesTheReceiverThatFailedWhereARuntimeCallsItself) {
  Runtimes siblings = {"Jvm"};
  EXPECT_EQ(siblings.RunWithLoader("retrySameRuntime").report,
            (Texts{"Receiver.Initialize failed", NotLoaded("Jvm"), Reinstall("015"),
                   NotLoaded("Jvm"), "(nothing thrown)", "(nothing thrown)", "1001"}));
  EXPECT_EQ(siblings.Calls(), Open("Jvm") +
                                  "Jvm: CreateReceiver(1)\nJvm: Receiver.Initialize(2, 2, 3)\n"
                                  "Jvm: CreateReceiver(1)\n" +
                                  CreatedAs("Jvm", "1", "2, 2, 3") +
                                  "Jvm: Receiver.SendCommand(2)\n");
}

PROCESS_CASE(retryOfOpenLibraries) {
  Initialize(kJvmId, kCppId);
  setenv("FAKE_SIBLING_THROW", kPython, 1);
  Initialize(kJvmId, kPythonId);
  Initialize(kCppId, kPythonId);
  Report(IsFree(initializationMutex));
  unsetenv("FAKE_SIBLING_THROW");
  Initialize(kJvmId, kPythonId);
  Initialize(kCppId, kPythonId);
  Report(Sent(kPythonId));
}

TEST(TransportInMemoryRetry, ReachesTheReceiverThatFailedWhereAnotherPairOpenedTheCallingLibrary) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.RunWithLoader("retryOfOpenLibraries").report,
            (Texts{"(nothing thrown)", "Receiver.Initialize failed", "Receiver.Initialize failed",
                   "1", "(nothing thrown)", "(nothing thrown)", "1001"}));
  const std::string failed = "Python: CreateReceiver(1)\nPython: Receiver.Initialize(";
  EXPECT_EQ(siblings.Calls(), Open("Cpp") + CreatedAs("Cpp", "1", "2, 8, 3") + Open("Jvm") +
                                  CreatedAs("Jvm", "0", "2, 8, 3") + Open("Python") + failed +
                                  "2, 5, 3)\n" + failed + "8, 5, 3)\n" +
                                  CreatedAs("Python", "1", "2, 5, 3") +
                                  "Python: Receiver.SendCommand(5)\n");
}

PROCESS_CASE(receiverWithoutTransmitter) {
  Initialize(kJvmId, kJvmId);
  Initialize(kJvmId, kJvmId);
  Report(Sent(kJvmId));
}

TEST(TransportInMemoryRetry, EndsOnceTheReceiverIsThereEvenWhereATransmitterIsMissing) {
  Runtimes siblings = {};
  siblings.AddRuntime("Jvm", FAKESIBLINGWITHOUTTRANSMITTER_PATH);
  EXPECT_EQ(siblings.Run("receiverWithoutTransmitter").report,
            (Texts{Reinstall("016"), "(nothing thrown)", "1001"}));
}

namespace {

// Inside each step of the called side's set-up, and of the calling side's.
void SendBack(const char* call) {
  Report(call);
  Initialize(kJvmId, kCppId);
  Initialize(kCppId, kJvmId);
}

}  // namespace

PROCESS_CASE(sendOutOfSetUp) {
  HookSibling(kCpp, &SendBack);
  Initialize(kJvmId, kCppId);
  HookSibling(kCpp, nullptr);
  Report(IsFree(initializationMutex));
  Initialize(kCppId, kJvmId);
  Report(Sent(kCppId));
  Report(Sent(kJvmId));
}

TEST(TransportInMemoryRetry, ACommandOutOfTheCalledSidesSetUpIsRefusedAndDisturbsNothing) {
  Runtimes siblings = {"Cpp", "Jvm"};
  const std::string toCpp = SentOutOf("Cpp", "Cpp");
  const std::string toJvm = SentOutOf("Cpp", "Jvm");
  EXPECT_EQ(siblings.Run("sendOutOfSetUp").report,
            (Texts{"CreateReceiver(1)", toCpp, toJvm, "Receiver.Initialize(2, 8, 3)", toCpp, toJvm,
                   "CreateTransmitter(1)", toCpp, toJvm, "(nothing thrown)", "1",
                   "(nothing thrown)", "1001", "1001"}));
  EXPECT_EQ(siblings.Calls(), CreatedAs("Cpp", "1", "2, 8, 3") + CreatedAs("Jvm", "0", "2, 8, 3") +
                                  "Cpp: Receiver.SendCommand(8)\nJvm: Receiver.SendCommand(2)\n");
}

PROCESS_CASE(sendOutOfInitialiser) {
  void (*send)() = [] {
    Initialize(kJvmId, kCppId);
    Initialize(kCppId, kJvmId);
  };
  const std::string address = std::to_string(reinterpret_cast<std::uintptr_t>(send));
  setenv("FAKE_SIBLING_INITIALIZED", kCpp, 1);
  setenv("FAKE_SIBLING_INITIALIZER", address.c_str(), 1);
  Initialize(kJvmId, kCppId);
  Report(Sent(kCppId));
}

TEST(TransportInMemoryRetry, ACommandOutOfTheCalledLibrarysStaticInitialiserIsRefused) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.Run("sendOutOfInitialiser").report,
            (Texts{SentOutOf("Cpp", "Cpp"), SentOutOf("Cpp", "Jvm"), "(nothing thrown)", "1001"}));
  EXPECT_EQ(siblings.Calls(), CreatedAs("Cpp", "1", "2, 8, 3") + CreatedAs("Jvm", "0", "2, 8, 3") +
                                  "Cpp: Receiver.SendCommand(8)\n");
}

PROCESS_CASE(refusalEndsSetUp) {
  HookSibling(kPython, [](const char* call) {
    if (std::string(call) == "Receiver.Initialize(2, 5, 3)") {
      Transport().Initialize(kPythonId, kCppId, 4);
    }
  });
  Initialize(kJvmId, kPythonId);
  Report(IsFree(initializationMutex));
  HookSibling(kPython, nullptr);
  Initialize(kJvmId, kPythonId);
  Report(Sent(kPythonId));
}

TEST(TransportInMemoryRetry, ASetUpThatTheRefusalEndsIsTriedAgainByTheNextCommand) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.Run("refusalEndsSetUp").report,
            (Texts{SentOutOf("Python", "Cpp"), "1", "(nothing thrown)", "1001"}));
}

PROCESS_CASE(sendToSetUpPair) {
  Initialize(kJvmId, kCppId);
  HookSibling(kPython, [](const char* call) {
    if (std::string(call) == "CreateReceiver(1)") {
      Initialize(kJvmId, kCppId);
      Report(Sent(kCppId));
    }
  });
  Initialize(kJvmId, kPythonId);
}

TEST(TransportInMemoryRetry, ACommandOutOfASetUpReachesAPairThatIsSetUp) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.Run("sendToSetUpPair").report,
            (Texts{"(nothing thrown)", "(nothing thrown)", "1001", "(nothing thrown)"}));
}

PROCESS_CASE(sendOutOfCallingSide) {
  HookSibling(kJvm, &SendBack);
  Initialize(kJvmId, kCppId);
}

TEST(TransportInMemoryRetry, ACommandOutOfTheCallingSidesSetUpReachesTheCalledSideAlone) {
  Runtimes siblings = {"Cpp", "Jvm"};
  const std::string served = "(nothing thrown)";
  const std::string refused = SentOutOf("Cpp", "Jvm");
  EXPECT_EQ(siblings.Run("sendOutOfCallingSide").report,
            (Texts{"CreateReceiver(0)", served, refused, "Receiver.Initialize(2, 8, 3)", served,
                   refused, "CreateTransmitter(0)", served, served, served}));
}

}  // namespace Ferrolink::Tests
