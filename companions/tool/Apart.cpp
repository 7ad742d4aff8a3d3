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
#include <system_error>

#include "companions/tool/ChildProcess.h"
#include "companions/tool/Commands.h"
#include "companions/tool/ErrorPages.h"
#include "companions/tool/Failure.h"
#include "companions/tool/LogDirectory.h"
#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tool {
namespace {

using Work = std::function<void(const std::string&)>;

constexpr std::array kEndingSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

// Keeps the signals that the parent waits for from interrupting it.
class HeldSignals {
 public:
  HeldSignals() {
    std::signal(SIGCHLD, SIG_DFL);  // an ignored one would take the child's status away
    sigemptyset(&m_held);
    sigaddset(&m_held, SIGCHLD);
    for (const int number : kEndingSignals) {
      sigaddset(&m_held, number);
    }
    sigprocmask(SIG_BLOCK, &m_held, &m_before);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() { Release(); }

  void Release() const { sigprocmask(SIG_SETMASK, &m_before, nullptr); }

  [[nodiscard]] int Wait() const {
    int number = 0;
    sigwait(&m_held, &number);
    return number;
  }

 private:
  sigset_t m_held{};
  sigset_t m_before{};
};

struct Ending {
  ChildResult child;
  int passedOn = 0;             // the last signal that was passed on to the child
  std::optional<int> exitCode;  // none if the work did not come to its end
  std::string log;
};

void WaitFor(pid_t child, const HeldSignals& signals, Ending& ending) {
  int status = 0;
  while (true) {
    const int number = signals.Wait();
    if (number != SIGCHLD) {
      ending.passedOn = number;
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
  const LogDirectory log;
  std::array<int, 2> ends{};
  // Without blocking: a child of the child may keep the other end.
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "Cannot make a pipe");
  }
  const FileDescriptor readEnd(ends[0]);
  const FileDescriptor writeEnd(ends[1]);
  const HeldSignals signals;
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
  if (ending.passedOn != 0) {
    std::signal(ending.passedOn, SIG_DFL);
    std::raise(ending.passedOn);
  }
  throw Failure(what + " ended its process: " + ending.child.Ending() + ". " +
                ReasonIn(ending.log));
}

}  // namespace Ferrolink::Companions::Tool
