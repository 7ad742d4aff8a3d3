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
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::ClosePipeBehind;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Texts = std::vector<std::string>;

namespace {

int handled = 0;

void Count(int /*signal*/) {
  ++handled;
}

int ErrorOfWriting() {
  return write(STDOUT_FILENO, "x", 1) < 0 ? errno : 0;
}

bool IsPending(int signal) {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

bool IsBlocked(int signal) {
  sigset_t blocked;
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  return sigismember(&blocked, signal) == 1;
}

sigset_t Only(int signal) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  return set;
}

Texts ReportsOf(const std::string& name) {
  const InstallationTree tree;
  const CaseResult result = RunCase(name, tree);
  EXPECT_EQ(result.signal, 0);
  return result.report;
}

}  // namespace

PROCESS_CASE(writeUnderTheGuard) {
  ClosePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, Count);
  {
    WriteSignalGuard guard;
    guard.Failed(ErrorOfWriting());
    Report(handled);
  }
  Report(handled);
  Report(IsBlocked(SIGPIPE) || IsPending(SIGPIPE) ? "left over" : "nothing left");
}

TEST(WriteSignalGuard, TakesTheSignalOfAFailedWriteAway) {
  EXPECT_EQ(ReportsOf("writeUnderTheGuard"), (Texts{"0", "0", "nothing left"}));
}

PROCESS_CASE(sendUnderTheGuard) {
  ClosePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, Count);
  {
    const WriteSignalGuard guard;
    kill(getpid(), SIGPIPE);
    Report(handled);
  }
  Report(handled);
  {
    WriteSignalGuard guard;
    kill(getpid(), SIGPIPE);
    guard.Failed(ErrorOfWriting());
  }
  Report(handled);
}

TEST(WriteSignalGuard, LeavesTheHostWhatOthersSentMeanwhile) {
  EXPECT_EQ(ReportsOf("sendUnderTheGuard"), (Texts{"0", "1", "2"}));
}

PROCESS_CASE(guardWithASignalPending) {
  ClosePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, Count);
  const sigset_t own = Only(SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &own, nullptr);
  std::raise(SIGPIPE);
  {
    WriteSignalGuard guard;
    guard.Failed(ErrorOfWriting());
  }
  Report(IsBlocked(SIGPIPE) && IsPending(SIGPIPE) ? "still blocked and pending" : "changed");
  pthread_sigmask(SIG_UNBLOCK, &own, nullptr);
  Report(handled);
}

TEST(WriteSignalGuard, LeavesASignalThatWasPendingBefore) {
  EXPECT_EQ(ReportsOf("guardWithASignalPending"), (Texts{"still blocked and pending", "1"}));
}

PROCESS_CASE(guardInsideAGuard) {
  ClosePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, Count);
  {
    const WriteSignalGuard outer;
    {
      WriteSignalGuard inner;
      inner.Failed(ErrorOfWriting());
    }
    Report(IsBlocked(SIGPIPE) && !IsPending(SIGPIPE) ? "blocked, none pending" : "changed");
  }
  Report(IsBlocked(SIGPIPE) ? "blocked" : "as before");
  Report(handled);
}

TEST(WriteSignalGuard, GivesTheThreadTheMaskBackThatItHad) {
  EXPECT_EQ(ReportsOf("guardInsideAGuard"), (Texts{"blocked, none pending", "as before", "0"}));
}

PROCESS_CASE(failOtherwise) {
  std::signal(SIGPIPE, Count);
  std::signal(SIGXFSZ, Count);
  {
    WriteSignalGuard guard;
    kill(getpid(), SIGPIPE);
    kill(getpid(), SIGXFSZ);
    for (const int error : {ENOSPC, EAGAIN, EBADF, 0}) {
      guard.Failed(error);
    }
  }
  Report(handled);
}

TEST(WriteSignalGuard, TakesNothingAwayForErrorsThatComeWithoutASignal) {
  EXPECT_EQ(ReportsOf("failOtherwise"), Texts{"2"});
}
