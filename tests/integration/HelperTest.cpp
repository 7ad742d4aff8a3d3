// The C++ helper around the built library, on every JDK of the machine: where it finds libraries,
// which archives it loads, and how it attaches threads.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <thread>

#include "tests/integration/RealJvmCases.h"

using namespace Ferrolink::Tests;
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

// Runs once for each JDK. "$ROOT" in `expected` is replaced by the root of the tree.
void ExpectOnEveryJdk(const std::string& name, const std::vector<std::string>& expected,
                      const std::vector<std::string>& arguments = {}) {
  const auto jdks = InstalledJdks();
  ASSERT_FALSE(jdks.empty());
  for (const auto& jdk : jdks) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    InstallLibrary(tree);
    InstallArchive(tree, FERROLINK_JAR);
    // A relative path would lead here after a change of the directory.
    fs::create_directories(tree.Root() / "other/Binaries/Jvm");
    fs::copy_file(TEST_RECEIVER_JAR, tree.Root() / "other/Binaries/Jvm/FerrolinkJvmRuntime.jar");
    CaseOptions options = OnJdk(tree, jdk, "-Xcheck:jni");
    options.arguments = arguments;
    const CaseResult result = RunCase(name, tree, options);
    EXPECT_EQ(result.signal, 0) << result.err;
    EXPECT_EQ(result.exitCode, 0) << result.err;
    std::vector<std::string> report = result.report;
    for (std::string& entry : report) {
      const std::string root = tree.Root().string();
      for (auto at = entry.find(root); at != std::string::npos; at = entry.find(root)) {
        entry.replace(at, root.size(), "$ROOT");
      }
    }
    EXPECT_EQ(report, expected) << result.out << result.err;
  }
}

// The error without the line break behind its code and without what follows it.
std::string ErrorOf(std::string text) {
  if (const auto code = text.find(". \n"); code != std::string::npos) {
    text.erase(code + 2, 1);
  }
  return text.substr(0, text.find('\n'));
}

void LoadAndCall(Host& host, const std::string& path) {
  Report(ErrorOf(ThrownBy([&] { host.LoadLibrary(path); })));
  Report(ErrorOf(ThrownBy([&] { Report(ToText(host.Call("echo", "one"))); })));
  Report(ErrorOf(ThrownBy([&] { Report(ToText(host.Call("echo", "two"))); })));
}

std::string FileThatIsNoArchive() {
  const fs::path file = CaseRoot() / "notes.txt";
  std::ofstream(file) << "nothing to run";
  return file.string();
}

}  // namespace

PROCESS_CASE(changeDirectory) {
  fs::current_path(CaseRoot());
  Options options;
  if (CaseArguments().at(0) == "environment") {
    setenv("FERROLINK_HOME", ".", 1);
  } else {
    options.libraryDirectory = kNative;
  }
  Host host(options);
  fs::current_path(CaseRoot() / "other");
  Report(host.LibraryPath().is_absolute() ? "absolute" : "relative");
  Report(ToText(host.Call("digest", std::string("\x03MD5", 4))).size() == 16 ? "own archive"
                                                                             : "another archive");
}

TEST(Helper, KeepsToTheInstallationThatARelativeHomeNamedAtFirst) {
  ExpectOnEveryJdk("changeDirectory", {"absolute", "own archive"}, {"environment"});
}

TEST(Helper, KeepsToTheInstallationThatARelativeDirectoryNamedAtFirst) {
  ExpectOnEveryJdk("changeDirectory", {"absolute", "own archive"}, {"options"});
}

PROCESS_CASE(findOpenedLibrary) {
  fs::current_path(CaseRoot());
  dlopen((std::string("./") + kNative + "/" + kLibrary).c_str(), RTLD_NOW);
  fs::current_path(CaseRoot() / "other");
  setenv("FERROLINK_HOME", "/nowhere", 1);
  const fs::path found = Ferrolink::Host::FindLibrary({});
  Report(fs::equivalent(found, CaseNativeDirectory() / kLibrary) ? "found" : "another");
  void* again = dlopen(found.c_str(), RTLD_NOW | RTLD_NOLOAD);
  Report(again != nullptr ? "the same" : "another copy");
}

TEST(Helper, FindsALibraryThatWasOpenedByARelativePathAfterAChangeOfTheDirectory) {
  ExpectOnEveryJdk("findOpenedLibrary", {"found", "the same"});
}

PROCESS_CASE(emptyHome) {
  fs::current_path(CaseRoot());
  setenv("FERROLINK_HOME", "", 1);
  const fs::path found = Ferrolink::Host::FindLibrary({});
  Report(found == FERROLINKJVMRUNTIMENATIVE_PATH ? "around the executable" : found.string());
}

TEST(Helper, TakesAnEmptyHomeForNone) {
  ExpectOnEveryJdk("emptyHome", {"around the executable"});
}

PROCESS_CASE(searchTheSystem) {
  unsetenv("FERROLINK_HOME");
  const std::string text =
      ThrownBy([] { Ferrolink::Host::FindLibrary({}, "libNobodyHasThis.so"); });
  Report(text.substr(text.find("\n  /usr/lib/ferrolink")));
}

TEST(Helper, LooksInTheInstallationsOfTheSystemLast) {
  ExpectOnEveryJdk("searchTheSystem",
                   {std::string("\n  /usr/lib/ferrolink/") + kNative + "/libNobodyHasThis.so" +
                    "\n  /usr/local/lib/ferrolink/" + kNative + "/libNobodyHasThis.so"});
}

PROCESS_CASE(openThroughLinks) {
  fs::create_directory_symlink(".", CaseRoot() / "link");
  Host host({CaseRoot() / "link" / kNative, ""});
  Report(host.LibraryPath().string());
  Report(ToText(host.Call("echo", "through a link")));
}

TEST(Helper, OpensAnInstallationThroughLinks) {
  ExpectOnEveryJdk("openThroughLinks",
                   {std::string("$ROOT/link/") + kNative + "/" + kLibrary, "through a link"});
}

PROCESS_CASE(callIntoBuffers) {
  Host host({CaseNativeDirectory(), ""});
  std::array<std::uint8_t, 5> room{};
  Report(static_cast<long>(host.CallInto("echo", Ferrolink::Host::AsBytes("abcde"), room)));
  Report(ToText(room));
  Report(ThrownBy([&] { host.CallInto("echo", Ferrolink::Host::AsBytes("abcdef"), room); }));
  Ferrolink::Host::Bytes answer;
  Report(static_cast<long>(host.CallInto("echo", Ferrolink::Host::AsBytes("abcdef"), answer)));
  Report(ToText(answer));
  const Ferrolink::Host::Bytes large(3U << 20U, 7);
  Report(host.Call("echo", large) == large ? "3 MiB" : "other bytes");
}

TEST(Helper, FillsBuffersOfTheCaller) {
  ExpectOnEveryJdk(
      "callIntoBuffers",
      {"5", "abcde", "The answer has 6 bytes, and the buffer has 5. The handler was executed.", "6",
       "abcdef", "3 MiB"});
}

PROCESS_CASE(loadAfterHeartbeat) {
  Host host({CaseNativeDirectory(), ""});
  host.Heartbeat();
  LoadAndCall(host, FileThatIsNoArchive());
  host.LoadLibrary(CaseArguments().at(0));
  Report(ToText(host.Call("word-count", "one two\n")));
}

constexpr const char* kNoArchive =
    "Cannot read archive: $ROOT/notes.txt (zip END header not found). Check that it is a complete "
    ".jar file that this process may read; nothing was added.";
constexpr const char* kNothingThrown = "(nothing thrown)";

TEST(Helper, ReportsAFileThatIsNoArchiveWhereItIsLoadedOnceTheJvmRuns) {
  ExpectOnEveryJdk(
      "loadAfterHeartbeat",
      {kNoArchive, "one", kNothingThrown, "two", kNothingThrown, "lines: 1, words: 2, bytes: 8"},
      {WORD_COUNT_JAR});
}

PROCESS_CASE(loadAfterOthers) {
  const fs::path copy = CaseRoot() / "copy/Binaries/Native/Linux/X64";
  fs::create_directories(copy);
  fs::copy(CaseNativeDirectory(), copy);
  const std::string file = FileThatIsNoArchive();
  Host first({CaseNativeDirectory(), ""});
  Host second({CaseNativeDirectory(), ""});
  Host third({copy, ""});
  first.Heartbeat();
  LoadAndCall(second, file);
  LoadAndCall(third, file);
}

TEST(Helper, ReportsAFileThatIsNoArchiveWhereItIsLoadedOnceOthersHaveStartedTheJvm) {
  ExpectOnEveryJdk("loadAfterOthers", {kNoArchive, "one", kNothingThrown, "two", kNothingThrown,
                                       kNoArchive, "one", kNothingThrown, "two", kNothingThrown});
}

PROCESS_CASE(loadBeforeStart) {
  Host host({CaseNativeDirectory(), ""});
  LoadAndCall(host, FileThatIsNoArchive());
}

TEST(Helper, ReportsAFileThatIsNoArchiveWithTheFirstCallWhereItWasLoadedBeforeTheJvm) {
  ExpectOnEveryJdk("loadBeforeStart", {kNothingThrown, kNoArchive, "two", kNothingThrown});
}

PROCESS_CASE(loadFifo) {
  alarm(kLimitSeconds);
  const std::string fifo = (CaseRoot() / "pipe.jar").string();
  mkfifo(fifo.c_str(), 0600);
  Host host({CaseNativeDirectory(), ""});
  if (CaseArguments().at(0) == "after") {
    host.Heartbeat();
  }
  LoadAndCall(host, fifo);
  LoadAndCall(host, "/dev/zero");
  LoadAndCall(host, CaseRoot().string());
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
  ExpectOnEveryJdk("loadFifo", kNoFiles, {"before"});
}

TEST(Helper, LoadsNothingButFilesAndDirectoriesAfterTheJvmHasStarted) {
  ExpectOnEveryJdk("loadFifo", kNoFiles, {"after"});
}

PROCESS_CASE(attachUnderAnotherName) {
  const fs::path library = fs::path(std::getenv("JAVA_HOME")) / "lib/server/libjvm.so";
  const fs::path link = CaseRoot() / "engine.so";
  fs::create_symlink(library, link);
  setenv("FERROLINK_JVM_RUNTIME_PATH", link.c_str(), 1);
  Host host({CaseNativeDirectory(), ""});
  Report(ThrownBy([] { const ThreadAttachment early; }).substr(0, 27));
  Report(JvmLibraryPath());
  host.Start();
  const auto attach = [&] {
    const ThreadAttachment attachment;
    Report(ToText(host.Call("echo", JvmLibraryPath())));
  };
  std::thread(attach).join();
  // A copy of the usual name, which has no JVM.
  fs::copy_file(library, CaseRoot() / "libjvm.so");
  Report(dlopen((CaseRoot() / "libjvm.so").c_str(), RTLD_NOW | RTLD_LOCAL) != nullptr ? "opened"
                                                                                      : dlerror());
  std::thread(attach).join();
}

TEST(Helper, AttachesToTheJvmThatRunsWhateverTheNameOfItsLibrary) {
  ExpectOnEveryJdk("attachUnderAnotherName", {"No JVM runs in this process", "$ROOT/engine.so",
                                              "$ROOT/engine.so", "opened", "$ROOT/engine.so"});
}
