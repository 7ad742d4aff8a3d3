// Commands into a launched JVM and their responses.
#include <gtest/gtest.h>

#include <barrier>
#include <cstdlib>

#include "tests/jvm/LauncherFixture.h"

namespace Ferrolink::Tests {
namespace {

const std::string kEcho14 = "14: " + Numbers(Command());

}  // namespace

PROCESS_CASE(commandOnStartingThread) {
  Started started;
  Report(started.Exchange(Command()));
  ReportAll(started.jvm.Calls());
  Report(Outstanding(started.jvm));
}

TEST(LauncherDispatch, ACommandOnTheStartingThreadMakesTheseCallsInThisOrder) {
  ExpectReport("commandOnStartingThread", Joined({{kEcho14, "GetEnv(1.8)"},
                                                  MakeArrayCalls(14),
                                                  CallJavaCalls("sendCommand"),
                                                  StoreResponseCalls(),
                                                  Deletions(2),
                                                  {kOnlyStarted}}));
}

PROCESS_CASE(heartBeat) {
  Started started;
  Report(started.Exchange(Command(11)));
  ReportAll(started.jvm.Calls());
}

TEST(LauncherDispatch, CommandType11CallsHeartBeatInsteadOfSendCommand) {
  ExpectReport("heartBeat", Joined({{"4: 98 101 97 116", "GetEnv(1.8)"},
                                    MakeArrayCalls(14),
                                    CallJavaCalls("heartBeat"),
                                    StoreResponseCalls(),
                                    Deletions(2)}));
}

PROCESS_CASE(commandOnUnknownThread) {
  Started started;
  OnNewThread([&] { Report(started.Exchange(Command())); });
  ReportAll(started.jvm.Calls());
  Report(Outstanding(started.jvm));
  started.jvm.ClearCalls();
  OnNewThread([&] { Report(started.Exchange(Command())); });
  ReportAll(started.jvm.Calls());
  Report(Outstanding(started.jvm));
}

// The first other thread finds the class itself and shares it, right before the Java call.
TEST(LauncherDispatch, AnUnknownThreadIsAttachedForTheCommandAndDetachedAfterIt) {
  const Texts enter = {kEcho14, "GetEnv(1.8)", "AttachCurrentThread"};
  const Texts leave = Joined({CallJavaCalls("sendCommand"),
                              StoreResponseCalls(),
                              Deletions(2),
                              {"DetachCurrentThread", kStartedAndShared}});
  const Texts share = Joined({ClassLookUpCalls(), {"NewGlobalRef", "DeleteLocalRef"}});
  ExpectReport("commandOnUnknownThread",
               Joined({enter, MakeArrayCalls(14), share, leave, enter, MakeArrayCalls(14), leave}));
}

PROCESS_CASE(commandOnHostAttachedThread) {
  Started started;
  JavaVM* vm = started.jvm.FirstJvm();
  OnNewThread([&] {
    JNIEnv* env = nullptr;
    vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
    Report(started.Exchange(Command()));
    Report(started.jvm.CountCalls("DetachCurrentThread"));
    Report(Outstanding(started.jvm));
    Report(env->ExceptionCheck());
    vm->DetachCurrentThread();
  });
}

TEST(LauncherDispatch, AThreadThatTheHostAttachedStaysAttached) {
  ExpectReport(
      "commandOnHostAttachedThread",
      {kEcho14, "0", "local 1 global 1 elements 0 characters 0 attached 3 dropped 0", "0"});
}

PROCESS_CASE(shortCommands) {
  Started started;
  for (const std::uint8_t type : Bytes{11, 1}) {
    Bytes longer = Filled(32, type);  // what lies behind the command looks like a type
    for (int size = 0; size <= 10; ++size) {
      Report(started.launcher.SendCommand(longer.data(), size));
      Report(started.Read());
    }
  }
  Report(started.jvm.CountCalls("CallStaticObjectMethodV(heartBeat)"));
  Report(started.jvm.CountCalls("CallStaticObjectMethodV(sendCommand)"));
  Report(started.Exchange(Filled(11, 11)));
}

TEST(LauncherDispatch, ACommandShorterThan11BytesHasNoTypeAndGoesToSendCommand) {
  Texts expected;
  for (const std::uint8_t type : Bytes{11, 1}) {
    for (std::size_t size = 0; size <= 10; ++size) {
      expected.push_back(std::to_string(size));
      expected.push_back(Numbers(Filled(size, type)));
    }
  }
  expected.insert(expected.end(), {"0", "22", "4: 98 101 97 116"});
  ExpectReport("shortCommands", expected);
}

PROCESS_CASE(shortCommandsOfTheirSize) {
  Started started;
  for (std::size_t size = 0; size <= 10; ++size) {
    Report(started.Exchange(Filled(size, 1)));
  }
}

// Read past its end, such a command would be noticed by the address sanitizer.
TEST(LauncherDispatch, ACommandIsNotReadPastItsEnd) {
  Texts expected;
  for (std::size_t size = 0; size <= 10; ++size) {
    expected.push_back(std::to_string(size) + ": " + Numbers(Filled(size, 1)));
  }
  ExpectReport("shortCommandsOfTheirSize", expected);
}

PROCESS_CASE(everyType) {
  Started started;
  std::string toSendCommand;
  for (int type = 0; type < 256; ++type) {
    started.jvm.ClearCalls();
    started.Exchange(Command(static_cast<std::uint8_t>(type)));
    if (started.jvm.CountCalls("CallStaticObjectMethodV(sendCommand)") != 1) {
      Report(type);
    }
  }
}

TEST(LauncherDispatch, EveryOtherCommandTypeThan1And11GoesToSendCommand) {
  ExpectReport("everyType", {"1", "11"});
}

PROCESS_CASE(readSemantics) {
  Started started;
  started.Send(Command());
  Report(started.Read(3));
  Report(started.Read());
  started.Send(Command());
  Report(started.Read(14));
  started.Send(Command());
  Report(started.Read(-1));
  started.Send(Command());
  Report(started.Read(-2147483647 - 1));
  started.Send(Command());
  Report(started.Read(0));
  Report(started.Read());
  Report(started.Read());
}

TEST(LauncherDispatch, ReadResponseCopiesAPrefixForgetsTheRestAndTakesANegativeLengthForAll) {
  const std::string none = LauncherError("017.\nError while reading response");
  const std::string all = Numbers(Command());
  ExpectReport("readSemantics", {"100 101 102", none, all, all, all, "", none, none});
}

PROCESS_CASE(replacedResponse) {
  Started started;
  Report(started.Send(Command(2, 12)));
  Report(started.Send(Command(2, 15)));
  Report(started.Read());
  Report(started.Read());
}

TEST(LauncherDispatch, ASecondResponseOnAThreadReplacesTheFirst) {
  ExpectReport("replacedResponse", {"12", "15", Numbers(Command(2, 15)),
                                    LauncherError("017.\nError while reading response")});
}

PROCESS_CASE(failedAfterResponse) {
  Started started;
  Report(started.Send(Command(2, 12)));
  started.jvm.Script().sendCommand.answer = FakeJvm::Answer::Throw;
  Report(started.Send(Command()).substr(0, 32));
  Report(started.Read());
}

TEST(LauncherDispatch, AFailedCommandLeavesTheWaitingResponseAlone) {
  ExpectReport("failedAfterResponse",
               {"12", "JVM Launcher: Exception code 023", Numbers(Command(2, 12))});
}

PROCESS_CASE(emptyResponse) {
  Started started;
  started.jvm.Script().sendCommand = {FakeJvm::Answer::Bytes, {}};
  Report(started.Send(Command()));
  Report(started.Read());
  Report(started.Read());
  Report(started.Send(Command()));
  Report(ThrownBy([&] { Report(started.launcher.ReadResponse(nullptr, 0)); }));
}

TEST(LauncherDispatch, AnEmptyResponseHasLengthZeroAndIsReadOnce) {
  ExpectReport("emptyResponse", {"0", "", LauncherError("017.\nError while reading response"), "0",
                                 "0", "(nothing thrown)"});
}

PROCESS_CASE(separateThreads) {
  Started started;
  started.Send(Command(2, 12));
  OnNewThread([&] {
    Report(started.Read());
    started.Send(Command(2, 13));
    OnNewThread([&] { Report(started.Read()); });
    Report(started.Read());
  });
  Report(started.Read());
}

TEST(LauncherDispatch, AThreadReadsItsOwnResponseAndNoOther) {
  const std::string none = LauncherError("017.\nError while reading response");
  ExpectReport("separateThreads", {none, none, Numbers(Command(2, 13)), Numbers(Command(2, 12))});
}

PROCESS_CASE(insideJavaTogether) {
  Started started;
  std::barrier allInside(8);
  started.jvm.Script().insideJava = [&] { allInside.arrive_and_wait(); };
  OnNewThreads(8, [&](int i) {
    const auto size = static_cast<std::size_t>(20 + i);
    const Bytes sent = Command(i % 2 == 0 ? 2 : 5, size);
    Report(started.Exchange(sent) == std::to_string(size) + ": " + Numbers(sent));
  });
}

TEST(LauncherDispatch, ThreadsAreInsideJavaTogetherAndEachReadsItsOwnAnswer) {
  ExpectReport("insideJavaTogether", Texts(8, "1"));
}

PROCESS_CASE(allUsableInsideJava) {
  Started started;
  int calls = 0;
  started.jvm.Script().insideJava = [&] {
    if (++calls > 1) {
      return;
    }
    OnNewThread([&] {
      Report(started.Exchange(Command()));
      Report(started.Exchange(LoadLibraryCommand(CaseRoot().string())));
      Report(started.launcher.GetRuntimeInfo());
      Report(started.Read());
    });
  };
  Report(started.Exchange(Command(2, 15)));
}

TEST(LauncherDispatch, NoLockIsHeldAcrossTheCallIntoJava) {
  ExpectReport(
      "allUsableInsideJava",
      {kEcho14, "17: 2 0 0 0 0 0 0 0 0 2 0 2 4 0 0 0 0", RuntimeInfo(),
       LauncherError("017.\nError while reading response"), "15: " + Numbers(Command(2, 15))});
}

PROCESS_CASE(reentersFromJava) {
  Started started;
  int calls = 0;
  started.jvm.Script().insideJava = [&] {
    if (++calls == 1) {
      Report(started.Exchange(Command(2, 16)));
    }
  };
  Report(started.Exchange(Command()));
  Report(Outstanding(started.jvm));
}

TEST(LauncherDispatch, AThreadInsideJavaMaySendFromThere) {
  ExpectReport("reentersFromJava", {"16: " + Numbers(Command(2, 16)), kEcho14, kStartedAndShared});
}

PROCESS_CASE(neverInitialized) {
  FakeJvmClient jvm(std::getenv("FERROLINK_JVM_RUNTIME_PATH"));
  JvmLauncher launcher(Ferrolink::Native::Definitions::RuntimeOperationMode::CalledRuntime);
  Bytes bytes = Command();
  for (int i = 0; i < 2; ++i) {
    Report(ThrownBy([&] { launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size())); }));
  }
  Report(static_cast<long>(jvm.Calls().size()));
}

TEST(LauncherDispatch, WithoutAJvmLibraryCode018IsRaised) {
  const std::string error = LauncherError("018. JVM not initialized", "", "");
  ExpectReport("neverInitialized", {error, error, "0"});
}

}  // namespace Ferrolink::Tests
