// The doors to the one transmitter: its creation, the mode that it fixes, and the locks.
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <system_error>

#include "jvm/JvmLib.h"
#include "jvm/JvmLibGlobals.h"
#include "jvm/JvmNativeTransmitter.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::createTransmitterMutex;
using Ferrolink::Native::firstCall;
using Ferrolink::Native::setOperationModeForTransmitterMutex;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::ITransmitter;
using Ferrolink::Runtimes::Jvm::Native::Transmitter::JvmNativeTransmitter;

namespace Ferrolink::Tests {
namespace {

constexpr auto kNotSet = RuntimeOperationMode::NotSet;
constexpr auto kCalling = RuntimeOperationMode::CallingRuntime;
constexpr auto kCalled = RuntimeOperationMode::CalledRuntime;

using Lock = const std::lock_guard<std::shared_mutex>;

long Mode() {
  return static_cast<long>(operationMode.load());
}

/// Whether the action is refused because this thread holds a lock that it takes.
template <class Action>
bool RefusedAsDeadlock(Action action) {
  try {
    action();
    return false;
  } catch (const std::system_error& error) {
    return error.code() == std::errc::resource_deadlock_would_occur;
  }
}

}  // namespace

PROCESS_CASE(settleAtOnce) {
  long differing = 0;
  for (int round = 0; round < 3000; ++round) {
    operationMode = kNotSet;
    transmitter = nullptr;
    ITransmitter* made[2] = {nullptr, nullptr};
    long seen[2] = {0, 0};
    OnNewThreads(2, [&](int i) {
      if (i == 0) {
        SetOperationModeForTransmitter();
      } else {
        CreateTransmitter(kCalled);
      }
      made[i] = GetTransmitter();
      seen[i] = Mode();
    });
    differing += made[0] != made[1] || seen[0] != seen[1] || seen[0] != Mode() ? 1 : 0;
    delete GetTransmitter();
  }
  Report(differing);
}

TEST(TransmitterEntryPoints, OfDifferentLocksThatSettleAtOnceSettleOneModeAndOneTransmitter) {
  ExpectReport("settleAtOnce", {"0"});
}

PROCESS_CASE(noTransmitter) {
  Report(GetTransmitter() == nullptr);
  Report(GetTransmitter() == nullptr);
  Report(Mode());
  Report(firstCall.load());
}

TEST(TransmitterEntryPoints, BeforeAnyCreationGetTransmitterYieldsNullAndCreatesNothing) {
  ExpectReport("noTransmitter", {"1", "1", "-1", "1"});
}

PROCESS_CASE(transmitterTwice) {
  ITransmitter* first = CreateTransmitter(kCalling);
  Report(dynamic_cast<JvmNativeTransmitter*>(first) != nullptr);
  Report(CreateTransmitter(kCalled) == first);
  Report(CreateTransmitter(kNotSet) == first);
  Report(SetOperationModeForTransmitter());
  AtStartUp();
  Report(GetTransmitter() == first);
  Report(Mode());
  Report(GetReceiver() == nullptr);
}

TEST(TransmitterEntryPoints, EveryCreationYieldsTheOneTransmitter) {
  ExpectReport("transmitterTwice", {"1", "1", "1", "0", "1", "0", "1"});
}

PROCESS_CASE(transmitterFirst) {
  CreateTransmitter(kCalled);
  Report(Mode());
  Report(CreateReceiver(kCalling) == GetReceiver());
  Report(Mode());
  Report(ThrownBy([] { GetReceiver()->Initialize(7, 2, 0); }));
}

// Without a JVM to find, only a launching receiver fails to initialise.
TEST(TransmitterEntryPoints, ATransmittersModeHoldsForALaterReceiver) {
  const InstallationTree tree;
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  ExpectReport("transmitterFirst",
               {"1", "1", "1", LauncherError("001. \nSet JAVA_HOME environment variable", "", "")},
               tree, options);
}

PROCESS_CASE(receiverFirst) {
  CreateReceiver(kCalled);
  Report(CreateTransmitter(kCalling) == GetTransmitter());
  Report(SetOperationModeForTransmitter());
  Report(Mode());
}

TEST(TransmitterEntryPoints, AReceiversModeHoldsForALaterTransmitter) {
  ExpectReport("receiverFirst", {"1", "0", "1"});
}

PROCESS_CASE(transmitterWithoutMode) {
  ITransmitter* first = CreateTransmitter(kNotSet);
  Report(first != nullptr);
  Report(Mode());
  Report(SetOperationModeForTransmitter());
  Report(Mode());
  Report(GetTransmitter() == first);
}

TEST(TransmitterEntryPoints, ATransmitterIsMadeWithoutAModeAsWellAndTheModeCanStillBeFixed) {
  ExpectReport("transmitterWithoutMode", {"1", "-1", "0", "0", "1"});
}

PROCESS_CASE(modeForTransmitter) {
  Report(SetOperationModeForTransmitter());
  Report(Mode());
  Report(GetTransmitter() != nullptr);
  Report(GetReceiver() == nullptr);
  Report(firstCall.load());
}

TEST(TransmitterEntryPoints, SettingTheModeFixes0AndMakesTheTransmitter) {
  ExpectReport("modeForTransmitter", {"0", "0", "1", "1", "1"});
}

PROCESS_CASE(startUp) {
  AtStartUp();
  Report(Mode());
  Report(GetTransmitter() != nullptr);
  Report(firstCall.load());
  static ITransmitter* const made = transmitter.exchange(nullptr);
  AtStartUp();
  Report(made != nullptr);
  Report(GetTransmitter() == nullptr);
}

TEST(TransmitterEntryPoints, TheStartUpSettlesTheModeOnce) {
  ExpectReport("startUp", {"0", "1", "0", "1", "1"});
}

PROCESS_CASE(creatorsLock) {
  {
    Lock lock(createReceiverMutex);
    Report(RefusedAsDeadlock([] { CreateTransmitter(kCalled); }));
    Report(RefusedAsDeadlock([] { CreateReceiver(kCalled); }));
    Report(GetTransmitter() == nullptr && GetReceiver() == nullptr);
    Report(Mode());
    Report(SetOperationModeForTransmitter());
    Report(Mode());
  }
  Report(RefusedAsDeadlock([] { CreateReceiver(kCalled); }));
  Report(createReceiverMutex.try_lock());
}

TEST(TransmitterEntryPoints, BothCreatorsTakeTheOneLockAndSettingTheModeDoesNot) {
  ExpectReport("creatorsLock", {"1", "1", "1", "-1", "0", "0", "0", "1"});
}

PROCESS_CASE(modesLock) {
  {
    Lock lock(setOperationModeForTransmitterMutex);
    Report(RefusedAsDeadlock([] { SetOperationModeForTransmitter(); }));
    Report(RefusedAsDeadlock([] { AtStartUp(); }));
    Report(GetTransmitter() == nullptr);
    Report(Mode());
    Report(firstCall.load());
    Report(RefusedAsDeadlock([] { CreateTransmitter(kCalled); }));
    Report(RefusedAsDeadlock([] { CreateReceiver(kCalled); }));
    Report(SetOperationModeForTransmitter());  // all is settled: without the lock
    AtStartUp();
  }
  Report(Mode());
  Report(setOperationModeForTransmitterMutex.try_lock());
}

TEST(TransmitterEntryPoints, SettingTheModeTakesItsOwnLockAndTheCreatorsDoNot) {
  ExpectReport("modesLock", {"1", "1", "1", "-1", "1", "0", "0", "0", "1", "1"});
}

PROCESS_CASE(unusedLock) {
  Lock lock(createTransmitterMutex);
  const auto callAll = [] {
    Report(GetTransmitter() == GetTransmitter());
    Report(GetReceiver() == GetReceiver());
    Report(GetJNIEnv() == nullptr);
    Report(SetOperationModeForTransmitter());
    AtStartUp();
    Report(CreateTransmitter(kCalling) == GetTransmitter());
    Report(CreateReceiver(kCalling) == GetReceiver());
    Report(SetConfigSource("source"));
    Report(SetWorkingDirectoryPath("path"));
  };
  callAll();
  OnNewThread(callAll);
}

TEST(TransmitterEntryPoints, TheTransmittersOwnLockIsTakenByNothing) {
  const InstallationTree tree;
  const Texts each = {"1", "1", "1", "0", "1", "1", "0", "0"};
  ExpectReport("unusedLock", Joined({each, each}), tree, LoggedOptions(tree));
}

PROCESS_CASE(settledWhileLocked) {
  CreateReceiver(kCalled);
  ITransmitter* existing = CreateTransmitter(kCalled);
  Lock creators(createReceiverMutex);
  Lock modes(setOperationModeForTransmitterMutex);
  OnNewThread([&] {
    Report(CreateTransmitter(kCalling) == existing);
    Report(GetTransmitter() == existing);
    Report(SetOperationModeForTransmitter());
    AtStartUp();
  });
  Report(Mode());
}

TEST(TransmitterEntryPoints, AnExistingTransmitterIsObtainedWithoutALock) {
  ExpectReport("settledWhileLocked", {"1", "1", "0", "1"});
}

PROCESS_CASE(transmitterByMany) {
  std::vector<ITransmitter*> created(8);
  OnNewThreads(8, [&](int i) {
    if (i % 2 == 0) {
      CreateReceiver(kCalled);
    }
    created[static_cast<std::size_t>(i)] = CreateTransmitter(i % 3 == 0 ? kCalled : kCalling);
  });
  Report(std::count(created.begin(), created.end(), GetTransmitter()));
  Report(Mode() == 0 || Mode() == 1);
}

TEST(TransmitterEntryPoints, ThreadsThatCreateAtOnceObtainTheSameTransmitter) {
  ExpectReport("transmitterByMany", {"8", "1"});
}

PROCESS_CASE(startUpByMany) {
  OnNewThreads(8, [](int) { AtStartUp(); });
  Report(Mode());
  Report(GetTransmitter() != nullptr);
  Report(firstCall.load());
}

TEST(TransmitterEntryPoints, ThreadsThatStartUpAtOnceSettleOneTransmitter) {
  ExpectReport("startUpByMany", {"0", "1", "0"});
}

}  // namespace Ferrolink::Tests
