#ifndef FERROLINK_TESTS_CALLS_ENDINGS_H
#define FERROLINK_TESTS_CALLS_ENDINGS_H

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

/// Ways for a process to end that C++ has, for programs of the tests and for handlers in them.
namespace Ferrolink::Tests {

/// Exit codes of a process that forked a child. The child ended as requested, was still running
/// after five seconds, was ended by another signal, or ended with another exit code.
inline constexpr int kForkedChildEnded = 46;
inline constexpr int kForkedChildHung = 47;
inline constexpr int kForkedChildCrashed = 48;
inline constexpr int kForkedChildEndedOtherwise = 49;

[[noreturn]] inline void EndForkedChild(const std::string& way, int exitCode) {
  alarm(5);
  if (way == "fork, exit") {
    std::exit(exitCode);
  }
  if (way == "fork, exec") {
    const std::string script = "exit " + std::to_string(exitCode);
    execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
  }
  _exit(way == "fork, _exit" ? exitCode : 0);
}

/// Forks a child that ends in the given way, waits for it, and ends with one of the codes above.
[[noreturn]] inline void EndAfterForking(const std::string& way) {
  constexpr int kExitCode = 45;
  const pid_t child = fork();
  if (child == 0) {
    EndForkedChild(way, kExitCode);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
  }
  if (WIFSIGNALED(status)) {
    _exit(WTERMSIG(status) == SIGALRM ? kForkedChildHung : kForkedChildCrashed);
  }
  _exit(WEXITSTATUS(status) == kExitCode ? kForkedChildEnded : kForkedChildEndedOtherwise);
}

/// Ends the process in the way that the text names; returns where a signal is still to do that.
inline void EndProcess(const std::string& way) {
  if (way == "exit") {
    std::exit(42);
  }
  if (way == "_exit") {
    _exit(43);
  }
  if (way.starts_with("fork, ")) {
    EndAfterForking(way);
  }
  const int signal = way == "SIGINT"    ? SIGINT
                     : way == "SIGHUP"  ? SIGHUP
                     : way == "SIGUSR1" ? SIGUSR1
                                        : SIGTERM;
  kill(getpid(), signal);
}

}  // namespace Ferrolink::Tests

#endif
