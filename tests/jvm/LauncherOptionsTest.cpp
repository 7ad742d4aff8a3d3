// The class path and the options that a new JVM is given.
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
namespace {

std::string archiveOf(const InstallationTree& tree) {
  return tree.nativeDirectory().string() + "/../../../../Binaries/Jvm/FerrolinkJvmRuntime.jar";
}

// The JVM's home is the tree's root.
CaseOptions homeOptions(const InstallationTree& tree) {
  std::filesystem::create_directories(tree.root() / "lib/server");
  std::filesystem::copy_file(FAKEJVM_PATH, tree.root() / "lib/server/libjvm.so");
  CaseOptions options = fakeJvmOptions();
  options.environment["FERROLINK_JVM_RUNTIME_PATH"] = tree.root().string();
  return options;
}

std::string libraryPathOption(const InstallationTree& tree) {
  return "-Djava.library.path=" + tree.root().string() + "/lib:" + tree.root().string() +
         "/jre/lib";
}

void touch(const std::filesystem::path& file) {
  std::ofstream(file) << "archive";
}

void reportCreation(FakeJvmClient& jvm) {
  for (const FakeJvm::Creation& creation : jvm.creations()) {
    report(creation.version);
    report(creation.ignoreUnrecognized || creation.extraInfo);
    reportAll(creation.options);
  }
}

// A started launcher whose JVM library lies below the tree's root.
void startBelowRoot(const std::vector<std::string>& archives) {
  FakeJvmClient jvm((caseRoot() / "lib/server/libjvm.so").string());
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  launcher.Initialize(0);
  for (const std::string& archive : archives) {
    Bytes load = loadLibraryCommand(archive);
    launcher.SendCommand(load.data(), static_cast<int>(load.size()));
  }
  Bytes bytes = command();
  launcher.SendCommand(bytes.data(), 14);
  reportCreation(jvm);
}

const std::string kVersion18 = std::to_string(0x10008);

}  // namespace

PROCESS_CASE(startNormally) {
  startBelowRoot({});
}

TEST(LauncherOptions, NormallyThereAreExactlyTheClassPathAndTheLibraryPath) {
  const InstallationTree tree;
  expectReport("startNormally",
               {kVersion18, "0", "-Djava.class.path=" + archiveOf(tree), libraryPathOption(tree)},
               tree, homeOptions(tree));
}

TEST(LauncherOptions, ADebugModeThatIsNotTrueChangesNothing) {
  const InstallationTree tree;
  CaseOptions options = homeOptions(tree);
  options.environment["FERROLINK_DEBUG_MODE"] = "on";
  expectReport("startNormally",
               {kVersion18, "0", "-Djava.class.path=" + archiveOf(tree), libraryPathOption(tree)},
               tree, options);
}

TEST(LauncherOptions, DebugModeAddsSixOptionsInThisOrder) {
  const InstallationTree tree;
  CaseOptions options = homeOptions(tree);
  options.environment["FERROLINK_DEBUG_MODE"] = "True";
  const std::string classPath = "-Djava.class.path=" + archiveOf(tree);
  const CaseResult result = expectReport(
      "startNormally",
      {kVersion18, "0", classPath, libraryPathOption(tree), "-Xmx2048m", "-Xms2048m", "-Xdebug",
       "-Xrunjdwp:transport=dt_socket,address=127.0.0.1:8988,server=y,suspend=y", "-verbose:jni",
       "-Xcheck:jni"},
      tree, options);
  EXPECT_EQ(result.out,
            "FERROLINK_DEBUG_MODE found: True\n"
            "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " +
                tree.root().string() +
                "\nJvm Launcher: Debug mode enabled. Listening on port 8988. Waiting for debugger "
                "to attach...\n"
                "Final classPath = [" +
                archiveOf(tree) + "]\nJVM option (full) = [" + classPath + "]\nFake JVM\n\n");
}

PROCESS_CASE(createFailsInDebugMode) {
  Launched launched;
  launched.jvm.script().createResult = JNI_ERR;
  launched.send(command());
}

TEST(LauncherOptions, DebugModePrintsTheClassPathBeforeTheJvmStarts) {
  const InstallationTree tree;
  CaseOptions options = fakeJvmOptions();
  options.environment["FERROLINK_DEBUG_MODE"] = "true";
  const CaseResult result = runCase("createFailsInDebugMode", tree, options);
  EXPECT_EQ(result.signal, SIGABRT);
  const std::string lines = "Final classPath = [" + archiveOf(tree) +
                            "]\nJVM option (full) = [-Djava.class.path=" + archiveOf(tree) + "]\n";
  ASSERT_GE(result.out.size(), lines.size());
  EXPECT_EQ(result.out.substr(result.out.size() - lines.size()), lines);
}

PROCESS_CASE(startWithArchives) {
  startBelowRoot({(caseRoot() / "z.jar").string(), (caseRoot() / "a.jar").string()});
}

TEST(LauncherOptions, RegisteredArchivesFollowTheOwnOneInTheOrderOfTheirRegistration) {
  const InstallationTree tree;
  touch(tree.root() / "z.jar");
  touch(tree.root() / "a.jar");
  const std::string root = tree.root().string();
  expectReport("startWithArchives",
               {kVersion18, "0",
                "-Djava.class.path=" + archiveOf(tree) + ":" + root + "/z.jar:" + root + "/a.jar",
                libraryPathOption(tree)},
               tree, homeOptions(tree));
}

PROCESS_CASE(startWithLibraryFile) {
  Launched launched;
  launched.send(command());
  report(launched.jvm.creations().front().options.back());
}

TEST(LauncherOptions, ARuntimePathThatNamesTheLibraryFileGoesIntoTheLibraryPathAsItIs) {
  const std::string path = FAKEJVM_PATH;
  expectReport("startWithLibraryFile",
               {"-Djava.library.path=" + path + "/lib:" + path + "/jre/lib"});
}

PROCESS_CASE(addWhileStarting) {
  Launched launched;
  const std::string directory = caseRoot() / "archives";
  onNewThreads(2, [&](int i) {
    report(i == 0 ? launched.send(loadLibraryCommand(directory)) : launched.send(command()));
  });
  const std::string classPath = launched.jvm.creations().front().options.front();
  const auto archives = std::count(classPath.begin(), classPath.end(), ':');
  if (archives != 0 && archives != 20) {
    report("only " + std::to_string(archives));
  }
}

TEST(LauncherOptions, ARegistrationDuringTheStartIsWhollyInTheClassPathOrNotAtAll) {
  const InstallationTree tree;
  std::filesystem::create_directories(tree.root() / "archives");
  for (int i = 0; i < 20; ++i) {
    touch(tree.root() / "archives" / (std::to_string(i) + ".jar"));
  }
  CaseResult result = runCase("addWhileStarting", tree, fakeJvmOptions());
  EXPECT_EQ(result.exitCode, 0) << result.err;
  std::sort(result.report.begin(), result.report.end());
  EXPECT_EQ(result.report, (Texts{"14", "17"}));
}

}  // namespace FerrolinkTest
