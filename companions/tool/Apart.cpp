#include "companions/tool/Apart.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <optional>
#include <set>
#include <system_error>

#include "companions/tool/ChildProcess.h"
#include "companions/tool/Commands.h"
#include "companions/tool/ErrorPages.h"
#include "companions/tool/Failure.h"
#include "companions/tool/HeldSignals.h"
#include "companions/tool/LogDirectory.h"
#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tool {
namespace {

using Work = std::function<void(const std::string&)>;

// What a JVM that a signal ends adds to the signal's number for its exit code.
constexpr int kSignalExit = 128;

struct Ending {
  ChildResult child;
  std::set<int> passedOn;       // signals that were passed on to the child
  std::optional<int> exitCode;  // none if the work did not come to its end
  std::string log;
};

void WaitFor(pid_t child, const HeldSignals& signals, Ending& ending) {
  int status = 0;
  while (true) {
    const int number = signals.Wait();
    if (number != SIGCHLD) {
      ending.passedOn.insert(number);
      kill(child, number);
    } else if (waitpid(child, &status, WNOHANG) == child) {
      break;
    }
  }
  if (WIFEXITED(status)) {
    ending.child.exitCode = WEXITSTATUS(status);
  } else {
    ending.child.signal = WTERMSIG(status);
  }
}

[[noreturn]] void BeChild(pid_t parent, const Work& work, const std::string& directory,
                          const FileDescriptor& report) {
  // The kernel ends the child with the parent, whatever ends that one.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) {
    _exit(kFailed);
  }
  // Without a reader of the answer the call fails in all runtimes alike, as a JVM makes it fail.
  std::signal(SIGPIPE, SIG_IGN);
  std::uint8_t code = kDone;
  try {
    work(directory);
  } catch (const std::exception& error) {
    PrintError(error.what());
    code = kFailed;
  }
  std::exit(write(report.get(), &code, sizeof(code)) == sizeof(code) ? code : kFailed);
}

// The first error in the log is the reason of the others.
std::string ReasonIn(const std::string& log) {
  const auto pages = FindErrorPages(log);
  if (pages.empty() || pages.front()->code.empty()) {
    return "ferrolink doctor tells why.";
  }
  const ErrorPage& page = *pages.front();
  return page.prefix + ": Exception code " + page.code + ": " + page.title + ".";
}

Ending RunInFork(const Work& work) {
  const HeldSignals signals;  // before the log, which is removed whatever arrives
  const LogDirectory log;
  std::array<int, 2> ends{};
  // Without blocking: a child of the child may keep the other end.
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "Cannot make a pipe");
  }
  const FileDescriptor readEnd(ends[0]);
  const FileDescriptor writeEnd(ends[1]);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "Cannot start a child");
  }
  if (child == 0) {
    signals.Release();
    BeChild(parent, work, log.Path(), writeEnd);
  }
  Ending ending;
  WaitFor(child, signals, ending);
  std::uint8_t code = 0;
  if (read(readEnd.get(), &code, sizeof(code)) == sizeof(code) && ending.child.signal == 0) {
    ending.exitCode = code;
  }
  ending.log = log.Text();
  return ending;
}

}  // namespace

int RunApart(const std::string& what, const Work& work) {
  const Ending ending = RunInFork(work);
  if (ending.exitCode) {
    return *ending.exitCode;
  }
  // A signal that did not end the child is no reason: a JVM answers SIGQUIT with a list of threads.
  const ChildResult& child = ending.child;
  const int reason = child.signal != 0 ? child.signal : child.exitCode - kSignalExit;
  if (ending.passedOn.count(reason) != 0) {
    std::signal(reason, SIG_DFL);
    std::raise(reason);
  }
  throw Failure(what + " ended its process: " + child.Ending() + ". " + ReasonIn(ending.log));
}

}  // namespace Ferrolink::Companions::Tool
