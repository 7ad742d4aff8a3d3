// The C++ helper around the built library, on every JDK of the machine: where it finds libraries,
// which archives it loads, and how it attaches threads.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "tests/integration/Support.h"

using namespace FerrolinkTest;
using Ferrolink::Host::Host;
using Ferrolink::Host::JvmLibraryPath;
using Ferrolink::Host::Options;
using Ferrolink::Host::ThreadAttachment;
using Ferrolink::Host::ToText;
namespace fs = std::filesystem;

namespace {

constexpr unsigned kLimitSeconds = 30;
constexpr const char* kLibrary = "libFerrolinkJvmRuntimeNative.so";
constexpr const char* kNative = "Binaries/Native/Linux/X64";

// One run a JDK. "$ROOT" in what is expected stands for the tree's root.
void expectOnEveryJdk(const std::string& name, const std::vector<std::string>& expected,
                      const std::vector<std::string>& arguments = {}) {
  const auto jdks = installedJdks();
  ASSERT_FALSE(jdks.empty());
  for (const auto& jdk : jdks) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    installLibrary(tree);
    installArchive(tree, FERROLINK_JAR);
    // Where a path that was left relative leads to after a change of the directory.
    fs::create_directories(tree.root() / "other/Binaries/Jvm");
    fs::copy_file(TEST_RECEIVER_JAR, tree.root() / "other/Binaries/Jvm/FerrolinkJvmRuntime.jar");
    CaseOptions options = onJdk(tree, jdk, "-Xcheck:jni");
    options.arguments = arguments;
    const CaseResult result = runCase(name, tree, options);
    EXPECT_EQ(result.signal, 0) << result.err;
    EXPECT_EQ(result.exitCode, 0) << result.err;
    std::vector<std::string> report = result.report;
    for (std::string& entry : report) {
      const std::string root = tree.root().string();
      for (auto at = entry.find(root); at != std::string::npos; at = entry.find(root)) {
        entry.replace(at, root.size(), "$ROOT");
      }
    }
    EXPECT_EQ(report, expected) << result.out << result.err;
  }
}

// The error without the line break behind its code and without what follows it.
std::string errorOf(std::string text) {
  if (const auto code = text.find(". \n"); code != std::string::npos) {
    text.erase(code + 2, 1);
  }
  return text.substr(0, text.find('\n'));
}

void loadAndCall(Host& host, const std::string& path) {
  report(errorOf(thrownBy([&] { host.LoadLibrary(path); })));
  report(errorOf(thrownBy([&] { report(ToText(host.Call("echo", "one"))); })));
  report(errorOf(thrownBy([&] { report(ToText(host.Call("echo", "two"))); })));
}

std::string fileThatIsNoArchive() {
  const fs::path file = caseRoot() / "notes.txt";
  std::ofstream(file) << "nothing to run";
  return file.string();
}

}  // namespace

PROCESS_CASE(changeDirectory) {
  fs::current_path(caseRoot());
  Options options;
  if (caseArguments().at(0) == "environment") {
    setenv("FERROLINK_HOME", ".", 1);
  } else {
    options.libraryDirectory = kNative;
  }
  Host host(options);
  fs::current_path(caseRoot() / "other");
  report(host.LibraryPath().is_absolute() ? "absolute" : "relative");
  report(ToText(host.Call("digest", std::string("\x03MD5", 4))).size() == 16 ? "own archive"
                                                                             : "another archive");
}

TEST(Helper, KeepsToTheInstallationThatARelativeHomeNamedAtFirst) {
  expectOnEveryJdk("changeDirectory", {"absolute", "own archive"}, {"environment"});
}

TEST(Helper, KeepsToTheInstallationThatARelativeDirectoryNamedAtFirst) {
  expectOnEveryJdk("changeDirectory", {"absolute", "own archive"}, {"options"});
}

PROCESS_CASE(findOpenedLibrary) {
  fs::current_path(caseRoot());
  dlopen((std::string("./") + kNative + "/" + kLibrary).c_str(), RTLD_NOW);
  fs::current_path(caseRoot() / "other");
  setenv("FERROLINK_HOME", "/nowhere", 1);
  const fs::path found = Ferrolink::Host::detail::findLibrary({});
  report(fs::equivalent(found, caseNativeDirectory() / kLibrary) ? "found" : "another");
  void* again = dlopen(found.c_str(), RTLD_NOW | RTLD_NOLOAD);
  report(again != nullptr ? "the same" : "another copy");
}

TEST(Helper, FindsALibraryThatWasOpenedByARelativePathAfterAChangeOfTheDirectory) {
  expectOnEveryJdk("findOpenedLibrary", {"found", "the same"});
}

PROCESS_CASE(emptyHome) {
  fs::current_path(caseRoot());
  setenv("FERROLINK_HOME", "", 1);
  const fs::path found = Ferrolink::Host::detail::findLibrary({});
  report(found == FERROLINKJVMRUNTIMENATIVE_PATH ? "around the executable" : found.string());
}

TEST(Helper, TakesAnEmptyHomeForNone) {
  expectOnEveryJdk("emptyHome", {"around the executable"});
}

PROCESS_CASE(openThroughLinks) {
  fs::create_directory_symlink(".", caseRoot() / "link");
  Host host({caseRoot() / "link" / kNative, ""});
  report(host.LibraryPath().string());
  report(ToText(host.Call("echo", "through a link")));
}

TEST(Helper, OpensAnInstallationThroughLinks) {
  expectOnEveryJdk("openThroughLinks",
                   {std::string("$ROOT/link/") + kNative + "/" + kLibrary, "through a link"});
}

PROCESS_CASE(loadAfterHeartbeat) {
  Host host({caseNativeDirectory(), ""});
  host.Heartbeat();
  loadAndCall(host, fileThatIsNoArchive());
  host.LoadLibrary(caseArguments().at(0));
  report(ToText(host.Call("word-count", "one two\n")));
}

constexpr const char* kNoArchive =
    "Cannot read archive: $ROOT/notes.txt (zip END header not found). Check that it is a complete "
    ".jar file that this process may read; nothing was added.";
constexpr const char* kNothingThrown = "(nothing thrown)";

TEST(Helper, ReportsAFileThatIsNoArchiveWhereItIsLoadedOnceTheJvmRuns) {
  expectOnEveryJdk(
      "loadAfterHeartbeat",
      {kNoArchive, "one", kNothingThrown, "two", kNothingThrown, "lines: 1, words: 2, bytes: 8"},
      {WORD_COUNT_JAR});
}

PROCESS_CASE(loadAfterOthers) {
  const fs::path copy = caseRoot() / "copy/Binaries/Native/Linux/X64";
  fs::create_directories(copy);
  fs::copy(caseNativeDirectory(), copy);
  const std::string file = fileThatIsNoArchive();
  Host first({caseNativeDirectory(), ""});
  Host second({caseNativeDirectory(), ""});
  Host third({copy, ""});
  first.Heartbeat();
  loadAndCall(second, file);
  loadAndCall(third, file);
}

TEST(Helper, ReportsAFileThatIsNoArchiveWhereItIsLoadedOnceOthersHaveStartedTheJvm) {
  expectOnEveryJdk("loadAfterOthers", {kNoArchive, "one", kNothingThrown, "two", kNothingThrown,
                                       kNoArchive, "one", kNothingThrown, "two", kNothingThrown});
}

PROCESS_CASE(loadBeforeStart) {
  Host host({caseNativeDirectory(), ""});
  loadAndCall(host, fileThatIsNoArchive());
}

TEST(Helper, ReportsAFileThatIsNoArchiveWithTheFirstCallWhereItWasLoadedBeforeTheJvm) {
  expectOnEveryJdk("loadBeforeStart", {kNothingThrown, kNoArchive, "two", kNothingThrown});
}

PROCESS_CASE(loadFifo) {
  alarm(kLimitSeconds);
  const std::string fifo = (caseRoot() / "pipe.jar").string();
  mkfifo(fifo.c_str(), 0600);
  Host host({caseNativeDirectory(), ""});
  if (caseArguments().at(0) == "after") {
    host.Heartbeat();
  }
  loadAndCall(host, fifo);
  loadAndCall(host, "/dev/zero");
  loadAndCall(host, caseRoot().string());
}

// Three paths: a pipe, a device, and a directory in which there is a pipe.
const std::vector<std::string> kNoFiles = {
    "Neither a file nor a directory: $ROOT/pipe.jar. Opening a pipe or a device may wait for ever.",
    "one",
    kNothingThrown,
    "two",
    kNothingThrown,
    "Neither a file nor a directory: /dev/zero. Opening a pipe or a device may wait for ever.",
    "one",
    kNothingThrown,
    "two",
    kNothingThrown,
    kNothingThrown,
    "one",
    kNothingThrown,
    "two",
    kNothingThrown};

TEST(Helper, LoadsNothingButFilesAndDirectoriesBeforeTheJvmStarts) {
  expectOnEveryJdk("loadFifo", kNoFiles, {"before"});
}

TEST(Helper, LoadsNothingButFilesAndDirectoriesAfterTheJvmHasStarted) {
  expectOnEveryJdk("loadFifo", kNoFiles, {"after"});
}

PROCESS_CASE(attachUnderAnotherName) {
  const fs::path library = fs::path(std::getenv("JAVA_HOME")) / "lib/server/libjvm.so";
  const fs::path link = caseRoot() / "engine.so";
  fs::create_symlink(library, link);
  setenv("FERROLINK_JVM_RUNTIME_PATH", link.c_str(), 1);
  Host host({caseNativeDirectory(), ""});
  report(thrownBy([] { const ThreadAttachment early; }).substr(0, 27));
  report(JvmLibraryPath());
  host.Start();
  const auto attach = [&] {
    const ThreadAttachment attachment;
    report(ToText(host.Call("echo", JvmLibraryPath())));
  };
  std::thread(attach).join();
  // A copy of the usual name, which has no JVM.
  fs::copy_file(library, caseRoot() / "libjvm.so");
  report(dlopen((caseRoot() / "libjvm.so").c_str(), RTLD_NOW | RTLD_LOCAL) != nullptr ? "opened"
                                                                                      : dlerror());
  std::thread(attach).join();
}

TEST(Helper, AttachesToTheJvmThatRunsWhateverTheNameOfItsLibrary) {
  expectOnEveryJdk("attachUnderAnotherName", {"No JVM runs in this process", "$ROOT/engine.so",
                                              "$ROOT/engine.so", "opened", "$ROOT/engine.so"});
}
