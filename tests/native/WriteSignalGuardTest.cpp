#include "native/WriteSignalGuard.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "tests/support/Pipes.h"
#include "tests/support/ProcessCase.h"

using Ferrolink::Native::WriteSignalGuard;
using FerrolinkTest::CaseResult;
using FerrolinkTest::closePipeBehind;
using FerrolinkTest::InstallationTree;
using FerrolinkTest::report;
using FerrolinkTest::runCase;
using Texts = std::vector<std::string>;

namespace {

int handled = 0;

void count(int /*signal*/) {
  ++handled;
}

int errorOfWriting() {
  return write(STDOUT_FILENO, "x", 1) < 0 ? errno : 0;
}

bool isPending(int signal) {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

bool isBlocked(int signal) {
  sigset_t blocked;
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  return sigismember(&blocked, signal) == 1;
}

sigset_t only(int signal) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  return set;
}

Texts reportsOf(const std::string& name) {
  const InstallationTree tree;
  const CaseResult result = runCase(name, tree);
  EXPECT_EQ(result.signal, 0);
  return result.report;
}

}  // namespace

PROCESS_CASE(writeUnderTheGuard) {
  closePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, count);
  {
    WriteSignalGuard guard;
    guard.failed(errorOfWriting());
    report(handled);
  }
  report(handled);
  report(isBlocked(SIGPIPE) || isPending(SIGPIPE) ? "left over" : "nothing left");
}

TEST(WriteSignalGuard, TakesTheSignalOfAFailedWriteAway) {
  EXPECT_EQ(reportsOf("writeUnderTheGuard"), (Texts{"0", "0", "nothing left"}));
}

PROCESS_CASE(sendUnderTheGuard) {
  closePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, count);
  {
    const WriteSignalGuard guard;
    kill(getpid(), SIGPIPE);
    report(handled);
  }
  report(handled);
  {
    WriteSignalGuard guard;
    kill(getpid(), SIGPIPE);
    guard.failed(errorOfWriting());
  }
  report(handled);
}

TEST(WriteSignalGuard, LeavesTheHostWhatOthersSentMeanwhile) {
  EXPECT_EQ(reportsOf("sendUnderTheGuard"), (Texts{"0", "1", "2"}));
}

PROCESS_CASE(guardWithASignalPending) {
  closePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, count);
  const sigset_t own = only(SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &own, nullptr);
  std::raise(SIGPIPE);
  {
    WriteSignalGuard guard;
    guard.failed(errorOfWriting());
  }
  report(isBlocked(SIGPIPE) && isPending(SIGPIPE) ? "still blocked and pending" : "changed");
  pthread_sigmask(SIG_UNBLOCK, &own, nullptr);
  report(handled);
}

TEST(WriteSignalGuard, LeavesASignalThatWasPendingBefore) {
  EXPECT_EQ(reportsOf("guardWithASignalPending"), (Texts{"still blocked and pending", "1"}));
}

PROCESS_CASE(guardInsideAGuard) {
  closePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, count);
  {
    const WriteSignalGuard outer;
    {
      WriteSignalGuard inner;
      inner.failed(errorOfWriting());
    }
    report(isBlocked(SIGPIPE) && !isPending(SIGPIPE) ? "blocked, none pending" : "changed");
  }
  report(isBlocked(SIGPIPE) ? "blocked" : "as before");
  report(handled);
}

TEST(WriteSignalGuard, GivesTheThreadTheMaskBackThatItHad) {
  EXPECT_EQ(reportsOf("guardInsideAGuard"), (Texts{"blocked, none pending", "as before", "0"}));
}

PROCESS_CASE(failOtherwise) {
  std::signal(SIGPIPE, count);
  std::signal(SIGXFSZ, count);
  {
    WriteSignalGuard guard;
    kill(getpid(), SIGPIPE);
    kill(getpid(), SIGXFSZ);
    for (const int error : {ENOSPC, EAGAIN, EBADF, 0}) {
      guard.failed(error);
    }
  }
  report(handled);
}

TEST(WriteSignalGuard, TakesNothingAwayForErrorsThatComeWithoutASignal) {
  EXPECT_EQ(reportsOf("failOtherwise"), Texts{"2"});
}
