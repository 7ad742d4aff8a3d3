#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <iterator>
#include <latch>
#include <map>
#include <nlohmann/json.hpp>
#include <thread>

#include "companions/utils/FileDescriptor.h"
#include "tests/companions/utils/TelemetryFixture.h"

namespace Ferrolink::Tests {
namespace {

namespace fs = std::filesystem;
using Ferrolink::Companions::FileDescriptor;

std::ptrdiff_t OpenDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// Runs `body` in a child and returns the child's wait status; 0 stands for an orderly end.
template <class Body>
pid_t StartChild(Body body) {
  const pid_t child = fork();
  if (child == 0) {
    body();
    _exit(0);
  }
  return child;
}

int StatusOf(pid_t child) {
  int status = -1;
  return waitpid(child, &status, 0) == child ? status : -1;
}

TEST_F(Telemetry, NothingIsWrittenWhereNoFileIsNamed) {
  unsetenv("FERROLINK_TELEMETRY_FILE");
  Log("a", "b", "c");
  WriteTo("");
  Log("a", "b", "c");
  EXPECT_TRUE(fs::is_empty(m_directory.Path()));
}

TEST_F(Telemetry, TheFileIsTheOneNamedAtTheTimeOfTheEvent) {
  Log("a", "first", "");
  WriteTo(m_directory.Path("other.jsonl"));
  Log("a", "second", "");
  EXPECT_EQ(1U, Lines().size());
  EXPECT_NE(std::string::npos, ContentOf(m_directory.Path("other.jsonl")).find("second"));
}

TEST_F(Telemetry, TheFileBelongsToItsOwnerAlone) {
  umask(0);
  Log("a", "b", "c");
  struct stat status {};
  ASSERT_EQ(0, stat(m_file.c_str(), &status));
  EXPECT_EQ(0600U, status.st_mode & 07777U);
}

TEST_F(Telemetry, NoDescriptorStaysOpen) {
  const auto before = OpenDescriptors();
  Log("a", "b", "c");
  WriteTo("/dev/null");
  Log("a", "b", "c");
  EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(Telemetry, TargetsThatAreNoRegularFilesAreLeftAlone) {
  ASSERT_EQ(0, mkfifo(m_directory.Path("pipe").c_str(), 0600));
  for (const std::string& target :
       {m_directory.Path("pipe"), m_directory.Path(), m_directory.Path("missing/file"),
        std::string("/dev/full"), std::string("/dev/null")}) {
    WriteTo(target);
    Log("a", "b", "c");
  }
  EXPECT_TRUE(fs::is_fifo(m_directory.Path("pipe")));
  EXPECT_EQ(1, std::distance(fs::directory_iterator(m_directory.Path()), fs::directory_iterator()));
}

TEST_F(Telemetry, APipeWithAReaderGetsNothing) {
  const std::string pipe = m_directory.Path("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  const FileDescriptor reader = FileDescriptor::Open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_TRUE(reader.Owns());
  WriteTo(pipe);
  Log("a", "b", "c");
  char byte = 0;
  EXPECT_EQ(0, read(reader.get(), &byte, 1));
}

TEST_F(Telemetry, AForeignLockOnTheFileDoesNotHoldEventsBack) {
  const std::string path = m_directory.Write("events.jsonl", "");
  const FileDescriptor foreign = FileDescriptor::Open(path.c_str(), O_RDONLY);
  ASSERT_EQ(0, flock(foreign.get(), LOCK_EX));
  Log("a", "b", "c");
  EXPECT_EQ(1U, Lines().size());
}

TEST_F(Telemetry, TheFileIsUnlockedAfterAnEvent) {
  Log("a", "b", "c");
  const FileDescriptor other = FileDescriptor::Open(m_file.c_str(), O_RDONLY);
  EXPECT_EQ(0, flock(other.get(), LOCK_EX | LOCK_NB));
}

TEST_F(Telemetry, AtAFileSizeLimitLinesStayWholeAndTheProcessAlive) {
  const int status = StatusOf(StartChild([this] {
    std::signal(SIGXFSZ, SIG_DFL);
    rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    const std::string text(300, 'x');
    for (int event = 0; event < 10; ++event) {
      Log("limited", text.c_str(), "");
    }
  }));
  EXPECT_EQ(0, status);
  EXPECT_EQ(2U, Lines().size());
  for (const std::string& line : Lines()) {
    EXPECT_TRUE(nlohmann::json::accept(line)) << line;
  }
}

TEST_F(Telemetry, AFileThatIsFullAlreadyDoesNotEndTheProcess) {
  const std::string full(1000, '\n');
  static_cast<void>(m_directory.Write("events.jsonl", full));
  const int status = StatusOf(StartChild([this] {
    std::signal(SIGXFSZ, SIG_DFL);
    rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    Log("a", "b", "c");
    sigset_t blocked;
    if (pthread_sigmask(SIG_SETMASK, nullptr, &blocked) != 0 ||
        sigismember(&blocked, SIGXFSZ) != 0) {
      _exit(1);
    }
  }));
  EXPECT_EQ(0, status);
  EXPECT_EQ(full, ContentOf(m_file));
}

TEST_F(Telemetry, LinesOfManyThreadsAndProcessesAreWholeAndComplete) {
  constexpr int kProcesses = 4;
  constexpr int kThreads = 4;
  constexpr int kEvents = 25;
  std::vector<pid_t> children;
  children.reserve(kProcesses);
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(StartChild([&] {
      std::latch start(kThreads);
      std::vector<std::jthread> threads;
      threads.reserve(kThreads);
      for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
          const std::string text(20'000, static_cast<char>('a' + thread));
          start.arrive_and_wait();
          for (int event = 0; event < kEvents; ++event) {
            Log(std::to_string(event).c_str(), text.c_str(), "\n");
          }
        });
      }
    }));
  }
  for (const pid_t child : children) {
    EXPECT_EQ(0, StatusOf(child));
  }

  std::map<std::pair<int, int>, int> eventsOf;  // by process and thread
  for (const std::string& line : Lines()) {
    const auto event = nlohmann::json::parse(line);
    const std::string message = event["message"];
    ASSERT_EQ(std::string(20'000, message.at(0)), message);
    const int number = eventsOf[{event["process"].get<int>(), event["thread"].get<int>()}]++;
    EXPECT_EQ(std::to_string(number), event["category"]);
  }
  EXPECT_EQ(static_cast<std::size_t>(kProcesses * kThreads), eventsOf.size());
  for (const auto& [writer, count] : eventsOf) {
    EXPECT_EQ(kEvents, count);
  }
}

}  // namespace
}  // namespace Ferrolink::Tests
