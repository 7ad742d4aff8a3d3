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

namespace FerrolinkTest {
namespace {

constexpr auto kNotSet = RuntimeOperationMode::NotSet;
constexpr auto kCalling = RuntimeOperationMode::CallingRuntime;
constexpr auto kCalled = RuntimeOperationMode::CalledRuntime;

using Lock = const std::lock_guard<std::shared_mutex>;

long mode() {
  return static_cast<long>(operationMode.load());
}

/// Whether the action is refused because this thread holds a lock that it takes.
template <class Action>
bool refusedAsDeadlock(Action action) {
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
    onNewThreads(2, [&](int i) {
      if (i == 0) {
        SetOperationModeForTransmitter();
      } else {
        CreateTransmitter(kCalled);
      }
      made[i] = GetTransmitter();
      seen[i] = mode();
    });
    differing += made[0] != made[1] || seen[0] != seen[1] || seen[0] != mode() ? 1 : 0;
    delete GetTransmitter();
  }
  report(differing);
}

TEST(TransmitterEntryPoints, OfDifferentLocksThatSettleAtOnceSettleOneModeAndOneTransmitter) {
  expectReport("settleAtOnce", {"0"});
}

PROCESS_CASE(noTransmitter) {
  report(GetTransmitter() == nullptr);
  report(GetTransmitter() == nullptr);
  report(mode());
  report(firstCall.load());
}

TEST(TransmitterEntryPoints, BeforeAnyCreationGetTransmitterYieldsNullAndCreatesNothing) {
  expectReport("noTransmitter", {"1", "1", "-1", "1"});
}

PROCESS_CASE(transmitterTwice) {
  ITransmitter* first = CreateTransmitter(kCalling);
  report(dynamic_cast<JvmNativeTransmitter*>(first) != nullptr);
  report(CreateTransmitter(kCalled) == first);
  report(CreateTransmitter(kNotSet) == first);
  report(SetOperationModeForTransmitter());
  AtStartUp();
  report(GetTransmitter() == first);
  report(mode());
  report(GetReceiver() == nullptr);
}

TEST(TransmitterEntryPoints, EveryCreationYieldsTheOneTransmitter) {
  expectReport("transmitterTwice", {"1", "1", "1", "0", "1", "0", "1"});
}

PROCESS_CASE(transmitterFirst) {
  CreateTransmitter(kCalled);
  report(mode());
  report(CreateReceiver(kCalling) == GetReceiver());
  report(mode());
  report(thrownBy([] { GetReceiver()->Initialize(7, 2, 0); }));
}

// Without a JVM to find, only a launching receiver fails to initialise.
TEST(TransmitterEntryPoints, ATransmittersModeHoldsForALaterReceiver) {
  const InstallationTree tree;
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  expectReport("transmitterFirst",
               {"1", "1", "1", launcherError("001. \nSet JAVA_HOME environment variable", "", "")},
               tree, options);
}

PROCESS_CASE(receiverFirst) {
  CreateReceiver(kCalled);
  report(CreateTransmitter(kCalling) == GetTransmitter());
  report(SetOperationModeForTransmitter());
  report(mode());
}

TEST(TransmitterEntryPoints, AReceiversModeHoldsForALaterTransmitter) {
  expectReport("receiverFirst", {"1", "0", "1"});
}

PROCESS_CASE(transmitterWithoutMode) {
  ITransmitter* first = CreateTransmitter(kNotSet);
  report(first != nullptr);
  report(mode());
  report(SetOperationModeForTransmitter());
  report(mode());
  report(GetTransmitter() == first);
}

TEST(TransmitterEntryPoints, ATransmitterIsMadeWithoutAModeAsWellAndTheModeCanStillBeFixed) {
  expectReport("transmitterWithoutMode", {"1", "-1", "0", "0", "1"});
}

PROCESS_CASE(modeForTransmitter) {
  report(SetOperationModeForTransmitter());
  report(mode());
  report(GetTransmitter() != nullptr);
  report(GetReceiver() == nullptr);
  report(firstCall.load());
}

TEST(TransmitterEntryPoints, SettingTheModeFixes0AndMakesTheTransmitter) {
  expectReport("modeForTransmitter", {"0", "0", "1", "1", "1"});
}

PROCESS_CASE(startUp) {
  AtStartUp();
  report(mode());
  report(GetTransmitter() != nullptr);
  report(firstCall.load());
  static ITransmitter* const made = transmitter.exchange(nullptr);
  AtStartUp();
  report(made != nullptr);
  report(GetTransmitter() == nullptr);
}

TEST(TransmitterEntryPoints, TheStartUpSettlesTheModeOnce) {
  expectReport("startUp", {"0", "1", "0", "1", "1"});
}

PROCESS_CASE(creatorsLock) {
  {
    Lock lock(createReceiverMutex);
    report(refusedAsDeadlock([] { CreateTransmitter(kCalled); }));
    report(refusedAsDeadlock([] { CreateReceiver(kCalled); }));
    report(GetTransmitter() == nullptr && GetReceiver() == nullptr);
    report(mode());
    report(SetOperationModeForTransmitter());
    report(mode());
  }
  report(refusedAsDeadlock([] { CreateReceiver(kCalled); }));
  report(createReceiverMutex.try_lock());
}

TEST(TransmitterEntryPoints, BothCreatorsTakeTheOneLockAndSettingTheModeDoesNot) {
  expectReport("creatorsLock", {"1", "1", "1", "-1", "0", "0", "0", "1"});
}

PROCESS_CASE(modesLock) {
  {
    Lock lock(setOperationModeForTransmitterMutex);
    report(refusedAsDeadlock([] { SetOperationModeForTransmitter(); }));
    report(refusedAsDeadlock([] { AtStartUp(); }));
    report(GetTransmitter() == nullptr);
    report(mode());
    report(firstCall.load());
    report(refusedAsDeadlock([] { CreateTransmitter(kCalled); }));
    report(refusedAsDeadlock([] { CreateReceiver(kCalled); }));
    report(SetOperationModeForTransmitter());  // all is settled: without the lock
    AtStartUp();
  }
  report(mode());
  report(setOperationModeForTransmitterMutex.try_lock());
}

TEST(TransmitterEntryPoints, SettingTheModeTakesItsOwnLockAndTheCreatorsDoNot) {
  expectReport("modesLock", {"1", "1", "1", "-1", "1", "0", "0", "0", "1", "1"});
}

PROCESS_CASE(unusedLock) {
  Lock lock(createTransmitterMutex);
  const auto callAll = [] {
    report(GetTransmitter() == GetTransmitter());
    report(GetReceiver() == GetReceiver());
    report(GetJNIEnv() == nullptr);
    report(SetOperationModeForTransmitter());
    AtStartUp();
    report(CreateTransmitter(kCalling) == GetTransmitter());
    report(CreateReceiver(kCalling) == GetReceiver());
    report(SetConfigSource("source"));
    report(SetWorkingDirectoryPath("path"));
  };
  callAll();
  onNewThread(callAll);
}

TEST(TransmitterEntryPoints, TheTransmittersOwnLockIsTakenByNothing) {
  const InstallationTree tree;
  const Texts each = {"1", "1", "1", "0", "1", "1", "0", "0"};
  expectReport("unusedLock", joined({each, each}), tree, loggedOptions(tree));
}

PROCESS_CASE(settledWhileLocked) {
  CreateReceiver(kCalled);
  ITransmitter* existing = CreateTransmitter(kCalled);
  Lock creators(createReceiverMutex);
  Lock modes(setOperationModeForTransmitterMutex);
  onNewThread([&] {
    report(CreateTransmitter(kCalling) == existing);
    report(GetTransmitter() == existing);
    report(SetOperationModeForTransmitter());
    AtStartUp();
  });
  report(mode());
}

TEST(TransmitterEntryPoints, AnExistingTransmitterIsObtainedWithoutALock) {
  expectReport("settledWhileLocked", {"1", "1", "0", "1"});
}

PROCESS_CASE(transmitterByMany) {
  std::vector<ITransmitter*> created(8);
  onNewThreads(8, [&](int i) {
    if (i % 2 == 0) {
      CreateReceiver(kCalled);
    }
    created[static_cast<std::size_t>(i)] = CreateTransmitter(i % 3 == 0 ? kCalled : kCalling);
  });
  report(std::count(created.begin(), created.end(), GetTransmitter()));
  report(mode() == 0 || mode() == 1);
}

TEST(TransmitterEntryPoints, ThreadsThatCreateAtOnceObtainTheSameTransmitter) {
  expectReport("transmitterByMany", {"8", "1"});
}

PROCESS_CASE(startUpByMany) {
  onNewThreads(8, [](int) { AtStartUp(); });
  report(mode());
  report(GetTransmitter() != nullptr);
  report(firstCall.load());
}

TEST(TransmitterEntryPoints, ThreadsThatStartUpAtOnceSettleOneTransmitter) {
  expectReport("startUpByMany", {"0", "1", "0"});
}

}  // namespace FerrolinkTest
