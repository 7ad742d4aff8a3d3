// TransmitterWrapper.sendCommand and readResponse.
#include <gtest/gtest.h>

#include <latch>
#include <mutex>

#include "jvm/JvmLib.h"
#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/JavaHost.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
namespace {

const std::string kNoChannel =
    "Ferrolink Native Exception: Exception code 020. \nNo channel selected";

const std::string kSendingCalls =
    "GetArrayLength GetByteArrayElements ReleaseByteArrayElements(abort)";

Bytes toCpp() {
  return {8, 3, 0, 0, 0, 0, 0, 0, 0, 2, 2, 99};
}

Bytes overTcp(std::uint8_t port) {
  return {8, 3, 1, 127, 0, 0, 1, port, 0, 2, 2};
}

}  // namespace

PROCESS_CASE(sendToCpp) {
  JavaHost java;
  jbyteArray message = java.thread.array(toCpp());
  isCopy = 7;
  java.reportCall([&] { return java.thread.sendCommand(message); });
  report(numbers(java.thread.contents(message)));
  report(static_cast<long>(isCopy));  // sendCommand hands a flag of its own to the JVM
}

TEST(SendCommand, HandsTheBytesToTheTargetAndReturnsTheLengthOfItsResponse) {
  CallerTree siblings;
  siblings.expect("sendToCpp", {"1012", kSendingCalls, "nothing", numbers(toCpp()), "7"});
  EXPECT_EQ(siblings.calls(),
            "Cpp: CreateReceiver(1)\n"
            "Cpp: Receiver.Initialize(2, 8, 3)\n"
            "Cpp: CreateTransmitter(1)\n"
            "Jvm: CreateReceiver(0)\n"
            "Jvm: Receiver.Initialize(2, 8, 3)\n"
            "Jvm: CreateTransmitter(0)\n"
            "Cpp: Receiver.SendCommand(8 3 0 0 0 0 0 0 0 2 2 99)\n");
}

PROCESS_CASE(sendNothing) {
  JavaHost java;
  jbyteArray empty = java.thread.array({});
  jbyteArray buffer = java.thread.array({8});
  java.reportCall([&] { return java.thread.sendCommand(empty); });
  java.reportCall([&] { return java.thread.readResponse(buffer); });
}

TEST(SendCommand, OfAnEmptyArrayReturns0AndSelectsNoChannel) {
  CallerTree siblings;
  siblings.expect("sendNothing", {"0", "GetArrayLength", "nothing", "-3: " + kNoChannel,
                                  "GetArrayLength GetByteArrayRegion(0, 1)", "nothing"});
  EXPECT_EQ(siblings.calls(), "");
}

PROCESS_CASE(sendUnsendable) {
  JavaHost java;
  for (const Bytes& bytes : {Bytes(5, 1), Bytes(10, 0), Bytes{8, 3, 9, 0, 0, 0, 0, 0, 0, 2, 2}}) {
    jbyteArray message = java.thread.array(bytes);
    java.reportCall([&] { return java.thread.sendCommand(message); });
  }
  java.reportCall([&] { return java.thread.sendCommand(nullptr); });
}

TEST(SendCommand, OfWhatHasNoWholeHeaderOrNoChannelReturnsMinus2) {
  CallerTree siblings;
  siblings.expect("sendUnsendable",
                  {"-2: " + kTooShort, kSendingCalls, "nothing", "-2: " + kTooShort, kSendingCalls,
                   "nothing", "-2: Ferrolink Native Exception: Exception code 023.", kSendingCalls,
                   "nothing", "-2: " + kNullArray, "", "nothing"});
  EXPECT_EQ(siblings.calls(), "");
}

PROCESS_CASE(sendWithoutElements) {
  JavaHost java;
  jbyteArray message = java.thread.array(toCpp());
  java.jvm.inject({.call = "GetByteArrayElements", .occurrence = 1, .null = true});
  java.jvm.inject(
      {.call = "GetByteArrayElements", .occurrence = 2, .null = true, .exception = true});
  java.reportCall([&] { return java.thread.sendCommand(message); });
  java.reportCall([&] { return java.thread.sendCommand(message); });
}

TEST(SendCommand, WithoutTheElementsReturnsMinus2AndClearsTheJavaException) {
  CallerTree siblings;
  const std::string calls = "GetArrayLength GetByteArrayElements ExceptionCheck";
  siblings.expect("sendWithoutElements", {"-2: " + kNoBytes, calls, "nothing", "-2: " + kNoBytes,
                                          calls + " ExceptionClear", "nothing"});
  EXPECT_EQ(siblings.calls(), "");
}

TEST(SendCommand, PassesTheTextOfTheTargetsErrorOnAndReleasesTheElements) {
  CallerTree siblings;
  siblings.expect(
      "sendToCpp",
      {"-2: Receiver.SendCommand failed", kSendingCalls, "nothing", numbers(toCpp()), "7"},
      throwingIn("Receiver.SendCommand"));
}

PROCESS_CASE(sendThrowingNumber) {
  JavaHost java;
  jbyteArray message = java.thread.array(toCpp());
  java.reportVoidCall([&] {
    try {
      report(java.thread.sendCommand(message));
    } catch (int number) {
      report("number " + std::to_string(number));
    }
  });
  report(java.thread.nativeError());
}

TEST(SendCommand, LetsWhatIsNoStandardExceptionPassAndReleasesTheElements) {
  CallerTree siblings;
  CaseOptions options = throwingIn("Receiver.SendCommand");
  options.environment["FAKE_SIBLING_THROW_NUMBER"] = "42";
  siblings.expect("sendThrowingNumber", {"number 42", kSendingCalls, "nothing", "Undefined error"},
                  options);
}

PROCESS_CASE(firstSend) {
  JavaHost java;
  report(transmitter.load() == nullptr);
  report(java.thread.outcome(java.thread.sendCommand(java.thread.array({}))));
  report(transmitter.load() != nullptr);
  report(static_cast<long>(operationMode.load()));
  // Launching, it would look for a JVM; with mode 0 it binds, which is done later.
  report(
      thrownBy([] { CreateReceiver(RuntimeOperationMode::CalledRuntime)->Initialize(8, 2, 0); }));
  report(static_cast<long>(operationMode.load()));
}

TEST(SendCommand, TheFirstOneSettlesMode0ForTheReceiverAsWell) {
  CallerTree siblings;
  siblings.expect("firstSend", {"1", "0", "1", "0", "(nothing thrown)", "0"});
}

PROCESS_CASE(startUpFails) {
  JavaHost java;
  jbyteArray message = java.thread.array(toCpp());
  jstring path = java.thread.string("path");
  const std::lock_guard<std::shared_mutex> lock(
      Ferrolink::Native::setOperationModeForTransmitterMutex);
  java.reportCall([&] { return java.thread.sendCommand(message); });
  java.reportCall([&] { return java.thread.setEmbeddedRuntime(2, 8, 3, path); });
  java.reportCall([&] { return java.thread.deployRuntime(message, path, 1); });
}

TEST(SendCommand, AndTheOtherTwoThatStartUpFirstReportItsErrors) {
  CallerTree siblings;
  const std::string deadlock = "Resource deadlock avoided";
  siblings.expect("startUpFails", {"-2: " + deadlock, "", "nothing", "-4: " + deadlock, "",
                                   "nothing", "-5: " + deadlock, "", "nothing"});
}

PROCESS_CASE(readUnsent) {
  JavaHost java;
  jbyteArray buffer = java.thread.array({8, 1});
  java.reportCall([&] { return java.thread.readResponse(buffer); });
  java.reportCall([&] { return java.thread.readResponse(nullptr); });
  jbyteArray empty = java.thread.array({});
  java.reportCall([&] { return java.thread.readResponse(empty); });
  report(numbers(java.thread.contents(buffer)));
  report(transmitter.load() == nullptr);
  report(static_cast<long>(operationMode.load()));
}

TEST(ReadResponse, BeforeAnyCommandReturnsMinus3AndSettlesNothing) {
  CallerTree siblings;
  siblings.expect("readUnsent", {"-3: " + kNoChannel, "GetArrayLength GetByteArrayRegion(0, 1)",
                                 "nothing", "-3: " + kNullArray, "", "nothing", "0",
                                 "GetArrayLength", "nothing", "8 1", "1", "-1"});
}

PROCESS_CASE(readFromCpp) {
  JavaHost java;
  report(java.thread.sendCommand(java.thread.array(toCpp())));
  for (const Bytes& bytes : {Bytes{8, 200, 201, 202}, Bytes{8}}) {
    jbyteArray buffer = java.thread.array(bytes);
    java.reportCall([&] { return java.thread.readResponse(buffer); });
    report(numbers(java.thread.contents(buffer)));
  }
}

TEST(ReadResponse, TakesOneByteDownAndBringsAllBytesBack) {
  CallerTree siblings;
  siblings.expect(
      "readFromCpp",
      {"1012", "0", "GetArrayLength GetByteArrayRegion(0, 1) SetByteArrayRegion(0, 4)", "nothing",
       "90 90 90 90", "0", "GetArrayLength GetByteArrayRegion(0, 1) SetByteArrayRegion(0, 1)",
       "nothing", "90"});
  const std::string calls = siblings.calls();
  EXPECT_EQ(calls.substr(calls.find("Cpp: Receiver.ReadResponse")),
            "Cpp: Receiver.ReadResponse(8 0 0 0)\nCpp: Receiver.ReadResponse(8)\n");
}

PROCESS_CASE(readMuch) {
  JavaHost java;
  report(java.thread.sendCommand(java.thread.array(toCpp())));
  for (const std::size_t size : {2048U, 2049U, 100'000U}) {
    Bytes sevens(size, 7);
    sevens[0] = 8;
    jbyteArray buffer = java.thread.array(sevens);
    report(java.thread.readResponse(buffer));
    report(java.thread.contents(buffer) == Bytes(size, 90));
  }
}

TEST(ReadResponse, OfAnySizeHandsZerosBehindTheFirstByteToTheTarget) {
  CallerTree siblings;
  siblings.expect("readMuch", {"1012", "0", "1", "0", "1", "0", "1"});
  std::string expected;
  for (const std::size_t size : {2048U, 2049U, 100'000U}) {
    expected += "Cpp: Receiver.ReadResponse(8";
    for (std::size_t i = 1; i < size; ++i) {
      expected += " 0";
    }
    expected += ")\n";
  }
  const std::string calls = siblings.calls();
  EXPECT_EQ(calls.substr(calls.find("Cpp: Receiver.ReadResponse")), expected);
}

TEST(ReadResponse, PassesTheTextOfTheTargetsErrorOnAndLeavesTheArrayAlone) {
  CallerTree siblings;
  const std::string calls = "GetArrayLength GetByteArrayRegion(0, 1)";
  const std::string failed = "-3: Receiver.ReadResponse failed";
  siblings.expect(
      "readFromCpp",
      {"1012", failed, calls, "nothing", "8 200 201 202", failed, calls, "nothing", "8"},
      throwingIn("Receiver.ReadResponse"));
}

PROCESS_CASE(exchangeOnThreads) {
  JavaHost java;
  std::latch allSent(4);
  onNewThreads(4, [&](int i) {
    const JavaThread thread(java.vm);
    const auto port = static_cast<std::uint8_t>(20 + i);
    thread.sendCommand(thread.array(i == 0 ? toCpp() : overTcp(port)));
    allSent.arrive_and_wait();
    for (int n = 0; n < 20; ++n) {
      jbyteArray buffer = thread.array({8, 0});
      const std::string outcome = thread.outcome(thread.readResponse(buffer));
      const std::string expected = i == 0 ? "90 90" : numbers(Bytes(2, port));
      if (outcome != "0" || numbers(thread.contents(buffer)) != expected) {
        report("thread " + std::to_string(i) + " read from another channel");
      }
      thread.sendCommand(thread.array(i == 0 ? toCpp() : overTcp(port)));
    }
  });
  report("read");
}

TEST(ReadResponse, ReadsFromTheChannelOfTheThreadsOwnCommand) {
  CallerTree siblings;
  siblings.expect("exchangeOnThreads", {"read"});
}

}  // namespace FerrolinkTest
