// The load-library command.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <fstream>

#include "tests/jvm/LauncherFixture.h"

namespace fs = std::filesystem;

namespace FerrolinkTest {
namespace {

const std::string kAnswer = "17: 2 0 0 0 0 0 0 0 0 2 0 2 4 0 0 0 0";

void touch(const fs::path& file) {
  std::ofstream(file) << "archive";
}

std::string loadError(const std::string& detail, const std::string& info) {
  return "JVM Launcher: Exception code 004. \n" + detail + "\n\nRUNTIME INFO:\n" + info;
}

// The registered archives, as the runtime information lists them.
Texts registered(JvmLauncher& launcher) {
  const std::string heading = "Loaded custom libraries:\n";
  std::string info = launcher.GetRuntimeInfo();
  Texts list;
  if (info.rfind(heading, 0) != 0) {
    return list;
  }
  info = info.substr(heading.size());
  for (auto end = info.find('\n'); end > 0; end = info.find('\n')) {
    list.push_back(info.substr(0, end));
    info = info.substr(end + 1);
  }
  return list;
}

Texts sorted(Texts texts) {
  std::sort(texts.begin(), texts.end());
  return texts;
}

CaseResult expectInTree(const std::string& name, const Texts& expected,
                        const InstallationTree& tree) {
  return expectReport(name, expected, tree, fakeJvmOptions());
}

}  // namespace

PROCESS_CASE(loadBeforeStart) {
  Launched launched;
  report(launched.exchange(loadLibraryCommand((caseRoot() / "a.jar").string())));
  report(launched.read());
  report(static_cast<long>(launched.jvm.calls().size()));
  reportAll(registered(launched.launcher));
}

TEST(LauncherLibraries, ALoadCommandIsAnsweredWithoutStartingTheJvm) {
  const InstallationTree tree;
  touch(tree.root() / "a.jar");
  const std::string archive = (tree.root() / "a.jar").string();
  expectInTree("loadBeforeStart",
               {kAnswer,
                "JVM Launcher: Exception code 017.\nError while reading response\nRUNTIME INFO:\n"
                "Loaded custom libraries:\n" +
                    archive + "\n" + runtimeInfo(""),
                "0", archive},
               tree);
}

PROCESS_CASE(loadAfterStart) {
  Started started;
  report(started.exchange(loadLibraryCommand((caseRoot() / "a.jar").string())));
  report(static_cast<long>(started.jvm.calls().size()));
  report(started.launcher.GetRuntimeInfo());
  report(static_cast<long>(started.jvm.creations().front().options.front().find("a.jar")));
}

TEST(LauncherLibraries, AnArchiveThatCameAfterTheStartIsListedButNotInTheClassPath) {
  const InstallationTree tree;
  touch(tree.root() / "a.jar");
  expectInTree(
      "loadAfterStart",
      {kAnswer, "0",
       "Loaded custom libraries:\n" + tree.root().string() + "/a.jar\n" + runtimeInfo(), "-1"},
      tree);
}

PROCESS_CASE(tooShort) {
  Launched launched;
  for (std::size_t size = 11; size <= 24; ++size) {
    report(launched.exchange(command(1, size)));
  }
}

TEST(LauncherLibraries, ACommandOfLessThan25BytesIsTooShort) {
  expectReport("tooShort", Texts(14, loadError("LoadLibrary message too short", runtimeInfo(""))));
}

PROCESS_CASE(emptyPath) {
  Launched launched;
  Bytes bytes = command(1, 25);
  bytes.back() = 0;
  report(launched.exchange(bytes));
  reportAll(registered(launched.launcher));
}

TEST(LauncherLibraries, AnEmptyPathAddsTheArchivesOfTheCurrentDirectory) {
  const InstallationTree tree;
  touch(tree.root() / "here.jar");
  expectInTree("emptyPath", {kAnswer, fs::canonical(tree.root()).string() + "/here.jar"}, tree);
}

PROCESS_CASE(pathEnds) {
  Launched launched;
  const std::string path = (caseRoot() / "a.jar").string();
  report(launched.exchange(loadLibraryCommand(path)));
  report(launched.exchange(loadLibraryCommand(path + '\0' + "never read")));
  reportAll(registered(launched.launcher));
}

TEST(LauncherLibraries, ThePathEndsAtTheFirstZeroByteOrWithTheMessage) {
  const InstallationTree tree;
  touch(tree.root() / "a.jar");
  expectInTree("pathEnds", {kAnswer, kAnswer, (tree.root() / "a.jar").string()}, tree);
}

PROCESS_CASE(missingFile) {
  Launched launched;
  report(launched.exchange(loadLibraryCommand("missing.jar")));
  report(launched.exchange(loadLibraryCommand("/missing/too.jar")));
  report(static_cast<long>(registered(launched.launcher).size()));
  report(launched.read().substr(0, 32));
}

TEST(LauncherLibraries, AMissingFileIsNamedAsItWasReceived) {
  const InstallationTree tree;
  const CaseOptions options = loggedOptions(tree);
  const std::string first = loadError("Cannot find file: missing.jar", runtimeInfo(""));
  const std::string second = loadError("Cannot find file: /missing/too.jar", runtimeInfo(""));
  expectReport("missingFile", {first, second, "0", "JVM Launcher: Exception code 017"}, tree,
               options);
  const Texts logged = loggedErrors(tree);
  ASSERT_EQ(logged.size(), 6U);
  EXPECT_EQ(logged[0], "JVM Launcher: Exception code 004. \nCannot find file: missing.jar\n");
  EXPECT_EQ(logged[1], first);
}

PROCESS_CASE(directory) {
  Launched launched;
  report(launched.exchange(loadLibraryCommand((caseRoot() / "dir").string())));
  reportAll(sorted(registered(launched.launcher)));
}

TEST(LauncherLibraries, ADirectoryAddsItsArchivesAndNothingBelow) {
  const InstallationTree tree;
  const fs::path directory = tree.root() / "dir";
  fs::create_directories(directory / "d");
  fs::create_directories(directory / "folder.jar");
  for (const char* name :
       {"a.jar", "b.JAR", "m.JaR", "c.txt", "d/e.jar", ".jar", "x.jar.bak", "jar"}) {
    touch(directory / name);
  }
  touch(tree.root() / "target");
  fs::create_symlink(tree.root() / "target", directory / "link.jar");
  fs::create_symlink(tree.root() / "nowhere", directory / "broken.jar");
  const std::string start = directory.string() + "/";
  expectInTree("directory",
               {kAnswer, start + "a.jar", start + "b.JAR", start + "link.jar", start + "m.JaR"},
               tree);
}

PROCESS_CASE(listingOrder) {
  Launched launched;
  launched.exchange(loadLibraryCommand((caseRoot() / "dir").string()));
  Texts listed;
  for (const fs::directory_entry& entry : fs::directory_iterator(caseRoot() / "dir")) {
    listed.push_back(entry.path().string());
  }
  report(registered(launched.launcher) == listed);
  report(static_cast<long>(listed.size()));
}

TEST(LauncherLibraries, TheArchivesOfADirectoryKeepTheOrderOfItsListing) {
  const InstallationTree tree;
  fs::create_directories(tree.root() / "dir");
  for (const char* name : {"q.jar", "b.jar", "z.jar", "a.jar", "m.jar", "f.jar", "y.jar"}) {
    touch(tree.root() / "dir" / name);
  }
  expectInTree("listingOrder", {"1", "7"}, tree);
}

PROCESS_CASE(notAnArchive) {
  Launched launched;
  report(launched.exchange(loadLibraryCommand((caseRoot() / "plain.txt").string())));
  report(launched.exchange(loadLibraryCommand("/dev/null")));
  reportAll(registered(launched.launcher));
}

TEST(LauncherLibraries, AFileThatIsNamedItselfIsAddedWhateverItsExtension) {
  const InstallationTree tree;
  touch(tree.root() / "plain.txt");
  expectInTree("notAnArchive",
               {kAnswer, kAnswer, (tree.root() / "plain.txt").string(), "/dev/null"}, tree);
}

PROCESS_CASE(twice) {
  Launched launched;
  const std::string file = (caseRoot() / "dir/a.jar").string();
  report(launched.exchange(loadLibraryCommand(file)));
  report(launched.exchange(loadLibraryCommand(file)));
  report(launched.exchange(loadLibraryCommand((caseRoot() / "dir").string())));
  report(launched.exchange(loadLibraryCommand((caseRoot() / "dir/../dir/a.jar").string())));
  report(launched.exchange(loadLibraryCommand(caseRoot().string() + "//dir///a.jar")));
  reportAll(registered(launched.launcher));
}

TEST(LauncherLibraries, AnArchiveIsListedOnceForEachTextOfItsPath) {
  const InstallationTree tree;
  fs::create_directories(tree.root() / "dir");
  touch(tree.root() / "dir/a.jar");
  const std::string root = tree.root().string();
  expectInTree("twice",
               {kAnswer, kAnswer, kAnswer, kAnswer, kAnswer, root + "/dir/a.jar",
                root + "/dir/../dir/a.jar"},
               tree);
}

PROCESS_CASE(relative) {
  Launched launched;
  report(launched.exchange(loadLibraryCommand("dir//a.jar")));
  report(launched.exchange(loadLibraryCommand("./dir")));
  reportAll(registered(launched.launcher));
}

TEST(LauncherLibraries, ARelativePathStaysRelative) {
  const InstallationTree tree;
  fs::create_directories(tree.root() / "dir");
  touch(tree.root() / "dir/a.jar");
  expectInTree("relative", {kAnswer, kAnswer, "dir/a.jar", "./dir/a.jar"}, tree);
}

PROCESS_CASE(failedListing) {
  Launched launched;
  const std::string directory = (caseRoot() / "dir").string();
  report(launched.exchange(loadLibraryCommand((caseRoot() / "first.jar").string())));
  launched.send(loadLibraryCommand((caseRoot() / "first.jar").string()));
  Bytes bytes = loadLibraryCommand(directory);
  try {
    launched.launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size()));
  } catch (const fs::filesystem_error& error) {
    report("file system error " + error.code().message());
  }
  report(launched.read());
  reportAll(registered(launched.launcher));
  fs::remove(caseRoot() / "dir/loop.jar");
  report(launched.exchange(loadLibraryCommand(directory)));
  reportAll(sorted(registered(launched.launcher)));
}

// The waiting response is that of the command before.
TEST(LauncherLibraries, AListingThatFailsLeavesTheListAndTheWaitingResponseAsTheyWere) {
  const InstallationTree tree;
  touch(tree.root() / "first.jar");
  fs::create_directories(tree.root() / "dir");
  for (const char* name : {"1.jar", "2.jar", "3.jar", "4.jar"}) {
    touch(tree.root() / "dir" / name);
  }
  fs::create_symlink("loop.jar", tree.root() / "dir/loop.jar");
  const std::string root = tree.root().string();
  expectInTree("failedListing",
               {kAnswer, "file system error Too many levels of symbolic links", kAnswer.substr(4),
                root + "/first.jar", kAnswer, root + "/dir/1.jar", root + "/dir/2.jar",
                root + "/dir/3.jar", root + "/dir/4.jar", root + "/first.jar"},
               tree);
}

PROCESS_CASE(unlistableDirectory) {
  Launched launched;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  Bytes bytes = loadLibraryCommand((caseRoot() / "dir").string());
  std::string error;
  try {
    launched.launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size()));
  } catch (const fs::filesystem_error& raised) {
    error = raised.code().message();
  }
  setrlimit(RLIMIT_NOFILE, &limit);
  report(error);
  report(launched.exchange(bytes));
}

TEST(LauncherLibraries, ADirectoryThatCannotBeListedRaisesTheFileSystemErrorAndGivesTheLockBack) {
  const InstallationTree tree;
  fs::create_directories(tree.root() / "dir");
  expectInTree("unlistableDirectory", {"Too many open files", kAnswer}, tree);
}

PROCESS_CASE(unreadableStatus) {
  Launched launched;
  Bytes bytes = loadLibraryCommand(std::string(300, 'x'));
  try {
    launched.launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size()));
  } catch (const fs::filesystem_error& raised) {
    report(raised.code().message());
  }
}

TEST(LauncherLibraries, APathWhoseStatusCannotBeReadRaisesTheFileSystemError) {
  expectReport("unreadableStatus", {"File name too long"});
}

PROCESS_CASE(addMissing) {
  Launched launched;
  report(thrownBy([&] { launched.launcher.AddToLibrariesToLoad("missing.jar"); }));
  report(thrownBy([&] { launched.launcher.AddToLibrariesToLoad(caseRoot() / "a.jar"); }));
  reportAll(registered(launched.launcher));
}

TEST(LauncherLibraries, AddingAMissingPathRaises004WithoutRuntimeInformation) {
  const InstallationTree tree;
  touch(tree.root() / "a.jar");
  CaseOptions options = loggedOptions(tree);
  const std::string error = "JVM Launcher: Exception code 004. \nCannot find file: missing.jar\n";
  expectReport("addMissing", {error, "(nothing thrown)", (tree.root() / "a.jar").string()}, tree,
               options);
  EXPECT_EQ(loggedErrors(tree), Texts{error});
}

PROCESS_CASE(trace) {
  Launched launched;
  std::fputs("command:\n", stdout);
  report(launched.exchange(loadLibraryCommand(std::string("a\xC3\xBC.jar\0zz", 10))));
  report(launched.exchange(loadLibraryCommand(std::string("\0", 1))));
}

TEST(LauncherLibraries, DebugModeTracesThePathBytes) {
  const InstallationTree tree;
  touch(tree.root() / "a\xC3\xBC.jar");
  CaseOptions options = fakeJvmOptions();
  options.environment["FERROLINK_DEBUG_MODE"] = "true";
  const CaseResult traced = expectReport("trace", {kAnswer, kAnswer}, tree, options);
  EXPECT_EQ(traced.out.substr(traced.out.find("command:\n")),
            "command:\nLoadLibrary path length: 7 (payload capacity 10)\n"
            "61 C3 BC 2E 6A 61 72 \n"
            "LoadLibrary path length: 0 (payload capacity 1)\n\n");
  const CaseResult silent = expectReport("trace", {kAnswer, kAnswer}, tree, fakeJvmOptions());
  EXPECT_EQ(silent.out.substr(silent.out.find("command:\n")), "command:\n");
}

PROCESS_CASE(manyAtOnce) {
  Launched launched;
  onNewThreads(8, [&](int i) {
    for (int n = 0; n < 10; ++n) {
      const std::string name = std::to_string((i + n) % 10) + ".jar";
      report(launched.exchange(loadLibraryCommand((caseRoot() / name).string())));
    }
  });
  reportAll(sorted(registered(launched.launcher)));
}

TEST(LauncherLibraries, ManyThreadsAddAtOnceAndEachGetsItsAnswer) {
  const InstallationTree tree;
  Texts expected(80, kAnswer);
  for (int i = 0; i < 10; ++i) {
    const fs::path archive = tree.root() / (std::to_string(i) + ".jar");
    touch(archive);
    expected.push_back(archive.string());
  }
  expectInTree("manyAtOnce", expected, tree);
}

}  // namespace FerrolinkTest
