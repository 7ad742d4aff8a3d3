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

namespace ClockProbe = Ferrolink::Tests::ClockProbe;
namespace FileProbe = Ferrolink::Tests::FileProbe;
namespace fs = std::filesystem;

using Ferrolink::Tests::CaseOptions;
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Ferrolink::Tests::Texts;
using Ferrolink::Tests::WithoutStamps;

namespace {

constexpr std::time_t kLateEvening = 1794699005;
// The log is this long where a limit is to meet it and none of the test's own files.
constexpr std::size_t kLongLog = 100'000;
constexpr const char* kLogName = "_FerrolinkNativeErrorLogger_2026-11-14.txt";

class ErrorLogFaults : public testing::Test {
 protected:
  ErrorLogFaults() {
    m_tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    m_tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
    m_options = FakeSettings(m_tree);
    m_options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "off";
    m_options.environment["TZ"] = "UTC0";
  }

  [[nodiscard]] CaseResult Run(const std::string& name) const {
    return RunCase(name, m_tree, m_options);
  }

  [[nodiscard]] fs::path Log() const { return m_tree.WorkDirectory() / kLogName; }
  [[nodiscard]] std::string LogText() const { return Ferrolink::Tests::FileText(Log()); }

  /// Gives the log kLongLog bytes of whole lines, which it returns.
  [[nodiscard]] std::string FillLog() const {
    const std::string text(kLongLog, '\n');
    std::ofstream(Log()) << text;
    return text;
  }

  /// The process lived, the error had its text and went to telemetry.
  void ExpectRaised(const CaseResult& result) const {
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    ASSERT_FALSE(result.report.empty());
    EXPECT_EQ(result.report.at(0), "raised");
    EXPECT_EQ(Events(m_tree), "Native exception|raised|Unknown\n");
  }

  InstallationTree m_tree;
  CaseOptions m_options;
};

void Raise(const std::string& text) {
  ClockProbe::SetTime(kLateEvening);
  const FerrolinkNativeException error(text, "Unknown");
  Report(error.what());
}

fs::path CaseLog() {
  return Ferrolink::Tests::CaseRoot() / "work" / kLogName;
}

void LimitFileSize(rlim_t bytes) {
  std::signal(SIGXFSZ, SIG_DFL);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = bytes;
  setrlimit(RLIMIT_FSIZE, &limit);
}

bool IsBlocked(int signal) {
  sigset_t blocked;
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  return sigismember(&blocked, signal) == 1;
}

bool IsPending(int signal) {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

void ReportSignal(int signal) {
  Report(IsBlocked(signal) ? "blocked" : "not blocked");
  Report(IsPending(signal) ? "pending" : "not pending");
}

}  // namespace

PROCESS_CASE(raiseOnce) {
  Raise("raised");
  Report(static_cast<long>(ClockProbe::Pauses().size()));
}

TEST_F(ErrorLogFaults, APipeUnderItsNameHoldsNoErrorUp) {
  ASSERT_EQ(mkfifo(Log().c_str(), 0600), 0);
  const CaseResult result = Run("raiseOnce");
  ExpectRaised(result);
  EXPECT_EQ(result.report, (Texts{"raised", "0"}));
  EXPECT_TRUE(fs::is_fifo(Log()));
}

TEST_F(ErrorLogFaults, APipeWithAReaderGetsNothing) {
  ASSERT_EQ(mkfifo(Log().c_str(), 0600), 0);
  const int reader = open(Log().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  ExpectRaised(Run("raiseOnce"));
  char byte = 0;
  EXPECT_EQ(read(reader, &byte, 1), 0);
  close(reader);
}

TEST_F(ErrorLogFaults, ASocketUnderItsNameIsLeftAlone) {
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(Log().string().size(), sizeof(address.sun_path));
  Log().string().copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  ExpectRaised(Run("raiseOnce"));
  EXPECT_TRUE(fs::is_socket(Log()));
  close(listener);
}

TEST_F(ErrorLogFaults, ASymbolicLinkUnderItsNameIsNotFollowed) {
  const fs::path target = m_tree.Root() / "target";
  std::ofstream(target) << "before\n";
  fs::create_symlink(target, Log());
  const CaseResult result = Run("raiseOnce");
  ExpectRaised(result);
  EXPECT_EQ(result.report, (Texts{"raised", "0"}));
  EXPECT_EQ(Ferrolink::Tests::FileText(target), "before\n");
}

TEST_F(ErrorLogFaults, ASymbolicLinkUnderItsNameCreatesNothing) {
  const fs::path target = m_tree.Root() / "target";
  fs::create_symlink(target, Log());
  ExpectRaised(Run("raiseOnce"));
  EXPECT_FALSE(fs::exists(target));
}

TEST_F(ErrorLogFaults, DirectoriesOnTheWayMayBeLinks) {
  const fs::path link = m_tree.Root() / "link";
  fs::create_directory_symlink(m_tree.WorkDirectory(), link);
  m_options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = link.string();
  ExpectRaised(Run("raiseOnce"));
  EXPECT_EQ(WithoutStamps(LogText()), "# raised\n");
}

PROCESS_CASE(raiseUnderMask) {
  umask(027);
  Raise("raised");
}

TEST_F(ErrorLogFaults, ANewLogHasTheModeThatTheMaskLeaves) {
  ExpectRaised(Run("raiseUnderMask"));
  struct stat status {};
  ASSERT_EQ(stat(Log().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

PROCESS_CASE(raiseAndLookAtDescriptors) {
  ClockProbe::OnPause([] {
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      if (fs::read_symlink(entry.path(), gone) == CaseLog()) {
        const int flags = fcntl(std::stoi(entry.path().filename()), F_GETFD);
        Report((flags & FD_CLOEXEC) != 0 ? "open, not inherited" : "open, inherited");
      }
    }
  });
  Raise("raised");
  ClockProbe::OnPause([] {});
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    Report(fs::read_symlink(entry.path(), gone) == CaseLog() ? "open after all" : "other");
  }
}

TEST_F(ErrorLogFaults, TheFileIsOpenForTheLineAloneAndNoProgramInheritsIt) {
  const CaseResult result = Run("raiseAndLookAtDescriptors");
  ASSERT_GE(result.report.size(), 2U) << result.err;
  EXPECT_EQ(result.report.at(0), "open, not inherited");
  EXPECT_EQ(std::count(result.report.begin(), result.report.end(), "open after all"), 0);
}

PROCESS_CASE(raiseWhereReadingIsDenied) {
  FileProbe::FailReading((Ferrolink::Tests::CaseRoot() / "work").string(), EACCES);
  Raise("raised");
}

TEST_F(ErrorLogFaults, ALogThatMayOnlyBeWrittenToGetsItsLines) {
  ExpectRaised(Run("raiseWhereReadingIsDenied"));
  EXPECT_EQ(WithoutStamps(LogText()), "# raised\n");
}

PROCESS_CASE(raiseAtTheSizeLimit) {
  LimitFileSize(kLongLog);
  Raise("raised");
  ReportSignal(SIGXFSZ);
}

TEST_F(ErrorLogFaults, AFileSizeLimitThatIsReachedDoesNotEndTheProcess) {
  const std::string before = FillLog();
  const CaseResult result = Run("raiseAtTheSizeLimit");
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.report, (Texts{"raised", "not blocked", "not pending"}));
  EXPECT_TRUE(LogText() == before);
}

PROCESS_CASE(raiseAcrossTheSizeLimit) {
  LimitFileSize(kLongLog + 30);
  Raise("raised");
  ReportSignal(SIGXFSZ);
  LimitFileSize(RLIM_INFINITY);
  Raise("later");
}

TEST_F(ErrorLogFaults, ALineThatWasCutAtTheSizeLimitTakesNoLaterLineWithIt) {
  const std::string before = FillLog();
  const CaseResult result = Run("raiseAcrossTheSizeLimit");
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.report, (Texts{"raised", "not blocked", "not pending", "later"}));
  EXPECT_TRUE(LogText().substr(0, kLongLog) == before);
  EXPECT_EQ(WithoutStamps(LogText().substr(kLongLog)),
            "2026-11-14 23:30:05\tThread ID:\n# later\n");
}

PROCESS_CASE(raiseOnAFullDisk) {
  ClockProbe::SetTime(kLateEvening);
  // There is room again while the log pauses: the line that was cut must not come a second time.
  ClockProbe::OnPause([] { FileProbe::LeaveRoom(); });
  FileProbe::RecordWrites();
  FileProbe::LeaveRoomFor(30);
  const FerrolinkNativeException cut("raised", "Unknown");
  const FerrolinkNativeException later("later", "Unknown");
  Report(static_cast<long>(FileProbe::Writes().size()));
}

TEST_F(ErrorLogFaults, ALineThatWasCutOnAFullDiskTakesNoLaterLineWithIt) {
  const CaseResult result = Run("raiseOnAFullDisk");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(WithoutStamps(LogText()), "2026-11-14 23:30:05\tThread ID:\n# later\n");
  EXPECT_EQ(result.report, Texts{"3"});  // the line, its rest, the later line
}

PROCESS_CASE(raiseWithTheSignalPending) {
  sigset_t own;
  sigemptyset(&own);
  sigaddset(&own, SIGXFSZ);
  pthread_sigmask(SIG_BLOCK, &own, nullptr);
  std::raise(SIGXFSZ);
  LimitFileSize(kLongLog);
  Raise("raised");
  ReportSignal(SIGXFSZ);
}

TEST_F(ErrorLogFaults, ASignalThatWasPendingBeforeTheLineStaysPending) {
  const std::string before = FillLog();
  EXPECT_EQ(Run("raiseWithTheSignalPending").report, (Texts{"raised", "blocked", "pending"}));
  EXPECT_TRUE(LogText() == before);
}
