// TransmitterWrapper.sendCommand and readResponse.
#include <gtest/gtest.h>

#include <latch>
#include <mutex>

#include "jvm/JvmLib.h"
#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/FakeJavaHost.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

const std::string kNoChannel =
    "Ferrolink Native Exception: Exception code 020. \nNo channel selected";

const std::string kSendingCalls =
    "GetArrayLength GetByteArrayElements ReleaseByteArrayElements(abort)";

Bytes ToCpp() {
  return {8, 3, 0, 0, 0, 0, 0, 0, 0, 2, 2, 99};
}

Bytes OverTcp(std::uint8_t port) {
  return {8, 3, 1, 127, 0, 0, 1, port, 0, 2, 2};
}

}  // namespace

PROCESS_CASE(sendToCpp) {
  FakeJavaHost java;
  jbyteArray message = java.thread.Array(ToCpp());
  isCopy = 7;
  java.ReportCall([&] { return java.thread.sendCommand(message); });
  Report(Numbers(java.thread.Contents(message)));
  Report(static_cast<long>(isCopy));  // sendCommand hands a flag of its own to the JVM
}

TEST(SendCommand, HandsTheBytesToTheTargetAndReturnsTheLengthOfItsResponse) {
  CallerTree siblings;
  siblings.Expect("sendToCpp", {"1012", kSendingCalls, "nothing", Numbers(ToCpp()), "7"});
  EXPECT_EQ(siblings.Calls(),
            "Cpp: CreateReceiver(1)\n"
            "Cpp: Receiver.Initialize(2, 8, 3)\n"
            "Cpp: CreateTransmitter(1)\n"
            "Jvm: CreateReceiver(0)\n"
            "Jvm: Receiver.Initialize(2, 8, 3)\n"
            "Jvm: CreateTransmitter(0)\n"
            "Cpp: Receiver.SendCommand(8 3 0 0 0 0 0 0 0 2 2 99)\n");
}

PROCESS_CASE(sendNothing) {
  FakeJavaHost java;
  jbyteArray empty = java.thread.Array({});
  jbyteArray buffer = java.thread.Array({8});
  java.ReportCall([&] { return java.thread.sendCommand(empty); });
  java.ReportCall([&] { return java.thread.readResponse(buffer); });
}

TEST(SendCommand, OfAnEmptyArrayReturns0AndSelectsNoChannel) {
  CallerTree siblings;
  siblings.Expect("sendNothing", {"0", "GetArrayLength", "nothing", "-3: " + kNoChannel,
                                  "GetArrayLength GetByteArrayRegion(0, 1)", "nothing"});
  EXPECT_EQ(siblings.Calls(), "");
}

PROCESS_CASE(sendUnsendable) {
  FakeJavaHost java;
  for (const Bytes& bytes : {Bytes(5, 1), Bytes(10, 0), Bytes{8, 3, 9, 0, 0, 0, 0, 0, 0, 2, 2}}) {
    jbyteArray message = java.thread.Array(bytes);
    java.ReportCall([&] { return java.thread.sendCommand(message); });
  }
  java.ReportCall([&] { return java.thread.sendCommand(nullptr); });
}

TEST(SendCommand, OfWhatHasNoWholeHeaderOrNoChannelReturnsMinus2) {
  CallerTree siblings;
  siblings.Expect("sendUnsendable",
                  {"-2: " + kTooShort, kSendingCalls, "nothing", "-2: " + kTooShort, kSendingCalls,
                   "nothing", "-2: Ferrolink Native Exception: Exception code 023.", kSendingCalls,
                   "nothing", "-2: " + kNullArray, "", "nothing"});
  EXPECT_EQ(siblings.Calls(), "");
}

PROCESS_CASE(sendWithoutElements) {
  FakeJavaHost java;
  jbyteArray message = java.thread.Array(ToCpp());
  java.jvm.Inject({.call = "GetByteArrayElements", .occurrence = 1, .null = true});
  java.jvm.Inject(
      {.call = "GetByteArrayElements", .occurrence = 2, .null = true, .exception = true});
  java.ReportCall([&] { return java.thread.sendCommand(message); });
  java.ReportCall([&] { return java.thread.sendCommand(message); });
}

TEST(SendCommand, WithoutTheElementsReturnsMinus2AndClearsTheJavaException) {
  CallerTree siblings;
  const std::string calls = "GetArrayLength GetByteArrayElements ExceptionCheck";
  siblings.Expect("sendWithoutElements", {"-2: " + kNoBytes, calls, "nothing", "-2: " + kNoBytes,
                                          calls + " ExceptionClear", "nothing"});
  EXPECT_EQ(siblings.Calls(), "");
}

TEST(SendCommand, PassesTheTextOfTheTargetsErrorOnAndReleasesTheElements) {
  CallerTree siblings;
  siblings.Expect(
      "sendToCpp",
      {"-2: Receiver.SendCommand failed", kSendingCalls, "nothing", Numbers(ToCpp()), "7"},
      ThrowingIn("Receiver.SendCommand"));
}

PROCESS_CASE(sendThrowingNumber) {
  FakeJavaHost java;
  jbyteArray message = java.thread.Array(ToCpp());
  java.ReportVoidCall([&] {
    try {
      Report(java.thread.sendCommand(message));
    } catch (int number) {
      Report("number " + std::to_string(number));
    }
  });
  Report(java.thread.NativeError());
}

TEST(SendCommand, LetsWhatIsNoStandardExceptionPassAndReleasesTheElements) {
  CallerTree siblings;
  CaseOptions options = ThrowingIn("Receiver.SendCommand");
  options.environment["FAKE_SIBLING_THROW_NUMBER"] = "42";
  siblings.Expect("sendThrowingNumber", {"number 42", kSendingCalls, "nothing", "Undefined error"},
                  options);
}

PROCESS_CASE(firstSend) {
  FakeJavaHost java;
  Report(transmitter.load() == nullptr);
  Report(java.thread.Outcome(java.thread.sendCommand(java.thread.Array({}))));
  Report(transmitter.load() != nullptr);
  Report(static_cast<long>(operationMode.load()));
  // Launching, it would look for a JVM; with mode 0 it binds, which is done later.
  Report(
      ThrownBy([] { CreateReceiver(RuntimeOperationMode::CalledRuntime)->Initialize(8, 2, 0); }));
  Report(static_cast<long>(operationMode.load()));
}

TEST(SendCommand, TheFirstOneSettlesMode0ForTheReceiverAsWell) {
  CallerTree siblings;
  siblings.Expect("firstSend", {"1", "0", "1", "0", "(nothing thrown)", "0"});
}

PROCESS_CASE(startUpFails) {
  FakeJavaHost java;
  jbyteArray message = java.thread.Array(ToCpp());
  jstring path = java.thread.String("path");
  const std::lock_guard<std::shared_mutex> lock(
      Ferrolink::Native::setOperationModeForTransmitterMutex);
  java.ReportCall([&] { return java.thread.sendCommand(message); });
  java.ReportCall([&] { return java.thread.setEmbeddedRuntime(2, 8, 3, path); });
  java.ReportCall([&] { return java.thread.deployRuntime(message, path, 1); });
}

TEST(SendCommand, AndTheOtherTwoThatStartUpFirstReportItsErrors) {
  CallerTree siblings;
  const std::string deadlock = "Resource deadlock avoided";
  siblings.Expect("startUpFails", {"-2: " + deadlock, "", "nothing", "-4: " + deadlock, "",
                                   "nothing", "-5: " + deadlock, "", "nothing"});
}

PROCESS_CASE(readUnsent) {
  FakeJavaHost java;
  jbyteArray buffer = java.thread.Array({8, 1});
  java.ReportCall([&] { return java.thread.readResponse(buffer); });
  java.ReportCall([&] { return java.thread.readResponse(nullptr); });
  jbyteArray empty = java.thread.Array({});
  java.ReportCall([&] { return java.thread.readResponse(empty); });
  Report(Numbers(java.thread.Contents(buffer)));
  Report(transmitter.load() == nullptr);
  Report(static_cast<long>(operationMode.load()));
}

TEST(ReadResponse, BeforeAnyCommandReturnsMinus3AndSettlesNothing) {
  CallerTree siblings;
  siblings.Expect("readUnsent", {"-3: " + kNoChannel, "GetArrayLength GetByteArrayRegion(0, 1)",
                                 "nothing", "-3: " + kNullArray, "", "nothing", "0",
                                 "GetArrayLength", "nothing", "8 1", "1", "-1"});
}

PROCESS_CASE(readFromCpp) {
  FakeJavaHost java;
  Report(java.thread.sendCommand(java.thread.Array(ToCpp())));
  for (const Bytes& bytes : {Bytes{8, 200, 201, 202}, Bytes{8}}) {
    jbyteArray buffer = java.thread.Array(bytes);
    java.ReportCall([&] { return java.thread.readResponse(buffer); });
    Report(Numbers(java.thread.Contents(buffer)));
  }
}

TEST(ReadResponse, TakesOneByteDownAndBringsAllBytesBack) {
  CallerTree siblings;
  siblings.Expect(
      "readFromCpp",
      {"1012", "0", "GetArrayLength GetByteArrayRegion(0, 1) SetByteArrayRegion(0, 4)", "nothing",
       "90 90 90 90", "0", "GetArrayLength GetByteArrayRegion(0, 1) SetByteArrayRegion(0, 1)",
       "nothing", "90"});
  const std::string calls = siblings.Calls();
  EXPECT_EQ(calls.substr(calls.find("Cpp: Receiver.ReadResponse")),
            "Cpp: Receiver.ReadResponse(8 0 0 0)\nCpp: Receiver.ReadResponse(8)\n");
}

PROCESS_CASE(readMuch) {
  FakeJavaHost java;
  Report(java.thread.sendCommand(java.thread.Array(ToCpp())));
  for (const std::size_t size : {2048U, 2049U, 100'000U}) {
    Bytes sevens(size, 7);
    sevens[0] = 8;
    jbyteArray buffer = java.thread.Array(sevens);
    Report(java.thread.readResponse(buffer));
    Report(java.thread.Contents(buffer) == Bytes(size, 90));
  }
}

TEST(ReadResponse, OfAnySizeHandsZerosBehindTheFirstByteToTheTarget) {
  CallerTree siblings;
  siblings.Expect("readMuch", {"1012", "0", "1", "0", "1", "0", "1"});
  std::string expected;
  for (const std::size_t size : {2048U, 2049U, 100'000U}) {
    expected += "Cpp: Receiver.ReadResponse(8";
    for (std::size_t i = 1; i < size; ++i) {
      expected += " 0";
    }
    expected += ")\n";
  }
  const std::string calls = siblings.Calls();
  EXPECT_EQ(calls.substr(calls.find("Cpp: Receiver.ReadResponse")), expected);
}

TEST(ReadResponse, PassesTheTextOfTheTargetsErrorOnAndLeavesTheArrayAlone) {
  CallerTree siblings;
  const std::string calls = "GetArrayLength GetByteArrayRegion(0, 1)";
  const std::string failed = "-3: Receiver.ReadResponse failed";
  siblings.Expect(
      "readFromCpp",
      {"1012", failed, calls, "nothing", "8 200 201 202", failed, calls, "nothing", "8"},
      ThrowingIn("Receiver.ReadResponse"));
}

PROCESS_CASE(exchangeOnThreads) {
  FakeJavaHost java;
  std::latch allSent(4);
  OnNewThreads(4, [&](int i) {
    const JavaThread thread(java.vm);
    const auto port = static_cast<std::uint8_t>(20 + i);
    thread.sendCommand(thread.Array(i == 0 ? ToCpp() : OverTcp(port)));
    allSent.arrive_and_wait();
    for (int n = 0; n < 20; ++n) {
      jbyteArray buffer = thread.Array({8, 0});
      const std::string outcome = thread.Outcome(thread.readResponse(buffer));
      const std::string expected = i == 0 ? "90 90" : Numbers(Bytes(2, port));
      if (outcome != "0" || Numbers(thread.Contents(buffer)) != expected) {
        Report("thread " + std::to_string(i) + " read from another channel");
      }
      thread.sendCommand(thread.Array(i == 0 ? ToCpp() : OverTcp(port)));
    }
  });
  Report("read");
}

TEST(ReadResponse, ReadsFromTheChannelOfTheThreadsOwnCommand) {
  CallerTree siblings;
  siblings.Expect("exchangeOnThreads", {"read"});
}

}  // namespace Ferrolink::Tests
