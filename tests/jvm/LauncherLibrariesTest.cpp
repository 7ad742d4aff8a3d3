// The load-library command.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <fstream>

#include "tests/jvm/LauncherFixture.h"

namespace fs = std::filesystem;

namespace Ferrolink::Tests {
namespace {

const std::string kAnswer = "17: 2 0 0 0 0 0 0 0 0 2 0 2 4 0 0 0 0";

void Touch(const fs::path& file) {
  std::ofstream(file) << "archive";
}

std::string LoadError(const std::string& detail, const std::string& info) {
  return "JVM Launcher: Exception code 004. \n" + detail + "\n\nRUNTIME INFO:\n" + info;
}

// The registered archives, as the runtime information lists them.
Texts Registered(JvmLauncher& launcher) {
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

Texts Sorted(Texts texts) {
  std::sort(texts.begin(), texts.end());
  return texts;
}

CaseResult ExpectInTree(const std::string& name, const Texts& expected,
                        const InstallationTree& tree) {
  return ExpectReport(name, expected, tree, FakeJvmOptions());
}

}  // namespace

PROCESS_CASE(loadBeforeStart) {
  Launched launched;
  Report(launched.Exchange(LoadLibraryCommand((CaseRoot() / "a.jar").string())));
  Report(launched.Read());
  Report(static_cast<long>(launched.jvm.Calls().size()));
  ReportAll(Registered(launched.launcher));
}

TEST(LauncherLibraries, ALoadCommandIsAnsweredWithoutStartingTheJvm) {
  const InstallationTree tree;
  Touch(tree.Root() / "a.jar");
  const std::string archive = (tree.Root() / "a.jar").string();
  ExpectInTree("loadBeforeStart",
               {kAnswer,
                "JVM Launcher: Exception code 017.\nError while reading response\nRUNTIME INFO:\n"
                "Loaded custom libraries:\n" +
                    archive + "\n" + RuntimeInfo(""),
                "0", archive},
               tree);
}

PROCESS_CASE(loadAfterStart) {
  Started started;
  Report(started.Exchange(LoadLibraryCommand((CaseRoot() / "a.jar").string())));
  Report(static_cast<long>(started.jvm.Calls().size()));
  Report(started.launcher.GetRuntimeInfo());
  Report(static_cast<long>(started.jvm.Creations().front().options.front().find("a.jar")));
}

TEST(LauncherLibraries, AnArchiveThatCameAfterTheStartIsListedButNotInTheClassPath) {
  const InstallationTree tree;
  Touch(tree.Root() / "a.jar");
  ExpectInTree(
      "loadAfterStart",
      {kAnswer, "0",
       "Loaded custom libraries:\n" + tree.Root().string() + "/a.jar\n" + RuntimeInfo(), "-1"},
      tree);
}

PROCESS_CASE(tooShort) {
  Launched launched;
  for (std::size_t size = 11; size <= 24; ++size) {
    Report(launched.Exchange(Command(1, size)));
  }
}

TEST(LauncherLibraries, ACommandOfLessThan25BytesIsTooShort) {
  ExpectReport("tooShort", Texts(14, LoadError("LoadLibrary message too short", RuntimeInfo(""))));
}

PROCESS_CASE(emptyPath) {
  Launched launched;
  Bytes bytes = Command(1, 25);
  bytes.back() = 0;
  Report(launched.Exchange(bytes));
  ReportAll(Registered(launched.launcher));
}

TEST(LauncherLibraries, AnEmptyPathAddsTheArchivesOfTheCurrentDirectory) {
  const InstallationTree tree;
  Touch(tree.Root() / "here.jar");
  ExpectInTree("emptyPath", {kAnswer, fs::canonical(tree.Root()).string() + "/here.jar"}, tree);
}

PROCESS_CASE(pathEnds) {
  Launched launched;
  const std::string path = (CaseRoot() / "a.jar").string();
  Report(launched.Exchange(LoadLibraryCommand(path)));
  Report(launched.Exchange(LoadLibraryCommand(path + '\0' + "never read")));
  ReportAll(Registered(launched.launcher));
}

TEST(LauncherLibraries, ThePathEndsAtTheFirstZeroByteOrWithTheMessage) {
  const InstallationTree tree;
  Touch(tree.Root() / "a.jar");
  ExpectInTree("pathEnds", {kAnswer, kAnswer, (tree.Root() / "a.jar").string()}, tree);
}

PROCESS_CASE(missingFile) {
  Launched launched;
  Report(launched.Exchange(LoadLibraryCommand("missing.jar")));
  Report(launched.Exchange(LoadLibraryCommand("/missing/too.jar")));
  Report(static_cast<long>(Registered(launched.launcher).size()));
  Report(launched.Read().substr(0, 32));
}

TEST(LauncherLibraries, AMissingFileIsNamedAsItWasReceived) {
  const InstallationTree tree;
  const CaseOptions options = LoggedOptions(tree);
  const std::string first = LoadError("Cannot find file: missing.jar", RuntimeInfo(""));
  const std::string second = LoadError("Cannot find file: /missing/too.jar", RuntimeInfo(""));
  ExpectReport("missingFile", {first, second, "0", "JVM Launcher: Exception code 017"}, tree,
               options);
  const Texts logged = LoggedErrors(tree);
  ASSERT_EQ(logged.size(), 6U);
  EXPECT_EQ(logged[0], "JVM Launcher: Exception code 004. \nCannot find file: missing.jar\n");
  EXPECT_EQ(logged[1], first);
}

PROCESS_CASE(directory) {
  Launched launched;
  Report(launched.Exchange(LoadLibraryCommand((CaseRoot() / "dir").string())));
  ReportAll(Sorted(Registered(launched.launcher)));
}

TEST(LauncherLibraries, ADirectoryAddsItsArchivesAndNothingBelow) {
  const InstallationTree tree;
  const fs::path directory = tree.Root() / "dir";
  fs::create_directories(directory / "d");
  fs::create_directories(directory / "folder.jar");
  for (const char* name :
       {"a.jar", "b.JAR", "m.JaR", "c.txt", "d/e.jar", ".jar", "x.jar.bak", "jar"}) {
    Touch(directory / name);
  }
  Touch(tree.Root() / "target");
  fs::create_symlink(tree.Root() / "target", directory / "link.jar");
  fs::create_symlink(tree.Root() / "nowhere", directory / "broken.jar");
  const std::string start = directory.string() + "/";
  ExpectInTree("directory",
               {kAnswer, start + "a.jar", start + "b.JAR", start + "link.jar", start + "m.JaR"},
               tree);
}

PROCESS_CASE(listingOrder) {
  Launched launched;
  launched.Exchange(LoadLibraryCommand((CaseRoot() / "dir").string()));
  Texts listed;
  for (const fs::directory_entry& entry : fs::directory_iterator(CaseRoot() / "dir")) {
    listed.push_back(entry.path().string());
  }
  Report(Registered(launched.launcher) == listed);
  Report(static_cast<long>(listed.size()));
}

TEST(LauncherLibraries, TheArchivesOfADirectoryKeepTheOrderOfItsListing) {
  const InstallationTree tree;
  fs::create_directories(tree.Root() / "dir");
  for (const char* name : {"q.jar", "b.jar", "z.jar", "a.jar", "m.jar", "f.jar", "y.jar"}) {
    Touch(tree.Root() / "dir" / name);
  }
  ExpectInTree("listingOrder", {"1", "7"}, tree);
}

PROCESS_CASE(notAnArchive) {
  Launched launched;
  Report(launched.Exchange(LoadLibraryCommand((CaseRoot() / "plain.txt").string())));
  Report(launched.Exchange(LoadLibraryCommand("/dev/null")));
  ReportAll(Registered(launched.launcher));
}

TEST(LauncherLibraries, AFileThatIsNamedItselfIsAddedWhateverItsExtension) {
  const InstallationTree tree;
  Touch(tree.Root() / "plain.txt");
  ExpectInTree("notAnArchive",
               {kAnswer, kAnswer, (tree.Root() / "plain.txt").string(), "/dev/null"}, tree);
}

PROCESS_CASE(twice) {
  Launched launched;
  const std::string file = (CaseRoot() / "dir/a.jar").string();
  Report(launched.Exchange(LoadLibraryCommand(file)));
  Report(launched.Exchange(LoadLibraryCommand(file)));
  Report(launched.Exchange(LoadLibraryCommand((CaseRoot() / "dir").string())));
  Report(launched.Exchange(LoadLibraryCommand((CaseRoot() / "dir/../dir/a.jar").string())));
  Report(launched.Exchange(LoadLibraryCommand(CaseRoot().string() + "//dir///a.jar")));
  ReportAll(Registered(launched.launcher));
}

TEST(LauncherLibraries, AnArchiveIsListedOnceForEachTextOfItsPath) {
  const InstallationTree tree;
  fs::create_directories(tree.Root() / "dir");
  Touch(tree.Root() / "dir/a.jar");
  const std::string root = tree.Root().string();
  ExpectInTree("twice",
               {kAnswer, kAnswer, kAnswer, kAnswer, kAnswer, root + "/dir/a.jar",
                root + "/dir/../dir/a.jar"},
               tree);
}

PROCESS_CASE(relative) {
  Launched launched;
  Report(launched.Exchange(LoadLibraryCommand("dir//a.jar")));
  Report(launched.Exchange(LoadLibraryCommand("./dir")));
  ReportAll(Registered(launched.launcher));
}

TEST(LauncherLibraries, ARelativePathStaysRelative) {
  const InstallationTree tree;
  fs::create_directories(tree.Root() / "dir");
  Touch(tree.Root() / "dir/a.jar");
  ExpectInTree("relative", {kAnswer, kAnswer, "dir/a.jar", "./dir/a.jar"}, tree);
}

PROCESS_CASE(failedListing) {
  Launched launched;
  const std::string directory = (CaseRoot() / "dir").string();
  Report(launched.Exchange(LoadLibraryCommand((CaseRoot() / "first.jar").string())));
  launched.Send(LoadLibraryCommand((CaseRoot() / "first.jar").string()));
  Bytes bytes = LoadLibraryCommand(directory);
  try {
    launched.launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size()));
  } catch (const fs::filesystem_error& error) {
    Report("file system error " + error.code().message());
  }
  Report(launched.Read());
  ReportAll(Registered(launched.launcher));
  fs::remove(CaseRoot() / "dir/loop.jar");
  Report(launched.Exchange(LoadLibraryCommand(directory)));
  ReportAll(Sorted(Registered(launched.launcher)));
}

// The waiting response is that of the command before.
TEST(LauncherLibraries, AListingThatFailsLeavesTheListAndTheWaitingResponseAsTheyWere) {
  const InstallationTree tree;
  Touch(tree.Root() / "first.jar");
  fs::create_directories(tree.Root() / "dir");
  for (const char* name : {"1.jar", "2.jar", "3.jar", "4.jar"}) {
    Touch(tree.Root() / "dir" / name);
  }
  fs::create_symlink("loop.jar", tree.Root() / "dir/loop.jar");
  const std::string root = tree.Root().string();
  ExpectInTree("failedListing",
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
  Bytes bytes = LoadLibraryCommand((CaseRoot() / "dir").string());
  std::string error;
  try {
    launched.launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size()));
  } catch (const fs::filesystem_error& raised) {
    error = raised.code().message();
  }
  setrlimit(RLIMIT_NOFILE, &limit);
  Report(error);
  Report(launched.Exchange(bytes));
}

TEST(LauncherLibraries, ADirectoryThatCannotBeListedRaisesTheFileSystemErrorAndGivesTheLockBack) {
  const InstallationTree tree;
  fs::create_directories(tree.Root() / "dir");
  ExpectInTree("unlistableDirectory", {"Too many open files", kAnswer}, tree);
}

PROCESS_CASE(unreadableStatus) {
  Launched launched;
  Bytes bytes = LoadLibraryCommand(std::string(300, 'x'));
  try {
    launched.launcher.SendCommand(bytes.data(), static_cast<int>(bytes.size()));
  } catch (const fs::filesystem_error& raised) {
    Report(raised.code().message());
  }
}

TEST(LauncherLibraries, APathWhoseStatusCannotBeReadRaisesTheFileSystemError) {
  ExpectReport("unreadableStatus", {"File name too long"});
}

PROCESS_CASE(addMissing) {
  Launched launched;
  Report(ThrownBy([&] { launched.launcher.AddToLibrariesToLoad("missing.jar"); }));
  Report(ThrownBy([&] { launched.launcher.AddToLibrariesToLoad(CaseRoot() / "a.jar"); }));
  ReportAll(Registered(launched.launcher));
}

TEST(LauncherLibraries, AddingAMissingPathRaises004WithoutRuntimeInformation) {
  const InstallationTree tree;
  Touch(tree.Root() / "a.jar");
  CaseOptions options = LoggedOptions(tree);
  const std::string error = "JVM Launcher: Exception code 004. \nCannot find file: missing.jar\n";
  ExpectReport("addMissing", {error, "(nothing thrown)", (tree.Root() / "a.jar").string()}, tree,
               options);
  EXPECT_EQ(LoggedErrors(tree), Texts{error});
}

PROCESS_CASE(trace) {
  Launched launched;
  std::fputs("command:\n", stdout);
  Report(launched.Exchange(LoadLibraryCommand(std::string("a\xC3\xBC.jar\0zz", 10))));
  Report(launched.Exchange(LoadLibraryCommand(std::string("\0", 1))));
}

TEST(LauncherLibraries, DebugModeTracesThePathBytes) {
  const InstallationTree tree;
  Touch(tree.Root() / "a\xC3\xBC.jar");
  CaseOptions options = FakeJvmOptions();
  options.environment["FERROLINK_DEBUG_MODE"] = "true";
  const CaseResult traced = ExpectReport("trace", {kAnswer, kAnswer}, tree, options);
  EXPECT_EQ(traced.out.substr(traced.out.find("command:\n")),
            "command:\nLoadLibrary path length: 7 (payload capacity 10)\n"
            "61 C3 BC 2E 6A 61 72 \n"
            "LoadLibrary path length: 0 (payload capacity 1)\n\n");
  const CaseResult silent = ExpectReport("trace", {kAnswer, kAnswer}, tree, FakeJvmOptions());
  EXPECT_EQ(silent.out.substr(silent.out.find("command:\n")), "command:\n");
}

PROCESS_CASE(manyAtOnce) {
  Launched launched;
  OnNewThreads(8, [&](int i) {
    for (int n = 0; n < 10; ++n) {
      const std::string name = std::to_string((i + n) % 10) + ".jar";
      Report(launched.Exchange(LoadLibraryCommand((CaseRoot() / name).string())));
    }
  });
  ReportAll(Sorted(Registered(launched.launcher)));
}

TEST(LauncherLibraries, ManyThreadsAddAtOnceAndEachGetsItsAnswer) {
  const InstallationTree tree;
  Texts expected(80, kAnswer);
  for (int i = 0; i < 10; ++i) {
    const fs::path archive = tree.Root() / (std::to_string(i) + ".jar");
    Touch(archive);
    expected.push_back(archive.string());
  }
  ExpectInTree("manyAtOnce", expected, tree);
}

}  // namespace Ferrolink::Tests
