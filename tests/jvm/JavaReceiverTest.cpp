#include "jvm/JavaReceiver.h"

#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherParts.h"

namespace Ferrolink::Tests {
namespace {

const std::string kEcho14 = "14: " + Numbers(Command());

/// A receiver of either kind in a JVM.
struct ReceiverFixture : InstanceFixture {
  explicit ReceiverFixture(JavaReceiver::Kind kind = JavaReceiver::Kind::ReceiverClass)
      : receiver(kind, errors, instance, responses) {}

  void setCallback() {
    callbackJavaVM = jvm.StartJvm();
    jobject object = nullptr;
    jmethodID method = nullptr;
    jvm.MakeCallback(object, method);
    sendCommandCallbackObject = object;
    sendCommandCallbackMethod = method;
    instance.Bind();
  }

  std::string Exchange(Bytes message, int (JavaReceiver::*operation)(std::uint8_t*, int)) {
    std::string result;
    const std::string thrown = ThrownBy([&] {
      const int length = (receiver.*operation)(message.data(), static_cast<int>(message.size()));
      Bytes answer(static_cast<std::size_t>(length));
      responses.Read(answer.data(), length);
      result = std::to_string(length) + ": " + Numbers(answer);
    });
    return result.empty() ? thrown : result;
  }
  std::string Send(const Bytes& message) { return Exchange(message, &JavaReceiver::Send); }
  std::string SendAfterLookUp(const Bytes& message) {
    return Exchange(message, &JavaReceiver::SendAfterLookUp);
  }

  Ferrolink::Native::ThreadResponses responses;
  JavaReceiver receiver;
};

}  // namespace

PROCESS_CASE(looksUp) {
  ReceiverFixture parts;
  Report(ThrownBy([&] { parts.receiver.LookUp(); }));
  parts.Start();
  Report(parts.receiver.IsKnown());
  Report(parts.receiver.Describe());
  parts.jvm.ClearCalls();
  parts.receiver.LookUp();
  Report(parts.receiver.IsKnown());
  ReportAll(parts.jvm.Calls());
  Report(parts.receiver.Describe());
}

TEST(JavaReceiver, ItIsKnownOnceTheClassAndItsMethodsAreLookedUp) {
  ExpectReport("looksUp",
               Joined({{Raised("006. \nReinstall Ferrolink package"), "0", "", "1", "GetEnv(1.8)"},
                       ClassLookUpCalls(),
                       MethodLookUpCalls(),
                       {"Fake JVM\n"}}));
}

PROCESS_CASE(lookUpFails) {
  ReceiverFixture parts;
  parts.Start();
  for (const char* call : {"FindClass", "GetStaticMethodID(sendCommand",
                           "GetStaticMethodID(heartBeat", "GetStaticMethodID(getRuntimeInfo"}) {
    parts.jvm.Inject({.call = call, .null = true, .exception = true});
    Report(ThrownBy([&] { parts.receiver.LookUp(); }));
    parts.jvm.Inject({.call = call, .null = true});
    Report(ThrownBy([&] { parts.receiver.LookUp(); }));
  }
  Report(parts.receiver.IsKnown());
  Report(Outstanding(parts.jvm));
}

TEST(JavaReceiver, EachFailureOfTheLookUpHasItsCodeAndLeavesNoReference) {
  const std::string hint = ". \nReinstall Ferrolink package";
  const std::string pending = ". JVM exception occurred";
  ExpectReport(
      "lookUpFails",
      {Raised("033" + pending), Raised("007" + hint), Raised("034" + pending), Raised("008" + hint),
       Raised("035" + pending), Raised("009" + hint), Raised("036" + pending), Raised("010" + hint),
       "0", "local 0 global 0 elements 0 characters 0 attached 2 dropped 0"});
}

PROCESS_CASE(sends) {
  ReceiverFixture parts;
  parts.Start();
  parts.receiver.LookUp();
  parts.jvm.ClearCalls();
  Report(parts.Send(Command()));
  ReportAll(parts.jvm.Calls());
  Report(parts.Send(Command(11)));
  OnNewThread([&] { Report(parts.Send(Command())); });
  Report(Outstanding(parts.jvm));
}

TEST(JavaReceiver, ACommandIsAnsweredByTheReceiverClassWithTheseCalls) {
  ExpectReport("sends", Joined({{kEcho14, "GetEnv(1.8)"},
                                MakeArrayCalls(14),
                                CallJavaCalls("sendCommand"),
                                StoreResponseCalls(),
                                Deletions(2),
                                {"4: 98 101 97 116", kEcho14, kStartedAndShared}}));
}

PROCESS_CASE(sendsBeforeTheLookUp) {
  ReceiverFixture parts;
  parts.Start();
  Report(parts.SendAfterLookUp(Command()));
  Report(parts.SendAfterLookUp(Command()));
  Report(parts.jvm.CountCalls("FindClass"));
  Report(parts.instance.IsStartingUpHere());
}

TEST(JavaReceiver, ACommandThatComesBeforeTheLookUpLooksUpOnce) {
  ExpectReport("sendsBeforeTheLookUp", {kEcho14, kEcho14, "1", "0"});
}

PROCESS_CASE(sendsToACallback) {
  ReceiverFixture parts(JavaReceiver::Kind::Callback);
  parts.setCallback();
  Report(parts.Send(Command()));
  Report(parts.Send(Command(11)) == "14: " + Numbers(Command(11)));
  Report(parts.jvm.CountCalls("CallObjectMethodV(apply)"));
  Report(parts.receiver.Describe());
  sendCommandCallbackObject = nullptr;
  Report(parts.Send(Command()));
}

TEST(JavaReceiver, ACallbackAnswersEveryCommandAndDescribesNothing) {
  ExpectReport("sendsToACallback",
               {kEcho14, "1", "2", "", Raised("032. Java callback is not set")});
}

PROCESS_CASE(answersWithNull) {
  ReceiverFixture receiverClass;
  receiverClass.Start();
  receiverClass.receiver.LookUp();
  receiverClass.jvm.Script().sendCommand.answer = FakeJvm::Answer::Null;
  Report(receiverClass.Send(Command()));
}

TEST(JavaReceiver, ANullOfTheReceiverClassRaises024) {
  ExpectReport("answersWithNull", {Raised("024. Null response from JVM")});
}

PROCESS_CASE(callbackAnswersWithNull) {
  ReceiverFixture callback(JavaReceiver::Kind::Callback);
  callback.setCallback();
  callback.jvm.Script().apply.answer = FakeJvm::Answer::Null;
  Report(callback.Send(Command()));
}

TEST(JavaReceiver, ANullOfACallbackRaises024WithATextOfItsOwn) {
  ExpectReport("callbackAnswersWithNull", {Raised("024. Null response from runtime callback")});
}

PROCESS_CASE(attachmentFails) {
  ReceiverFixture parts;
  parts.Start();
  parts.receiver.LookUp();
  parts.jvm.Inject({.call = "AttachCurrentThread", .result = JNI_ERR});
  OnNewThread([&] { Report(parts.Send(Command())); });
}

TEST(JavaReceiver, AThreadThatCannotBeAttachedRaises019) {
  ExpectReport("attachmentFails", {Raised("019. Failed to attach thread to JVM")});
}

}  // namespace Ferrolink::Tests
