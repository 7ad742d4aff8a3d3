#include "tests/companions/tcp/ServerProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace Ferrolink::Tests {
namespace {

std::vector<char*> PointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

ServerProcess::Arguments Completed(ServerProcess::Arguments arguments) {
  arguments.insert(arguments.begin(), FERROLINK_SERVER_PATH);
  if (std::find(arguments.begin(), arguments.end(), "--runtime") == arguments.end()) {
    arguments.insert(arguments.end(), {"--runtime", "cpp", "--plug-in", TCPHANDLERS_PATH});
  }
  if (std::find(arguments.begin(), arguments.end(), "--listen") == arguments.end()) {
    arguments.insert(arguments.end(), {"--listen", "127.0.0.1:0"});
  }
  return arguments;
}

// This process's environment with the server's installation. It does not use setenv, because other
// threads of a test read the environment.
std::vector<std::string> EnvironmentFor(const std::filesystem::path& home) {
  constexpr std::string_view kHome = "FERROLINK_HOME=";
  std::vector<std::string> environment{std::string(kHome) + home.string()};
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (!std::string_view(*entry).starts_with(kHome)) {
      environment.emplace_back(*entry);
    }
  }
  return environment;
}

}  // namespace

ServerProcess::ServerProcess(Arguments arguments, const std::filesystem::path& home) {
  Start(std::move(arguments), home, ErrorsInto::File);
}

ServerProcess::ServerProcess(ErrorsInto errors) {
  Start({}, FERROLINK_INSTALLATION, errors);
}

ServerProcess::ServerProcess(Arguments arguments, std::function<void()> prepare)
    : m_prepare(std::move(prepare)) {
  Start(std::move(arguments), FERROLINK_INSTALLATION, ErrorsInto::File);
}

void ServerProcess::Start(Arguments arguments, const std::filesystem::path& home,
                          ErrorsInto errorsInto) {
  arguments = Completed(std::move(arguments));
  const std::vector<char*> argv = PointersTo(arguments);
  std::vector<std::string> environment = EnvironmentFor(home);
  std::vector<char*> envp = PointersTo(environment);
  const std::string errors = (m_directory.Path() / "errors").string();
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  m_output = FileDescriptor(ends[0]);
  FileDescriptor childs(ends[1]);
  FileDescriptor childsErrors;
  if (errorsInto == ErrorsInto::File) {
    childsErrors = FileDescriptor::Open(errors.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  } else {
    childsErrors = PipeForErrors(errorsInto == ErrorsInto::FullPipe);
  }
  m_child = fork();
  if (m_child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(childsErrors.get(), STDERR_FILENO);
    dup2(childs.get(), STDOUT_FILENO);
    if (m_prepare) {
      m_prepare();
      environment = EnvironmentFor(home);
      envp = PointersTo(environment);
    }
    if (chdir(m_directory.Path().c_str()) == 0) {
      execve(argv[0], argv.data(), envp.data());
    }
    _exit(71);
  }
  childs = FileDescriptor();
  AwaitListening();
}

// A pipe without a reader: its reading end is closed, or it is full.
FileDescriptor ServerProcess::PipeForErrors(bool isFull) {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::runtime_error("no pipe");
  }
  FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  while (isFull && ::write(writing.get(), ".", 1) == 1) {
  }
  fcntl(writing.get(), F_SETFL, 0);
  if (isFull) {
    m_unread = std::move(reading);
  }
  return writing;
}

void ServerProcess::AwaitListening() {
  constexpr std::string_view kMark = " listens on ";
  constexpr std::string_view kAdmin = "probes and metrics are on ";
  for (std::string line = ReadLine(); !line.empty(); line = ReadLine()) {
    if (line.find(kAdmin) != std::string::npos) {
      m_adminPort = static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
    }
    if (line.find(kMark) != std::string::npos) {
      m_listening = line;
      m_port = static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
      return;
    }
  }
}

ServerProcess::~ServerProcess() {
  if (m_child > 0) {
    kill(m_child, SIGKILL);
    Wait();
  }
}

void ServerProcess::Signal(int number) const {
  kill(m_child, number);
}

int ServerProcess::Wait() {
  int status = 0;
  waitpid(m_child, &status, 0);
  m_child = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string ServerProcess::Errors() const {
  std::ostringstream text;
  text << std::ifstream(m_directory.Path() / "errors").rdbuf();
  return text.str();
}

std::string ServerProcess::Output() {
  std::string text;
  for (std::string line = ReadLine(); !line.empty(); line = ReadLine()) {
    text += line;
  }
  return text;
}

void ServerProcess::AwaitErrors(std::string_view text) const {
  Await([&] { return Errors().find(text) != std::string::npos; },
        "a line with " + std::string(text));
}

// The limit of a minute is longer than any limit of a tested server. Only a failure takes as long.
void ServerProcess::Await(const std::function<bool()>& isThere, const std::string& what) const {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!isThere()) {
    if (std::chrono::steady_clock::now() >= end) {
      throw std::runtime_error("The server has not come to " + what + ". It has " +
                               std::to_string(Threads()) + " threads, " +
                               std::to_string(Descriptors()) + " descriptors, " +
                               std::to_string(Status("VmRSS")) + " KiB, and said:\n" + Errors());
    }
    std::this_thread::yield();
  }
}

void ServerProcess::AwaitMemory(long kibibytes) const {
  Await([&] { return Status("VmRSS") <= kibibytes; }, std::to_string(kibibytes) + " KiB");
}

std::size_t ServerProcess::EntriesOf(const std::string& directory) const {
  const std::filesystem::directory_iterator entries("/proc/" + std::to_string(m_child) + "/" +
                                                    directory);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// The server greets after it has printed its address. A running thread may own descriptors for a
// moment: UndefinedBehaviorSanitizer makes a pipe to check an address.
std::size_t ServerProcess::DescriptorsAtRest() const {
  const RawSocket client = GreetedClient();
  std::size_t count = 0;
  Await(
      [&] {
        const bool waitedBefore = AllThreadsWait();
        count = Descriptors();
        return waitedBefore && AllThreadsWait();
      },
      "rest");
  return count - 1;
}

bool ServerProcess::AllThreadsWait() const {
  const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(m_child) + "/task");
  return std::all_of(begin(tasks), end(tasks), [](const auto& task) {
    std::ifstream file(task.path() / "stat");
    std::string line;
    std::getline(file, line);
    // "TID (name) STATE ...". The name may contain parentheses.
    const std::size_t end = line.rfind(") ");
    return end != std::string::npos && line[end + 2] == 'S';
  });
}

void ServerProcess::AwaitDescriptors(std::size_t count) const {
  Await([&] { return Descriptors() == count; }, std::to_string(count) + " descriptors");
}

void ServerProcess::AwaitThreads(std::size_t count) const {
  Await([&] { return Threads() == count; }, std::to_string(count) + " threads");
}

long ServerProcess::Status(const std::string& name) const {
  std::ifstream file("/proc/" + std::to_string(m_child) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(name + ":", 0) == 0) {
      return std::stol(line.substr(name.size() + 1));
    }
  }
  throw std::runtime_error("no " + name);
}

RawSocket ServerProcess::GreetedClient() const {
  RawSocket client = RawSocket::Connect(m_port);
  client.Send(kHello);
  EXPECT_EQ(client.Receive(kWelcome.size()), kWelcome);
  return client;
}

// The line with its line end; empty at the end of the output.
std::string ServerProcess::ReadLine() {
  std::string line;
  char byte = 0;
  while (::read(m_output.get(), &byte, 1) == 1) {
    line.push_back(byte);
    if (byte == '\n') {
      break;
    }
  }
  return line;
}

}  // namespace Ferrolink::Tests
