// The error log where its file is not what it should be, or takes no more: the error arrives, the
// process lives, and nothing but regular files is written to.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include "native/FerrolinkNativeException.h"
#include "tests/native/ClockProbe.h"
#include "tests/native/FakeCompanions.h"
#include "tests/native/FileProbe.h"

namespace ClockProbe = FerrolinkTest::ClockProbe;
namespace FileProbe = FerrolinkTest::FileProbe;
namespace fs = std::filesystem;

using FerrolinkTest::CaseOptions;
using FerrolinkTest::CaseResult;
using FerrolinkTest::InstallationTree;
using FerrolinkTest::report;
using FerrolinkTest::runCase;
using FerrolinkTest::Texts;
using FerrolinkTest::withoutStamps;

namespace {

constexpr std::time_t kLateEvening = 1794699005;
// The log is this long where a limit is to meet it and none of the test's own files.
constexpr std::size_t kLongLog = 100'000;
constexpr const char* kLogName = "_FerrolinkNativeErrorLogger_2026-11-14.txt";

class ErrorLogFaults : public testing::Test {
 protected:
  ErrorLogFaults() {
    m_tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    m_tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
    m_options = fakeSettings(m_tree);
    m_options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "off";
    m_options.environment["TZ"] = "UTC0";
  }

  [[nodiscard]] CaseResult run(const std::string& name) const {
    return runCase(name, m_tree, m_options);
  }

  [[nodiscard]] fs::path log() const { return m_tree.workDirectory() / kLogName; }
  [[nodiscard]] std::string logText() const { return FerrolinkTest::fileText(log()); }

  /// Gives the log kLongLog bytes of whole lines, which it returns.
  [[nodiscard]] std::string fillLog() const {
    const std::string text(kLongLog, '\n');
    std::ofstream(log()) << text;
    return text;
  }

  /// The process lived, the error had its text and went to telemetry.
  void expectRaised(const CaseResult& result) const {
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    ASSERT_FALSE(result.report.empty());
    EXPECT_EQ(result.report.at(0), "raised");
    EXPECT_EQ(events(m_tree), "Native exception|raised|Unknown\n");
  }

  InstallationTree m_tree;
  CaseOptions m_options;
};

void raise(const std::string& text) {
  ClockProbe::setTime(kLateEvening);
  const FerrolinkNativeException error(text, "Unknown");
  report(error.what());
}

fs::path caseLog() {
  return FerrolinkTest::caseRoot() / "work" / kLogName;
}

void limitFileSize(rlim_t bytes) {
  std::signal(SIGXFSZ, SIG_DFL);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = bytes;
  setrlimit(RLIMIT_FSIZE, &limit);
}

bool isBlocked(int signal) {
  sigset_t blocked;
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  return sigismember(&blocked, signal) == 1;
}

bool isPending(int signal) {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

void reportSignal(int signal) {
  report(isBlocked(signal) ? "blocked" : "not blocked");
  report(isPending(signal) ? "pending" : "not pending");
}

}  // namespace

PROCESS_CASE(raiseOnce) {
  raise("raised");
  report(static_cast<long>(ClockProbe::pauses().size()));
}

TEST_F(ErrorLogFaults, APipeUnderItsNameHoldsNoErrorUp) {
  ASSERT_EQ(mkfifo(log().c_str(), 0600), 0);
  const CaseResult result = run("raiseOnce");
  expectRaised(result);
  EXPECT_EQ(result.report, (Texts{"raised", "0"}));
  EXPECT_TRUE(fs::is_fifo(log()));
}

TEST_F(ErrorLogFaults, APipeWithAReaderGetsNothing) {
  ASSERT_EQ(mkfifo(log().c_str(), 0600), 0);
  const int reader = open(log().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  expectRaised(run("raiseOnce"));
  char byte = 0;
  EXPECT_EQ(read(reader, &byte, 1), 0);
  close(reader);
}

TEST_F(ErrorLogFaults, ASocketUnderItsNameIsLeftAlone) {
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(log().string().size(), sizeof(address.sun_path));
  log().string().copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  expectRaised(run("raiseOnce"));
  EXPECT_TRUE(fs::is_socket(log()));
  close(listener);
}

TEST_F(ErrorLogFaults, ASymbolicLinkUnderItsNameIsNotFollowed) {
  const fs::path target = m_tree.root() / "target";
  std::ofstream(target) << "before\n";
  fs::create_symlink(target, log());
  const CaseResult result = run("raiseOnce");
  expectRaised(result);
  EXPECT_EQ(result.report, (Texts{"raised", "0"}));
  EXPECT_EQ(FerrolinkTest::fileText(target), "before\n");
}

TEST_F(ErrorLogFaults, ASymbolicLinkUnderItsNameCreatesNothing) {
  const fs::path target = m_tree.root() / "target";
  fs::create_symlink(target, log());
  expectRaised(run("raiseOnce"));
  EXPECT_FALSE(fs::exists(target));
}

TEST_F(ErrorLogFaults, DirectoriesOnTheWayMayBeLinks) {
  const fs::path link = m_tree.root() / "link";
  fs::create_directory_symlink(m_tree.workDirectory(), link);
  m_options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = link.string();
  expectRaised(run("raiseOnce"));
  EXPECT_EQ(withoutStamps(logText()), "# raised\n");
}

PROCESS_CASE(raiseUnderMask) {
  umask(027);
  raise("raised");
}

TEST_F(ErrorLogFaults, ANewLogHasTheModeThatTheMaskLeaves) {
  expectRaised(run("raiseUnderMask"));
  struct stat status {};
  ASSERT_EQ(stat(log().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

PROCESS_CASE(raiseAndLookAtDescriptors) {
  ClockProbe::onPause([] {
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      if (fs::read_symlink(entry.path(), gone) == caseLog()) {
        const int flags = fcntl(std::stoi(entry.path().filename()), F_GETFD);
        report((flags & FD_CLOEXEC) != 0 ? "open, not inherited" : "open, inherited");
      }
    }
  });
  raise("raised");
  ClockProbe::onPause([] {});
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    report(fs::read_symlink(entry.path(), gone) == caseLog() ? "open after all" : "other");
  }
}

TEST_F(ErrorLogFaults, TheFileIsOpenForTheLineAloneAndNoProgramInheritsIt) {
  const CaseResult result = run("raiseAndLookAtDescriptors");
  ASSERT_GE(result.report.size(), 2U) << result.err;
  EXPECT_EQ(result.report.at(0), "open, not inherited");
  EXPECT_EQ(std::count(result.report.begin(), result.report.end(), "open after all"), 0);
}

PROCESS_CASE(raiseWhereReadingIsDenied) {
  FileProbe::failReading((FerrolinkTest::caseRoot() / "work").string(), EACCES);
  raise("raised");
}

TEST_F(ErrorLogFaults, ALogThatMayOnlyBeWrittenToGetsItsLines) {
  expectRaised(run("raiseWhereReadingIsDenied"));
  EXPECT_EQ(withoutStamps(logText()), "# raised\n");
}

PROCESS_CASE(raiseAtTheSizeLimit) {
  limitFileSize(kLongLog);
  raise("raised");
  reportSignal(SIGXFSZ);
}

TEST_F(ErrorLogFaults, AFileSizeLimitThatIsReachedDoesNotEndTheProcess) {
  const std::string before = fillLog();
  const CaseResult result = run("raiseAtTheSizeLimit");
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.report, (Texts{"raised", "not blocked", "not pending"}));
  EXPECT_TRUE(logText() == before);
}

PROCESS_CASE(raiseAcrossTheSizeLimit) {
  limitFileSize(kLongLog + 30);
  raise("raised");
  reportSignal(SIGXFSZ);
  limitFileSize(RLIM_INFINITY);
  raise("later");
}

TEST_F(ErrorLogFaults, ALineThatWasCutAtTheSizeLimitTakesNoLaterLineWithIt) {
  const std::string before = fillLog();
  const CaseResult result = run("raiseAcrossTheSizeLimit");
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.report, (Texts{"raised", "not blocked", "not pending", "later"}));
  EXPECT_TRUE(logText().substr(0, kLongLog) == before);
  EXPECT_EQ(withoutStamps(logText().substr(kLongLog)),
            "2026-11-14 23:30:05\tThread ID:\n# later\n");
}

PROCESS_CASE(raiseOnAFullDisk) {
  ClockProbe::setTime(kLateEvening);
  // There is room again while the log pauses: the line that was cut must not come a second time.
  ClockProbe::onPause([] { FileProbe::leaveRoom(); });
  FileProbe::recordWrites();
  FileProbe::leaveRoomFor(30);
  const FerrolinkNativeException cut("raised", "Unknown");
  const FerrolinkNativeException later("later", "Unknown");
  report(static_cast<long>(FileProbe::writes().size()));
}

TEST_F(ErrorLogFaults, ALineThatWasCutOnAFullDiskTakesNoLaterLineWithIt) {
  const CaseResult result = run("raiseOnAFullDisk");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(withoutStamps(logText()), "2026-11-14 23:30:05\tThread ID:\n# later\n");
  EXPECT_EQ(result.report, Texts{"3"});  // the line, its rest, the later line
}

PROCESS_CASE(raiseWithTheSignalPending) {
  sigset_t own;
  sigemptyset(&own);
  sigaddset(&own, SIGXFSZ);
  pthread_sigmask(SIG_BLOCK, &own, nullptr);
  std::raise(SIGXFSZ);
  limitFileSize(kLongLog);
  raise("raised");
  reportSignal(SIGXFSZ);
}

TEST_F(ErrorLogFaults, ASignalThatWasPendingBeforeTheLineStaysPending) {
  const std::string before = fillLog();
  EXPECT_EQ(run("raiseWithTheSignalPending").report, (Texts{"raised", "blocked", "pending"}));
  EXPECT_TRUE(logText() == before);
}
