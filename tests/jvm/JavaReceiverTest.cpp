#include "jvm/JavaReceiver.h"

#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherParts.h"

namespace FerrolinkTest {
namespace {

const std::string kEcho14 = "14: " + numbers(command());

/// A receiver of either kind in a JVM.
struct ReceiverFixture : InstanceFixture {
  explicit ReceiverFixture(JavaReceiver::Kind kind = JavaReceiver::Kind::ReceiverClass)
      : receiver(kind, errors, instance, responses) {}

  void setCallback() {
    callbackJavaVM = jvm.startJvm();
    jobject object = nullptr;
    jmethodID method = nullptr;
    jvm.makeCallback(object, method);
    sendCommandCallbackObject = object;
    sendCommandCallbackMethod = method;
    instance.bind();
  }

  std::string exchange(Bytes message, int (JavaReceiver::*operation)(std::uint8_t*, int)) {
    std::string result;
    const std::string thrown = thrownBy([&] {
      const int length = (receiver.*operation)(message.data(), static_cast<int>(message.size()));
      Bytes answer(static_cast<std::size_t>(length));
      responses.read(answer.data(), length);
      result = std::to_string(length) + ": " + numbers(answer);
    });
    return result.empty() ? thrown : result;
  }
  std::string send(const Bytes& message) { return exchange(message, &JavaReceiver::send); }
  std::string sendAfterLookUp(const Bytes& message) {
    return exchange(message, &JavaReceiver::sendAfterLookUp);
  }

  Ferrolink::Native::ThreadResponses responses;
  JavaReceiver receiver;
};

}  // namespace

PROCESS_CASE(looksUp) {
  ReceiverFixture parts;
  report(thrownBy([&] { parts.receiver.lookUp(); }));
  parts.start();
  report(parts.receiver.isKnown());
  report(parts.receiver.describe());
  parts.jvm.clearCalls();
  parts.receiver.lookUp();
  report(parts.receiver.isKnown());
  reportAll(parts.jvm.calls());
  report(parts.receiver.describe());
}

TEST(JavaReceiver, ItIsKnownOnceTheClassAndItsMethodsAreLookedUp) {
  expectReport("looksUp",
               joined({{raised("006. \nReinstall Ferrolink package"), "0", "", "1", "GetEnv(1.8)"},
                       classLookUpCalls(),
                       methodLookUpCalls(),
                       {"Fake JVM\n"}}));
}

PROCESS_CASE(lookUpFails) {
  ReceiverFixture parts;
  parts.start();
  for (const char* call : {"FindClass", "GetStaticMethodID(sendCommand",
                           "GetStaticMethodID(heartBeat", "GetStaticMethodID(getRuntimeInfo"}) {
    parts.jvm.inject({.call = call, .null = true, .exception = true});
    report(thrownBy([&] { parts.receiver.lookUp(); }));
    parts.jvm.inject({.call = call, .null = true});
    report(thrownBy([&] { parts.receiver.lookUp(); }));
  }
  report(parts.receiver.isKnown());
  report(outstanding(parts.jvm));
}

TEST(JavaReceiver, EachFailureOfTheLookUpHasItsCodeAndLeavesNoReference) {
  const std::string hint = ". \nReinstall Ferrolink package";
  const std::string pending = ". JVM exception occurred";
  expectReport(
      "lookUpFails",
      {raised("033" + pending), raised("007" + hint), raised("034" + pending), raised("008" + hint),
       raised("035" + pending), raised("009" + hint), raised("036" + pending), raised("010" + hint),
       "0", "local 0 global 0 elements 0 characters 0 attached 2 dropped 0"});
}

PROCESS_CASE(sends) {
  ReceiverFixture parts;
  parts.start();
  parts.receiver.lookUp();
  parts.jvm.clearCalls();
  report(parts.send(command()));
  reportAll(parts.jvm.calls());
  report(parts.send(command(11)));
  onNewThread([&] { report(parts.send(command())); });
  report(outstanding(parts.jvm));
}

TEST(JavaReceiver, ACommandIsAnsweredByTheReceiverClassWithTheseCalls) {
  expectReport("sends", joined({{kEcho14, "GetEnv(1.8)"},
                                makeArrayCalls(14),
                                callJavaCalls("sendCommand"),
                                storeResponseCalls(),
                                deletions(2),
                                {"4: 98 101 97 116", kEcho14, kStartedAndShared}}));
}

PROCESS_CASE(sendsBeforeTheLookUp) {
  ReceiverFixture parts;
  parts.start();
  report(parts.sendAfterLookUp(command()));
  report(parts.sendAfterLookUp(command()));
  report(parts.jvm.countCalls("FindClass"));
  report(parts.instance.isStartingUpHere());
}

TEST(JavaReceiver, ACommandThatComesBeforeTheLookUpLooksUpOnce) {
  expectReport("sendsBeforeTheLookUp", {kEcho14, kEcho14, "1", "0"});
}

PROCESS_CASE(sendsToACallback) {
  ReceiverFixture parts(JavaReceiver::Kind::Callback);
  parts.setCallback();
  report(parts.send(command()));
  report(parts.send(command(11)) == "14: " + numbers(command(11)));
  report(parts.jvm.countCalls("CallObjectMethodV(apply)"));
  report(parts.receiver.describe());
  sendCommandCallbackObject = nullptr;
  report(parts.send(command()));
}

TEST(JavaReceiver, ACallbackAnswersEveryCommandAndDescribesNothing) {
  expectReport("sendsToACallback",
               {kEcho14, "1", "2", "", raised("032. Java callback is not set")});
}

PROCESS_CASE(answersWithNull) {
  ReceiverFixture receiverClass;
  receiverClass.start();
  receiverClass.receiver.lookUp();
  receiverClass.jvm.script().sendCommand.answer = FakeJvm::Answer::Null;
  report(receiverClass.send(command()));
}

TEST(JavaReceiver, ANullOfTheReceiverClassRaises024) {
  expectReport("answersWithNull", {raised("024. Null response from JVM")});
}

PROCESS_CASE(callbackAnswersWithNull) {
  ReceiverFixture callback(JavaReceiver::Kind::Callback);
  callback.setCallback();
  callback.jvm.script().apply.answer = FakeJvm::Answer::Null;
  report(callback.send(command()));
}

TEST(JavaReceiver, ANullOfACallbackRaises024WithATextOfItsOwn) {
  expectReport("callbackAnswersWithNull", {raised("024. Null response from runtime callback")});
}

PROCESS_CASE(attachmentFails) {
  ReceiverFixture parts;
  parts.start();
  parts.receiver.lookUp();
  parts.jvm.inject({.call = "AttachCurrentThread", .result = JNI_ERR});
  onNewThread([&] { report(parts.send(command())); });
}

TEST(JavaReceiver, AThreadThatCannotBeAttachedRaises019) {
  expectReport("attachmentFails", {raised("019. Failed to attach thread to JVM")});
}

}  // namespace FerrolinkTest
