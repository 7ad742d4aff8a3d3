// What the in-memory transport makes of a set-up that failed, and of commands out of one that runs.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>

#include "native/RoleSingletons.h"
#include "tests/transport/Runtimes.h"

using Ferrolink::Native::initializationMutex;

namespace FerrolinkTest {
namespace {

constexpr std::uint8_t kJvmId = 2;
constexpr std::uint8_t kPythonId = 5;
constexpr std::uint8_t kCppId = 8;
constexpr const char* kPython = "libFerrolinkPythonRuntimeNative.so";

void initialize(std::uint8_t calling, std::uint8_t called) {
  report(thrownBy([&] { transport().Initialize(calling, called, 3); }));
}

/// What the runtime answers, or the text of what was thrown.
std::string sent(std::uint8_t called) {
  std::array<std::uint8_t, 1> message = {called};
  std::string answer;
  const std::string thrown =
      thrownBy([&] { answer = std::to_string(transport().SendCommand(message.data(), 1)); });
  return answer.empty() ? thrown : answer;
}

std::string notLoaded(const std::string& runtime) {
  return std::string(kPrefix) + "019. \nRuntime not loaded: " + runtime;
}

std::string sentOutOf(const std::string& settingUp, const std::string& called) {
  return std::string(kPrefix) + "021. \nA command to " + called + " came out of the set-up of " +
         settingUp + ", on the same thread, which would wait for itself. Send it after " +
         "CreateReceiver and Initialize have returned";
}

}  // namespace

PROCESS_CASE(retrySameRuntime) {
  for (const char* variable : {"FAKE_SIBLING_THROW", "FAKE_SIBLING_NULL_RECEIVER"}) {
    setenv(variable, kJvm, 1);
    initialize(kJvmId, kJvmId);
    report(sent(kJvmId));
    unsetenv(variable);
  }
  initialize(kJvmId, kJvmId);
  initialize(kJvmId, kJvmId);
  report(sent(kJvmId));
}

TEST(TransportInMemoryRetry, ReachesTheReceiverThatFailedWhereARuntimeCallsItself) {
  Runtimes siblings = {"Jvm"};
  EXPECT_EQ(siblings.runWithLoader("retrySameRuntime").report,
            (Texts{"Receiver.Initialize failed", notLoaded("Jvm"), reinstall("015"),
                   notLoaded("Jvm"), "(nothing thrown)", "(nothing thrown)", "1001"}));
  EXPECT_EQ(siblings.calls(), open("Jvm") +
                                  "Jvm: CreateReceiver(1)\nJvm: Receiver.Initialize(2, 2, 3)\n"
                                  "Jvm: CreateReceiver(1)\n" +
                                  createdAs("Jvm", "1", "2, 2, 3") +
                                  "Jvm: Receiver.SendCommand(2)\n");
}

PROCESS_CASE(retryOfOpenLibraries) {
  initialize(kJvmId, kCppId);
  setenv("FAKE_SIBLING_THROW", kPython, 1);
  initialize(kJvmId, kPythonId);
  initialize(kCppId, kPythonId);
  report(isFree(initializationMutex));
  unsetenv("FAKE_SIBLING_THROW");
  initialize(kJvmId, kPythonId);
  initialize(kCppId, kPythonId);
  report(sent(kPythonId));
}

TEST(TransportInMemoryRetry, ReachesTheReceiverThatFailedWhereAnotherPairOpenedTheCallingLibrary) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.runWithLoader("retryOfOpenLibraries").report,
            (Texts{"(nothing thrown)", "Receiver.Initialize failed", "Receiver.Initialize failed",
                   "1", "(nothing thrown)", "(nothing thrown)", "1001"}));
  const std::string failed = "Python: CreateReceiver(1)\nPython: Receiver.Initialize(";
  EXPECT_EQ(siblings.calls(), open("Cpp") + createdAs("Cpp", "1", "2, 8, 3") + open("Jvm") +
                                  createdAs("Jvm", "0", "2, 8, 3") + open("Python") + failed +
                                  "2, 5, 3)\n" + failed + "8, 5, 3)\n" +
                                  createdAs("Python", "1", "2, 5, 3") +
                                  "Python: Receiver.SendCommand(5)\n");
}

PROCESS_CASE(receiverWithoutTransmitter) {
  initialize(kJvmId, kJvmId);
  initialize(kJvmId, kJvmId);
  report(sent(kJvmId));
}

TEST(TransportInMemoryRetry, EndsOnceTheReceiverIsThereEvenWhereATransmitterIsMissing) {
  Runtimes siblings = {};
  siblings.addRuntime("Jvm", FAKESIBLINGWITHOUTTRANSMITTER_PATH);
  EXPECT_EQ(siblings.run("receiverWithoutTransmitter").report,
            (Texts{reinstall("016"), "(nothing thrown)", "1001"}));
}

namespace {

// Inside each step of the called side's set-up, and of the calling side's.
void sendBack(const char* call) {
  report(call);
  initialize(kJvmId, kCppId);
  initialize(kCppId, kJvmId);
}

}  // namespace

PROCESS_CASE(sendOutOfSetUp) {
  hookSibling(kCpp, &sendBack);
  initialize(kJvmId, kCppId);
  hookSibling(kCpp, nullptr);
  report(isFree(initializationMutex));
  initialize(kCppId, kJvmId);
  report(sent(kCppId));
  report(sent(kJvmId));
}

TEST(TransportInMemoryRetry, ACommandOutOfTheCalledSidesSetUpIsRefusedAndDisturbsNothing) {
  Runtimes siblings = {"Cpp", "Jvm"};
  const std::string toCpp = sentOutOf("Cpp", "Cpp");
  const std::string toJvm = sentOutOf("Cpp", "Jvm");
  EXPECT_EQ(siblings.run("sendOutOfSetUp").report,
            (Texts{"CreateReceiver(1)", toCpp, toJvm, "Receiver.Initialize(2, 8, 3)", toCpp, toJvm,
                   "CreateTransmitter(1)", toCpp, toJvm, "(nothing thrown)", "1",
                   "(nothing thrown)", "1001", "1001"}));
  EXPECT_EQ(siblings.calls(), createdAs("Cpp", "1", "2, 8, 3") + createdAs("Jvm", "0", "2, 8, 3") +
                                  "Cpp: Receiver.SendCommand(8)\nJvm: Receiver.SendCommand(2)\n");
}

PROCESS_CASE(sendOutOfInitialiser) {
  void (*send)() = [] {
    initialize(kJvmId, kCppId);
    initialize(kCppId, kJvmId);
  };
  const std::string address = std::to_string(reinterpret_cast<std::uintptr_t>(send));
  setenv("FAKE_SIBLING_INITIALIZED", kCpp, 1);
  setenv("FAKE_SIBLING_INITIALIZER", address.c_str(), 1);
  initialize(kJvmId, kCppId);
  report(sent(kCppId));
}

TEST(TransportInMemoryRetry, ACommandOutOfTheCalledLibrarysStaticInitialiserIsRefused) {
  Runtimes siblings = {"Cpp", "Jvm"};
  EXPECT_EQ(siblings.run("sendOutOfInitialiser").report,
            (Texts{sentOutOf("Cpp", "Cpp"), sentOutOf("Cpp", "Jvm"), "(nothing thrown)", "1001"}));
  EXPECT_EQ(siblings.calls(), createdAs("Cpp", "1", "2, 8, 3") + createdAs("Jvm", "0", "2, 8, 3") +
                                  "Cpp: Receiver.SendCommand(8)\n");
}

PROCESS_CASE(refusalEndsSetUp) {
  hookSibling(kPython, [](const char* call) {
    if (std::string(call) == "Receiver.Initialize(2, 5, 3)") {
      transport().Initialize(kPythonId, kCppId, 4);
    }
  });
  initialize(kJvmId, kPythonId);
  report(isFree(initializationMutex));
  hookSibling(kPython, nullptr);
  initialize(kJvmId, kPythonId);
  report(sent(kPythonId));
}

TEST(TransportInMemoryRetry, ASetUpThatTheRefusalEndsIsTriedAgainByTheNextCommand) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.run("refusalEndsSetUp").report,
            (Texts{sentOutOf("Python", "Cpp"), "1", "(nothing thrown)", "1001"}));
}

PROCESS_CASE(sendToSetUpPair) {
  initialize(kJvmId, kCppId);
  hookSibling(kPython, [](const char* call) {
    if (std::string(call) == "CreateReceiver(1)") {
      initialize(kJvmId, kCppId);
      report(sent(kCppId));
    }
  });
  initialize(kJvmId, kPythonId);
}

TEST(TransportInMemoryRetry, ACommandOutOfASetUpReachesAPairThatIsSetUp) {
  Runtimes siblings = {"Cpp", "Jvm", "Python"};
  EXPECT_EQ(siblings.run("sendToSetUpPair").report,
            (Texts{"(nothing thrown)", "(nothing thrown)", "1001", "(nothing thrown)"}));
}

PROCESS_CASE(sendOutOfCallingSide) {
  hookSibling(kJvm, &sendBack);
  initialize(kJvmId, kCppId);
}

TEST(TransportInMemoryRetry, ACommandOutOfTheCallingSidesSetUpReachesTheCalledSideAlone) {
  Runtimes siblings = {"Cpp", "Jvm"};
  const std::string served = "(nothing thrown)";
  const std::string refused = sentOutOf("Cpp", "Jvm");
  EXPECT_EQ(siblings.run("sendOutOfCallingSide").report,
            (Texts{"CreateReceiver(0)", served, refused, "Receiver.Initialize(2, 8, 3)", served,
                   refused, "CreateTransmitter(0)", served, served, served}));
}

}  // namespace FerrolinkTest
