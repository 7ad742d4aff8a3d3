// TransmitterWrapper.setEmbeddedRuntime and deployRuntime.
#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/JavaHost.h"

namespace FerrolinkTest {
namespace {

const std::string kStringCalls = "GetStringUTFChars ReleaseStringUTFChars";
const std::string kDeployingCalls =
    "GetArrayLength GetByteArrayElements GetStringUTFChars ReleaseByteArrayElements(abort) "
    "ReleaseStringUTFChars";

Bytes package() {
  return {8, 3, 0, 0, 0, 0, 0, 0, 0, 2};
}

void reportSettled() {
  report(static_cast<long>(operationMode.load()));
  report(transmitter.load() != nullptr);
}

}  // namespace

PROCESS_CASE(embed) {
  JavaHost java;
  jstring path = java.thread.string("/some/path");
  isCopy = 7;
  java.reportCall([&] { return java.thread.setEmbeddedRuntime(0x102, 0x708, -253, path); });
  report(static_cast<long>(isCopy));
  reportSettled();
}

TEST(SetEmbeddedRuntime, TellsTheTargetAndCutsItsNumbersToTheLowByte) {
  CallerTree siblings;
  siblings.expect("embed", {"41", kStringCalls, "nothing", "1", "0", "1"});
  EXPECT_EQ(siblings.calls(),
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
  siblings.expect(
      "embed", {"-4: Receiver.SetEmbeddedRuntime failed", kStringCalls, "nothing", "1", "0", "1"},
      throwingIn("Receiver.SetEmbeddedRuntime"));
}

PROCESS_CASE(embedNothing) {
  JavaHost java;
  jstring path = java.thread.string("/some/path");
  java.jvm.inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true});
  java.reportCall([&] { return java.thread.setEmbeddedRuntime(2, 8, 3, path); });
  java.jvm.clearInjections();
  java.jvm.inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true, .exception = true});
  java.reportCall([&] { return java.thread.setEmbeddedRuntime(2, 8, 3, path); });
  java.reportCall([&] { return java.thread.setEmbeddedRuntime(2, 8, 3, nullptr); });
  reportSettled();
}

TEST(SetEmbeddedRuntime, WithoutAStringReturnsMinus4AndClearsTheJavaException) {
  CallerTree siblings;
  siblings.expect("embedNothing",
                  {"-4: " + kNullString, "GetStringUTFChars ExceptionCheck", "nothing",
                   "-4: " + kNullString, "GetStringUTFChars ExceptionCheck ExceptionClear",
                   "nothing", "-4: " + kNullString, "", "nothing", "0", "1"});
  EXPECT_EQ(siblings.calls(), "");
}

PROCESS_CASE(embedThrowingNumber) {
  JavaHost java;
  jstring path = java.thread.string("/some/path");
  java.reportVoidCall([&] {
    try {
      report(java.thread.setEmbeddedRuntime(2, 8, 3, path));
    } catch (int number) {
      report("number " + std::to_string(number));
    }
  });
}

TEST(SetEmbeddedRuntime, LetsWhatIsNoStandardExceptionPassAndReleasesTheCharacters) {
  CallerTree siblings;
  CaseOptions options = throwingIn("Receiver.SetEmbeddedRuntime");
  options.environment["FAKE_SIBLING_THROW_NUMBER"] = "42";
  siblings.expect("embedThrowingNumber", {"number 42", kStringCalls, "nothing"}, options);
}

PROCESS_CASE(embedAndDeploy) {
  JavaHost java;
  jstring path = java.thread.string("/some/path");
  java.thread.setEmbeddedRuntime(2, 8, 3, path);
  java.thread.deployRuntime(java.thread.array(package()), path, 1);
}

TEST(DeployRuntime, AndSetEmbeddedRuntimeReleaseWhatTheCallWasGivenAfterIt) {
  CallerTree siblings;
  CaseOptions options;
  options.environment["FAKE_JVM_CALLS"] = (siblings.tree().root() / "calls").string();
  siblings.expect("embedAndDeploy", {}, options);
  const std::string calls = siblings.calls();
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
  JavaHost java;
  jstring path = java.thread.string("/\xED\xA0\xBD\xED\xB8\x80");
  java.thread.setEmbeddedRuntime(2, 8, 3, path);
}

TEST(SetEmbeddedRuntime, HandsSupplementaryCharactersOnAsUtf8) {
  CallerTree siblings;
  siblings.expect("embedFarAway", {});
  EXPECT_EQ(siblings.lastCall(), "Cpp: Receiver.SetEmbeddedRuntime(3, /\xF0\x9F\x98\x80)\n");
}

PROCESS_CASE(deploy) {
  JavaHost java;
  jbyteArray message = java.thread.array(package());
  jstring path = java.thread.string("/some/package");
  isCopy = 7;
  java.reportCall([&] { return java.thread.deployRuntime(message, path, 0x1FE); });
  report(numbers(java.thread.contents(message)));
  report(static_cast<long>(isCopy));
  reportSettled();
}

TEST(DeployRuntime, HandsThePackageOnAndCutsItsFlagToTheLowByte) {
  CallerTree siblings;
  siblings.expect("deploy", {"61", kDeployingCalls, "nothing", numbers(package()), "1", "0", "1"});
  EXPECT_EQ(siblings.lastCall(),
            "Cpp: Transmitter.DeployRuntime(8 3 0 0 0 0 0 0 0 2, /some/package, 254)\n");
}

TEST(DeployRuntime, PassesTheTextOfTheTargetsErrorOnAndReleasesElementsAndCharacters) {
  CallerTree siblings;
  siblings.expect("deploy",
                  {"-5: Transmitter.DeployRuntime failed", kDeployingCalls, "nothing",
                   numbers(package()), "1", "0", "1"},
                  throwingIn("Transmitter.DeployRuntime"));
}

PROCESS_CASE(deployUndeployable) {
  JavaHost java;
  jstring path = java.thread.string("/some/package");
  for (const Bytes& bytes :
       {Bytes{}, Bytes(5, 1), Bytes(9, 0), Bytes{8, 3, 9, 0, 0, 0, 0, 0, 0, 2}}) {
    jbyteArray message = java.thread.array(bytes);
    java.reportCall([&] { return java.thread.deployRuntime(message, path, 0); });
  }
  java.reportCall([&] { return java.thread.deployRuntime(nullptr, path, 0); });
  reportSettled();
}

TEST(DeployRuntime, OfWhatHasNoChannelReturnsMinus5) {
  CallerTree siblings;
  Texts expected;
  for (const std::string& text : {kTooShort, kTooShort, kTooShort,
                                  std::string("Ferrolink Native Exception: Exception code 023.")}) {
    expected.insert(expected.end(), {"-5: " + text, kDeployingCalls, "nothing"});
  }
  expected.insert(expected.end(), {"-5: " + kNullArray, "", "nothing", "0", "1"});
  siblings.expect("deployUndeployable", expected);
  EXPECT_EQ(siblings.calls(), "");
}

PROCESS_CASE(deployWithoutPath) {
  JavaHost java;
  jbyteArray message = java.thread.array(package());
  jstring path = java.thread.string("/some/package");
  java.reportCall([&] { return java.thread.deployRuntime(message, nullptr, 0); });
  java.jvm.inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true, .exception = true});
  java.reportCall([&] { return java.thread.deployRuntime(message, path, 0); });
}

TEST(DeployRuntime, WithoutAPathReturnsMinus5AndReleasesTheElements) {
  CallerTree siblings;
  siblings.expect(
      "deployWithoutPath",
      {"-5: " + kNullString, "GetArrayLength GetByteArrayElements ReleaseByteArrayElements(abort)",
       "nothing", "-5: " + kNullString,
       "GetArrayLength GetByteArrayElements GetStringUTFChars ExceptionCheck "
       "ExceptionClear ReleaseByteArrayElements(abort)",
       "nothing"});
  EXPECT_EQ(siblings.calls(), "");
}

PROCESS_CASE(deployWithoutElements) {
  JavaHost java;
  jbyteArray message = java.thread.array(package());
  jstring path = java.thread.string("/some/package");
  java.jvm.inject({.call = "GetByteArrayElements", .occurrence = 1, .null = true});
  java.jvm.inject(
      {.call = "GetByteArrayElements", .occurrence = 2, .null = true, .exception = true});
  java.reportCall([&] { return java.thread.deployRuntime(message, path, 0); });
  java.reportCall([&] { return java.thread.deployRuntime(message, path, 0); });
}

TEST(DeployRuntime, WithoutTheElementsReturnsMinus5AndClearsTheJavaException) {
  CallerTree siblings;
  const std::string calls = "GetArrayLength GetByteArrayElements ExceptionCheck";
  siblings.expect("deployWithoutElements", {"-5: " + kNoBytes, calls, "nothing", "-5: " + kNoBytes,
                                            calls + " ExceptionClear", "nothing"});
  EXPECT_EQ(siblings.calls(), "");
}

PROCESS_CASE(deployThrowingNumber) {
  JavaHost java;
  jbyteArray message = java.thread.array(package());
  jstring path = java.thread.string("/some/package");
  java.reportVoidCall([&] {
    try {
      report(java.thread.deployRuntime(message, path, 0));
    } catch (int number) {
      report("number " + std::to_string(number));
    }
  });
}

TEST(DeployRuntime, LetsWhatIsNoStandardExceptionPassAndReleasesBoth) {
  CallerTree siblings;
  CaseOptions options = throwingIn("Transmitter.DeployRuntime");
  options.environment["FAKE_SIBLING_THROW_NUMBER"] = "42";
  siblings.expect("deployThrowingNumber", {"number 42", kDeployingCalls, "nothing"}, options);
}

}  // namespace FerrolinkTest
