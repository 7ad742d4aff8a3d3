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

using Ferrolink::Tests::CaseOptions;
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::ClosePipeBehind;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Ferrolink::Tests::Texts;

namespace {

int handled = 0;

void Count(int /*signal*/) {
  ++handled;
}

void ExpectOrderlyEnd(const CaseResult& result, const Texts& reports) {
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, reports);
}

void Send(int file, const char* path, int flags) {
  const int opened = open(path, flags | O_CLOEXEC, 0600);
  dup2(opened, file);
  close(opened);
}

}  // namespace

PROCESS_CASE(printToAClosedPipe) {
  ClosePipeBehind(STDOUT_FILENO);
  ClosePipeBehind(STDERR_FILENO);
  for (int i = 0; i < 3; ++i) {
    Console::PrintOut("to nobody\n");
    Console::PrintError("to nobody\n");
  }
  Report("alive");
}

TEST(Console, AClosedPipeEndsTheProcessNeitherAtOnceNorAtItsEnd) {
  const InstallationTree tree;
  ExpectOrderlyEnd(RunCase("printToAClosedPipe", tree), {"alive"});
}

PROCESS_CASE(raiseOverAClosedPipe) {
  ClosePipeBehind(STDERR_FILENO);
  const FerrolinkNativeException error("raised", "Unknown");
  Report(error.what());
}

TEST(Console, AnErrorThatNobodyHearsIsLoggedAndForwarded) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = FakeSettings(tree);
  options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  ExpectOrderlyEnd(RunCase("raiseOverAClosedPipe", tree, options), {"raised"});
  EXPECT_EQ(Ferrolink::Tests::WithoutStamps(tree.ErrorLog()), "# raised\n");
  EXPECT_EQ(Events(tree), "Native exception|raised|Unknown\n");
}

PROCESS_CASE(printUnderAHandler) {
  ClosePipeBehind(STDOUT_FILENO);
  std::signal(SIGPIPE, Count);
  Console::PrintOut("to nobody\n");
  Report(handled);
  std::raise(SIGPIPE);
  Report(handled);
}

TEST(Console, TheHostsHandlerSeesItsOwnSignalsAlone) {
  const InstallationTree tree;
  ExpectOrderlyEnd(RunCase("printUnderAHandler", tree), {"0", "1"});
}

PROCESS_CASE(printWhereSomebodyReadsLater) {
  ClosePipeBehind(STDOUT_FILENO);
  Console::PrintOut("to nobody\n");
  Send(STDOUT_FILENO, Ferrolink::Tests::CaseArguments().at(0).c_str(), O_WRONLY | O_CREAT);
  Console::PrintOut("to a reader\n");
}

TEST(Console, TextThatFoundNoReaderDoesNotComeLater) {
  const InstallationTree tree;
  CaseOptions options;
  options.arguments = {(tree.Root() / "later").string()};
  ExpectOrderlyEnd(RunCase("printWhereSomebodyReadsLater", tree, options), {});
  EXPECT_EQ(Ferrolink::Tests::FileText(tree.Root() / "later"), "to a reader\n");
}

PROCESS_CASE(printAmongTheHostsTexts) {
  std::setvbuf(stdout, nullptr, _IOFBF, 4096);
  std::fputs("host 1\n", stdout);
  Console::PrintOut("library 1\n");
  std::fputs("host 2\n", stdout);
  Console::PrintOut(std::string(10'000, 'x') + "\n");
  std::fputs("host 3\n", stdout);
}

TEST(Console, TextsOfTheHostAndTheLibraryComeInTheirOrder) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("printAmongTheHostsTexts", tree).out,
            "host 1\nlibrary 1\nhost 2\n" + std::string(10'000, 'x') + "\nhost 3\n");
}

PROCESS_CASE(printAtTheSizeLimit) {
  Send(STDOUT_FILENO, Ferrolink::Tests::CaseArguments().at(0).c_str(),
       O_WRONLY | O_CREAT | O_APPEND);
  std::signal(SIGXFSZ, SIG_DFL);
  const rlimit limit{4, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &limit);
  Console::PrintOut("text");
  Console::PrintOut("more");
}

TEST(Console, AFileSizeLimitDoesNotEndTheProcess) {
  const InstallationTree tree;
  CaseOptions options;
  options.arguments = {(tree.Root() / "limited").string()};
  ExpectOrderlyEnd(RunCase("printAtTheSizeLimit", tree, options), {});
  EXPECT_EQ(Ferrolink::Tests::FileText(tree.Root() / "limited"), "text");
}
