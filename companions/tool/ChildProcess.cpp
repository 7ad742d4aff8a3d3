#include "companions/tool/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <span>
#include <string_view>
#include <system_error>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kLongestText = std::size_t{1} << 20U;
constexpr std::array kChildDescriptors = {STDOUT_FILENO, STDERR_FILENO, kReportDescriptor};

struct Pipe {
  FileDescriptor readEnd;
  FileDescriptor writeEnd;
};

Pipe MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "Cannot make a pipe");
  }
  // Above the numbers that the child gives them, so that no dup2 hits an end that is still needed.
  Pipe made{FileDescriptor(fcntl(ends[0], F_DUPFD_CLOEXEC, 10)),
            FileDescriptor(fcntl(ends[1], F_DUPFD_CLOEXEC, 10))};
  close(ends[0]);
  close(ends[1]);
  return made;
}

std::vector<char*> EnvironmentWithout(const std::vector<std::string>& names) {
  std::vector<char*> kept;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (std::find(names.begin(), names.end(), text.substr(0, text.find('='))) == names.end()) {
      kept.push_back(*variable);
    }
  }
  kept.push_back(nullptr);
  return kept;
}

pid_t Spawn(const std::vector<std::string>& arguments, std::array<Pipe, 3>& pipes,
            const HeldSignals& signals, const std::vector<std::string>& without) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  for (std::size_t i = 0; i < pipes.size(); ++i) {
    posix_spawn_file_actions_adddup2(&actions, pipes[i].writeEnd.get(), kChildDescriptors[i]);
  }
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  posix_spawnattr_setsigmask(&attributes, &signals.Before());
  std::string program = "ferrolink";
  std::vector<char*> words{program.data()};
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  pid_t child = 0;
  const int error = posix_spawn(&child, "/proc/self/exe", &actions, &attributes, words.data(),
                                EnvironmentWithout(without).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), "Cannot start a child");
  }
  return child;
}

// Reads until all writers are gone. False if the time is over before, or a signal is held.
bool ReadAll(std::array<Pipe, 3>& pipes, std::array<std::string*, 3> texts,
             const HeldSignals& signals, Clock::time_point deadline) {
  std::array<pollfd, 4> polled{};
  const std::span<pollfd> waiting = std::span(polled).first(pipes.size());
  pollfd& arrival = polled.back();
  arrival = {signals.Arrival(), POLLIN, 0};
  for (std::size_t i = 0; i < pipes.size(); ++i) {
    waiting[i] = {pipes[i].readEnd.get(), POLLIN, 0};
  }
  const auto isOpen = [](const pollfd& one) { return one.fd >= 0; };
  while (std::any_of(waiting.begin(), waiting.end(), isOpen)) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0 || arrival.revents != 0) {
      return false;
    }
    if (poll(polled.data(), polled.size(), static_cast<int>(left.count())) <= 0) {
      continue;
    }
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      if (waiting[i].fd < 0 || waiting[i].revents == 0) {
        continue;
      }
      std::array<char, 8192> buffer{};
      const ssize_t size = read(waiting[i].fd, buffer.data(), buffer.size());
      if (size <= 0) {
        waiting[i].fd = -1;
      } else if (texts[i]->size() < kLongestText) {
        texts[i]->append(buffer.data(), static_cast<std::size_t>(size));
      }
    }
  }
  return true;
}

}  // namespace

std::string ChildResult::Ending() const {
  if (isLate) {
    return "no end within the time limit";
  }
  return signal != 0 ? "signal " + std::to_string(signal) + " (" + strsignal(signal) + ")"
                     : "exit code " + std::to_string(exitCode);
}

ChildResult RunSelf(const std::vector<std::string>& arguments, std::chrono::milliseconds limit,
                    const HeldSignals& signals, const std::vector<std::string>& without) {
  std::array<Pipe, 3> pipes{MakePipe(), MakePipe(), MakePipe()};
  const auto deadline = Clock::now() + limit;
  const pid_t child = Spawn(arguments, pipes, signals, without);
  for (Pipe& pipe : pipes) {
    pipe.writeEnd = FileDescriptor();
  }
  ChildResult result;
  result.isLate =
      !ReadAll(pipes, {&result.output, &result.errors, &result.report}, signals, deadline);
  if (result.isLate) {
    kill(child, SIGKILL);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status)) {
    result.exitCode = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
  }
  return result;
}

}  // namespace Ferrolink::Companions::Tool
