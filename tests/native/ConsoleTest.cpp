// Console output where nobody reads it, where its file may not grow, and next to the host's own.
#include "native/Console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "native/FerrolinkNativeException.h"
#include "tests/native/FakeCompanions.h"
#include "tests/support/Pipes.h"

namespace Console = Ferrolink::Native::Console;

using FerrolinkTest::CaseOptions;
using FerrolinkTest::CaseResult;
using FerrolinkTest::closePipeBehind;
using FerrolinkTest::InstallationTree;
using FerrolinkTest::report;
using FerrolinkTest::runCase;
using FerrolinkTest::Texts;

namespace {

int handled = 0;

void count(int /*signal*/) {
  ++handled;
}

void expectOrderlyEnd(const CaseResult& result, const Texts& reports) {
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, reports);
}

void send(int file, const char* path, int flags) {
  const int opened = open(path, flags | O_CLOEXEC, 0600);
  dup2(opened, file);
  close(opened);
}

}  // namespace

PROCESS_CASE(printToAClosedPipe) {
  closePipeBehind(STDOUT_FILENO);
  closePipeBehind(STDERR_FILENO);
  for (int i = 0; i < 3; ++i) {
    Console::printOut("to nobody\n");
    Console::printError("to nobody\n");
  }
  report("alive");
}

TEST(Console, AClosedPipeEndsTheProcessNeitherAtOnceNorAtItsEnd) {
  const InstallationTree tree;
  expectOrderlyEnd(runCase("printToAClosedPipe", tree), {"alive"});
}

PROCESS_CASE(raiseOverAClosedPipe) {
  closePipeBehind(STDERR_FILENO);
  const FerrolinkNativeException error("raised", "Unknown");
  report(error.what());
}

TEST(Console, AnErrorThatNobodyHearsIsLoggedAndForwarded) {
  const InstallationTree tree;
  tree.addLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  tree.addLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = fakeSettings(tree);
  options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  expectOrderlyEnd(runCase("raiseOverAClosedPipe", tree, options), {"raised"});
  EXPECT_EQ(FerrolinkTest::withoutStamps(tree.errorLog()), "# raised\n");
  EXPECT_EQ(events(tree), "Native exception|raised|Unknown\n");
}

PROCESS_CASE(printUnderAHandler) {
  closePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, count);
  Console::printOut("to nobody\n");
  report(handled);
  std::raise(SIGPIPE);
  report(handled);
}

TEST(Console, TheHostsHandlerSeesItsOwnSignalsAlone) {
  const InstallationTree tree;
  expectOrderlyEnd(runCase("printUnderAHandler", tree), {"0", "1"});
}

PROCESS_CASE(printWhereSomebodyReadsLater) {
  closePipeBehind(STDOUT_FILENO);
  Console::printOut("to nobody\n");
  send(STDOUT_FILENO, FerrolinkTest::caseArguments().at(0).c_str(), O_WRONLY | O_CREAT);
  Console::printOut("to a reader\n");
}

TEST(Console, TextThatFoundNoReaderDoesNotComeLater) {
  const InstallationTree tree;
  CaseOptions options;
  options.arguments = {(tree.root() / "later").string()};
  expectOrderlyEnd(runCase("printWhereSomebodyReadsLater", tree, options), {});
  EXPECT_EQ(FerrolinkTest::fileText(tree.root() / "later"), "to a reader\n");
}

PROCESS_CASE(printAmongTheHostsTexts) {
  std::setvbuf(stdout, nullptr, _IOFBF, 4096);
  std::fputs("host 1\n", stdout);
  Console::printOut("library 1\n");
  std::fputs("host 2\n", stdout);
  Console::printOut(std::string(10'000, 'x') + "\n");
  std::fputs("host 3\n", stdout);
}

TEST(Console, TextsOfTheHostAndTheLibraryComeInTheirOrder) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("printAmongTheHostsTexts", tree).out,
            "host 1\nlibrary 1\nhost 2\n" + std::string(10'000, 'x') + "\nhost 3\n");
}

PROCESS_CASE(printAtTheSizeLimit) {
  send(STDOUT_FILENO, FerrolinkTest::caseArguments().at(0).c_str(), O_WRONLY | O_CREAT | O_APPEND);
  std::signal(SIGXFSZ, SIG_DFL);
  const rlimit limit{4, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &limit);
  Console::printOut("text");
  Console::printOut("more");
}

TEST(Console, AFileSizeLimitDoesNotEndTheProcess) {
  const InstallationTree tree;
  CaseOptions options;
  options.arguments = {(tree.root() / "limited").string()};
  expectOrderlyEnd(runCase("printAtTheSizeLimit", tree, options), {});
  EXPECT_EQ(FerrolinkTest::fileText(tree.root() / "limited"), "text");
}
