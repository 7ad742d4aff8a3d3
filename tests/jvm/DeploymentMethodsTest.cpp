// TransmitterWrapper.setEmbeddedRuntime and deployRuntime.
#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/FakeJavaHost.h"

namespace Ferrolink::Tests {
namespace {

const std::string kStringCalls = "GetStringUTFChars ReleaseStringUTFChars";
const std::string kDeployingCalls =
    "GetArrayLength GetByteArrayElements GetStringUTFChars ReleaseByteArrayElements(abort) "
    "ReleaseStringUTFChars";

Bytes Package() {
  return {8, 3, 0, 0, 0, 0, 0, 0, 0, 2};
}

void ReportSettled() {
  Report(static_cast<long>(operationMode.load()));
  Report(transmitter.load() != nullptr);
}

}  // namespace

PROCESS_CASE(embed) {
  FakeJavaHost java;
  jstring path = java.thread.String("/some/path");
  isCopy = 7;
  java.ReportCall([&] { return java.thread.setEmbeddedRuntime(0x102, 0x708, -253, path); });
  Report(static_cast<long>(isCopy));
  ReportSettled();
}

TEST(SetEmbeddedRuntime, TellsTheTargetAndCutsItsNumbersToTheLowByte) {
  CallerTree siblings;
  siblings.Expect("embed", {"41", kStringCalls, "nothing", "1", "0", "1"});
  EXPECT_EQ(siblings.Calls(),
            "Cpp: CreateReceiver(1)\n"
            "Cpp: Receiver.Initialize(2, 8, 3)\n"
            "Cpp: CreateTransmitter(1)\n"
            "Jvm: CreateReceiver(0)\n"
            "Jvm: Receiver.Initialize(2, 8, 3)\n"
            "Jvm: CreateTransmitter(0)\n"
            "Cpp: Receiver.SetEmbeddedRuntime(3, /some/path)\n");
}

TEST(SetEmbeddedRuntime, PassesTheTextOfTheTargetsErrorOnAndReleasesTheCharacters) {
  CallerTree siblings;
  siblings.Expect(
      "embed", {"-4: Receiver.SetEmbeddedRuntime failed", kStringCalls, "nothing", "1", "0", "1"},
      ThrowingIn("Receiver.SetEmbeddedRuntime"));
}

PROCESS_CASE(embedNothing) {
  FakeJavaHost java;
  jstring path = java.thread.String("/some/path");
  java.jvm.Inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true});
  java.ReportCall([&] { return java.thread.setEmbeddedRuntime(2, 8, 3, path); });
  java.jvm.ClearInjections();
  java.jvm.Inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true, .exception = true});
  java.ReportCall([&] { return java.thread.setEmbeddedRuntime(2, 8, 3, path); });
  java.ReportCall([&] { return java.thread.setEmbeddedRuntime(2, 8, 3, nullptr); });
  ReportSettled();
}

TEST(SetEmbeddedRuntime, WithoutAStringReturnsMinus4AndClearsTheJavaException) {
  CallerTree siblings;
  siblings.Expect("embedNothing",
                  {"-4: " + kNullString, "GetStringUTFChars ExceptionCheck", "nothing",
                   "-4: " + kNullString, "GetStringUTFChars ExceptionCheck ExceptionClear",
                   "nothing", "-4: " + kNullString, "", "nothing", "0", "1"});
  EXPECT_EQ(siblings.Calls(), "");
}

PROCESS_CASE(embedThrowingNumber) {
  FakeJavaHost java;
  jstring path = java.thread.String("/some/path");
  java.ReportVoidCall([&] {
    try {
      Report(java.thread.setEmbeddedRuntime(2, 8, 3, path));
    } catch (int number) {
      Report("number " + std::to_string(number));
    }
  });
}

TEST(SetEmbeddedRuntime, LetsWhatIsNoStandardExceptionPassAndReleasesTheCharacters) {
  CallerTree siblings;
  CaseOptions options = ThrowingIn("Receiver.SetEmbeddedRuntime");
  options.environment["FAKE_SIBLING_THROW_NUMBER"] = "42";
  siblings.Expect("embedThrowingNumber", {"number 42", kStringCalls, "nothing"}, options);
}

PROCESS_CASE(embedAndDeploy) {
  FakeJavaHost java;
  jstring path = java.thread.String("/some/path");
  java.thread.setEmbeddedRuntime(2, 8, 3, path);
  java.thread.deployRuntime(java.thread.Array(Package()), path, 1);
}

TEST(DeployRuntime, AndSetEmbeddedRuntimeReleaseWhatTheCallWasGivenAfterIt) {
  CallerTree siblings;
  CaseOptions options;
  options.environment["FAKE_JVM_CALLS"] = (siblings.Tree().Root() / "calls").string();
  siblings.Expect("embedAndDeploy", {}, options);
  const std::string calls = siblings.Calls();
  EXPECT_NE(calls.find("Cpp: Receiver.SetEmbeddedRuntime(3, /some/path)\nReleaseStringUTFChars\n"),
            std::string::npos)
      << calls;
  EXPECT_NE(calls.find("GetByteArrayElements\nGetStringUTFChars\n"
                       "Cpp: Transmitter.DeployRuntime(8 3 0 0 0 0 0 0 0 2, /some/path, 1)\n"
                       "ReleaseByteArrayElements(abort)\nReleaseStringUTFChars\n"),
            std::string::npos)
      << calls;
}

PROCESS_CASE(embedFarAway) {
  FakeJavaHost java;
  jstring path = java.thread.String("/\xED\xA0\xBD\xED\xB8\x80");
  java.thread.setEmbeddedRuntime(2, 8, 3, path);
}

TEST(SetEmbeddedRuntime, HandsSupplementaryCharactersOnAsUtf8) {
  CallerTree siblings;
  siblings.Expect("embedFarAway", {});
  EXPECT_EQ(siblings.LastCall(), "Cpp: Receiver.SetEmbeddedRuntime(3, /\xF0\x9F\x98\x80)\n");
}

PROCESS_CASE(deploy) {
  FakeJavaHost java;
  jbyteArray message = java.thread.Array(Package());
  jstring path = java.thread.String("/some/package");
  isCopy = 7;
  java.ReportCall([&] { return java.thread.deployRuntime(message, path, 0x1FE); });
  Report(Numbers(java.thread.Contents(message)));
  Report(static_cast<long>(isCopy));
  ReportSettled();
}

TEST(DeployRuntime, HandsThePackageOnAndCutsItsFlagToTheLowByte) {
  CallerTree siblings;
  siblings.Expect("deploy", {"61", kDeployingCalls, "nothing", Numbers(Package()), "1", "0", "1"});
  EXPECT_EQ(siblings.LastCall(),
            "Cpp: Transmitter.DeployRuntime(8 3 0 0 0 0 0 0 0 2, /some/package, 254)\n");
}

TEST(DeployRuntime, PassesTheTextOfTheTargetsErrorOnAndReleasesElementsAndCharacters) {
  CallerTree siblings;
  siblings.Expect("deploy",
                  {"-5: Transmitter.DeployRuntime failed", kDeployingCalls, "nothing",
                   Numbers(Package()), "1", "0", "1"},
                  ThrowingIn("Transmitter.DeployRuntime"));
}

PROCESS_CASE(deployUndeployable) {
  FakeJavaHost java;
  jstring path = java.thread.String("/some/package");
  for (const Bytes& bytes :
       {Bytes{}, Bytes(5, 1), Bytes(9, 0), Bytes{8, 3, 9, 0, 0, 0, 0, 0, 0, 2}}) {
    jbyteArray message = java.thread.Array(bytes);
    java.ReportCall([&] { return java.thread.deployRuntime(message, path, 0); });
  }
  java.ReportCall([&] { return java.thread.deployRuntime(nullptr, path, 0); });
  ReportSettled();
}

TEST(DeployRuntime, OfWhatHasNoChannelReturnsMinus5) {
  CallerTree siblings;
  Texts expected;
  for (const std::string& text : {kTooShort, kTooShort, kTooShort,
                                  std::string("Ferrolink Native Exception: Exception code 023.")}) {
    expected.insert(expected.end(), {"-5: " + text, kDeployingCalls, "nothing"});
  }
  expected.insert(expected.end(), {"-5: " + kNullArray, "", "nothing", "0", "1"});
  siblings.Expect("deployUndeployable", expected);
  EXPECT_EQ(siblings.Calls(), "");
}

PROCESS_CASE(deployWithoutPath) {
  FakeJavaHost java;
  jbyteArray message = java.thread.Array(Package());
  jstring path = java.thread.String("/some/package");
  java.ReportCall([&] { return java.thread.deployRuntime(message, nullptr, 0); });
  java.jvm.Inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true, .exception = true});
  java.ReportCall([&] { return java.thread.deployRuntime(message, path, 0); });
}

TEST(DeployRuntime, WithoutAPathReturnsMinus5AndReleasesTheElements) {
  CallerTree siblings;
  siblings.Expect(
      "deployWithoutPath",
      {"-5: " + kNullString, "GetArrayLength GetByteArrayElements ReleaseByteArrayElements(abort)",
       "nothing", "-5: " + kNullString,
       "GetArrayLength GetByteArrayElements GetStringUTFChars ExceptionCheck "
       "ExceptionClear ReleaseByteArrayElements(abort)",
       "nothing"});
  EXPECT_EQ(siblings.Calls(), "");
}

PROCESS_CASE(deployWithoutElements) {
  FakeJavaHost java;
  jbyteArray message = java.thread.Array(Package());
  jstring path = java.thread.String("/some/package");
  java.jvm.Inject({.call = "GetByteArrayElements", .occurrence = 1, .null = true});
  java.jvm.Inject(
      {.call = "GetByteArrayElements", .occurrence = 2, .null = true, .exception = true});
  java.ReportCall([&] { return java.thread.deployRuntime(message, path, 0); });
  java.ReportCall([&] { return java.thread.deployRuntime(message, path, 0); });
}

TEST(DeployRuntime, WithoutTheElementsReturnsMinus5AndClearsTheJavaException) {
  CallerTree siblings;
  const std::string calls = "GetArrayLength GetByteArrayElements ExceptionCheck";
  siblings.Expect("deployWithoutElements", {"-5: " + kNoBytes, calls, "nothing", "-5: " + kNoBytes,
                                            calls + " ExceptionClear", "nothing"});
  EXPECT_EQ(siblings.Calls(), "");
}

PROCESS_CASE(deployThrowingNumber) {
  FakeJavaHost java;
  jbyteArray message = java.thread.Array(Package());
  jstring path = java.thread.String("/some/package");
  java.ReportVoidCall([&] {
    try {
      Report(java.thread.deployRuntime(message, path, 0));
    } catch (int number) {
      Report("number " + std::to_string(number));
    }
  });
}

TEST(DeployRuntime, LetsWhatIsNoStandardExceptionPassAndReleasesBoth) {
  CallerTree siblings;
  CaseOptions options = ThrowingIn("Transmitter.DeployRuntime");
  options.environment["FAKE_SIBLING_THROW_NUMBER"] = "42";
  siblings.Expect("deployThrowingNumber", {"number 42", kDeployingCalls, "nothing"}, options);
}

}  // namespace Ferrolink::Tests
