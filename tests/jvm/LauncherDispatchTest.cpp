// Commands into a launched JVM and their responses.
#include <gtest/gtest.h>

#include <barrier>
#include <cstdlib>

#include "tests/jvm/LauncherFixture.h"

namespace FerrolinkTest {
namespace {

const std::string kEcho14 = "14: " + numbers(command());

}  // namespace

PROCESS_CASE(commandOnStartingThread) {
  Started started;
  report(started.exchange(command()));
  reportAll(started.jvm.calls());
  report(outstanding(started.jvm));
}

TEST(LauncherDispatch, ACommandOnTheStartingThreadMakesTheseCallsInThisOrder) {
  expectReport("commandOnStartingThread", joined({{kEcho14, "GetEnv(1.8)"},
                                                  makeArrayCalls(14),
                                                  callJavaCalls("sendCommand"),
                                                  storeResponseCalls(),
                                                  deletions(2),
                                                  {kOnlyStarted}}));
}

PROCESS_CASE(heartBeat) {
  Started started;
  report(started.exchange(command(11)));
  reportAll(started.jvm.calls());
}

TEST(LauncherDispatch, CommandType11CallsHeartBeatInsteadOfSendCommand) {
  expectReport("heartBeat", joined({{"4: 98 101 97 116", "GetEnv(1.8)"},
                                    makeArrayCalls(14),
                                    callJavaCalls("heartBeat"),
                                    storeResponseCalls(),
                                    deletions(2)}));
}

PROCESS_CASE(commandOnUnknownThread) {
  Started started;
  onNewThread([&] { report(started.exchange(command())); });
  reportAll(started.jvm.calls());
  report(outstanding(started.jvm));
  started.jvm.clearCalls();
  onNewThread([&] { report(started.exchange(command())); });
  reportAll(started.jvm.calls());
  report(outstanding(started.jvm));
}

// The first other thread finds the class itself and shares it, right before the Java call.
TEST(LauncherDispatch, AnUnknownThreadIsAttachedForTheCommandAndDetachedAfterIt) {
  const Texts enter = {kEcho14, "GetEnv(1.8)", "AttachCurrentThread"};
  const Texts leave = joined({callJavaCalls("sendCommand"),
                              storeResponseCalls(),
                              deletions(2),
                              {"DetachCurrentThread", kStartedAndShared}});
  const Texts share = joined({classLookUpCalls(), {"NewGlobalRef", "DeleteLocalRef"}});
  expectReport("commandOnUnknownThread",
               joined({enter, makeArrayCalls(14), share, leave, enter, makeArrayCalls(14), leave}));
}

PROCESS_CASE(commandOnHostAttachedThread) {
  Started started;
  JavaVM* vm = started.jvm.firstJvm();
  onNewThread([&] {
    JNIEnv* env = nullptr;
    vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
    report(started.exchange(command()));
    report(started.jvm.countCalls("DetachCurrentThread"));
    report(outstanding(started.jvm));
    report(env->ExceptionCheck());
    vm->DetachCurrentThread();
  });
}

TEST(LauncherDispatch, AThreadThatTheHostAttachedStaysAttached) {
  expectReport(
      "commandOnHostAttachedThread",
      {kEcho14, "0", "local 1 global 1 elements 0 characters 0 attached 3 dropped 0", "0"});
}

PROCESS_CASE(shortCommands) {
  Started started;
  for (const std::uint8_t type : Bytes{11, 1}) {
    Bytes longer = filled(32, type);  // what lies behind the command looks like a type
    for (int size = 0; size <= 10; ++size) {
      report(started.launcher.SendCommand(longer.data(), size));
      report(started.read());
    }
  }
  report(started.jvm.countCalls("CallStaticObjectMethodV(heartBeat)"));
  report(started.jvm.countCalls("CallStaticObjectMethodV(sendCommand)"));
  report(started.exchange(filled(11, 11)));
}

TEST(LauncherDispatch, ACommandShorterThan11BytesHasNoTypeAndGoesToSendCommand) {
  Texts expected;
  for (const std::uint8_t type : Bytes{11, 1}) {
    for (std::size_t size = 0; size <= 10; ++size) {
      expected.push_back(std::to_string(size));
      expected.push_back(numbers(filled(size, type)));
    }
  }
  expected.insert(expected.end(), {"0", "22", "4: 98 101 97 116"});
  expectReport("shortCommands", expected);
}

PROCESS_CASE(shortCommandsOfTheirSize) {
  Started started;
  for (std::size_t size = 0; size <= 10; ++size) {
    report(started.exchange(filled(size, 1)));
  }
}

// Read past its end, such a command would be noticed by the address sanitizer.
TEST(LauncherDispatch, ACommandIsNotReadPastItsEnd) {
  Texts expected;
  for (std::size_t size = 0; size <= 10; ++size) {
    expected.push_back(std::to_string(size) + ": " + numbers(filled(size, 1)));
  }
  expectReport("shortCommandsOfTheirSize", expected);
}

PROCESS_CASE(everyType) {
  Started started;
  std::string toSendCommand;
  for (int type = 0; type < 256; ++type) {
    started.jvm.clearCalls();
    started.exchange(command(static_cast<std::uint8_t>(type)));
    if (started.jvm.countCalls("CallStaticObjectMethodV(sendCommand)") != 1) {
      report(type);
    }
  }
}

TEST(LauncherDispatch, EveryOtherCommandTypeThan1And11GoesToSendCommand) {
  expectReport("everyType", {"1", "11"});
}

PROCESS_CASE(readSemantics) {
  Started started;
  started.send(command());
  report(started.read(3));
  report(started.read());
  started.send(command());
  report(started.read(14));
  started.send(command());
  report(started.read(-1));
  started.send(command());
  report(started.read(-2147483647 - 1));
  started.send(command());
  report(started.read(0));
  report(started.read());
  report(started.read());
}

TEST(LauncherDispatch, ReadResponseCopiesAPrefixForgetsTheRestAndTakesANegativeLengthForAll) {
  const std::string none = launcherError("017.\nError while reading response");
  const std::string all = numbers(command());
  expectReport("readSemantics", {"100 101 102", none, all, all, all, "", none, none});
}

PROCESS_CASE(replacedResponse) {
  Started started;
  report(started.send(command(2, 12)));
  report(started.send(command(2, 15)));
  report(started.read());
  report(started.read());
}

TEST(LauncherDispatch, ASecondResponseOnAThreadReplacesTheFirst) {
  expectReport("replacedResponse", {"12", "15", numbers(command(2, 15)),
                                    launcherError("017.\nError while reading response")});
}

PROCESS_CASE(failedAfterResponse) {
  Started started;
  report(started.send(command(2, 12)));
  started.jvm.script().sendCommand.answer = FakeJvm::Answer::Throw;
  report(started.send(command()).substr(0, 32));
  report(started.read());
}

TEST(LauncherDispatch, AFailedCommandLeavesTheWaitingResponseAlone) {
  expectReport("failedAfterResponse",
               {"12", "JVM Launcher: Exception code 023", numbers(command(2, 12))});
}

PROCESS_CASE(emptyResponse) {
  Started started;
  started.jvm.script().sendCommand = {FakeJvm::Answer::Bytes, {}};
  report(started.send(command()));
  report(started.read());
  report(started.read());
  report(started.send(command()));
  report(thrownBy([&] { report(started.launcher.ReadResponse(nullptr, 0)); }));
}

TEST(LauncherDispatch, AnEmptyResponseHasLengthZeroAndIsReadOnce) {
  expectReport("emptyResponse", {"0", "", launcherError("017.\nError while reading response"), "0",
                                 "0", "(nothing thrown)"});
}

PROCESS_CASE(separateThreads) {
  Started started;
  started.send(command(2, 12));
  onNewThread([&] {
    report(started.read());
    started.send(command(2, 13));
    onNewThread([&] { report(started.read()); });
    report(started.read());
  });
  report(started.read());
}

TEST(LauncherDispatch, AThreadReadsItsOwnResponseAndNoOther) {
  const std::string none = launcherError("017.\nError while reading response");
  expectReport("separateThreads", {none, none, numbers(command(2, 13)), numbers(command(2, 12))});
}

PROCESS_CASE(insideJavaTogether) {
  Started started;
  std::barrier allInside(8);
  started.jvm.script().insideJava = [&] { allInside.arrive_and_wait(); };
  onNewThreads(8, [&](int i) {
    const auto size = static_cast<std::size_t>(20 + i);
    const Bytes sent = command(i % 2 == 0 ? 2 : 5, size);
    report(started.exchange(sent) == std::to_string(size) + ": " + numbers(sent));
  });
}

TEST(LauncherDispatch, ThreadsAreInsideJavaTogetherAndEachReadsItsOwnAnswer) {
  expectReport("insideJavaTogether", Texts(8, "1"));
}

PROCESS_CASE(allUsableInsideJava) {
  Started started;
  int calls = 0;
  started.jvm.script().insideJava = [&] {
    if (++calls > 1) {
      return;
    }
    onNewThread([&] {
      report(started.exchange(command()));
      report(started.exchange(loadLibraryCommand(caseRoot().string())));
      report(started.launcher.GetRuntimeInfo());
      report(started.read());
    });
  };
  report(started.exchange(command(2, 15)));
}

TEST(LauncherDispatch, NoLockIsHeldAcrossTheCallIntoJava) {
  expectReport(
      "allUsableInsideJava",
      {kEcho14, "17: 2 0 0 0 0 0 0 0 0 2 0 2 4 0 0 0 0", runtimeInfo(),
       launcherError("017.\nError while reading response"), "15: " + numbers(command(2, 15))});
}

PROCESS_CASE(reentersFromJava) {
  Started started;
  int calls = 0;
  started.jvm.script().insideJava = [&] {
    if (++calls == 1) {
      report(started.exchange(command(2, 16)));
    }
  };
  report(started.exchange(command()));
  report(outstanding(started.jvm));
}

TEST(LauncherDispatch, AThreadInsideJavaMaySendFromThere) {
  expectReport("reentersFromJava", {"16: " + numbers(command(2, 16)), kEcho14, kStartedAndShared});
}

PROCESS_CASE(neverInitialized) {
  FakeJvmClient jvm(std::getenv("FERROLINK_JVM_RUNTIME_PATH"));
  JvmLauncher launcher(Ferrolink::Native::Definitions::RuntimeOperationMode::CalledRuntime);
  Bytes bytes = command();
  for (int i = 0; i < 2; ++i) {
    report(thrownBy([&] { launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size())); }));
  }
  report(static_cast<long>(jvm.calls().size()));
}

TEST(LauncherDispatch, WithoutAJvmLibraryCode018IsRaised) {
  const std::string error = launcherError("018. JVM not initialized", "", "");
  expectReport("neverInitialized", {error, error, "0"});
}

}  // namespace FerrolinkTest
