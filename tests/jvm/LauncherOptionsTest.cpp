// The class path and the options that a new JVM is given.
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

std::string ArchiveOf(const InstallationTree& tree) {
  return tree.NativeDirectory().string() + "/../../../../Binaries/Jvm/FerrolinkJvmRuntime.jar";
}

// The JVM's home is the tree's root.
CaseOptions HomeOptions(const InstallationTree& tree) {
  std::filesystem::create_directories(tree.Root() / "lib/server");
  std::filesystem::copy_file(FAKEJVM_PATH, tree.Root() / "lib/server/libjvm.so");
  CaseOptions options = FakeJvmOptions();
  options.environment["FERROLINK_JVM_RUNTIME_PATH"] = tree.Root().string();
  return options;
}

std::string LibraryPathOption(const InstallationTree& tree) {
  return "-Djava.library.path=" + tree.Root().string() + "/lib:" + tree.Root().string() +
         "/jre/lib";
}

void Touch(const std::filesystem::path& file) {
  std::ofstream(file) << "archive";
}

void ReportCreation(FakeJvmClient& jvm) {
  for (const FakeJvm::Creation& creation : jvm.Creations()) {
    Report(creation.version);
    Report(creation.ignoreUnrecognized || creation.extraInfo);
    ReportAll(creation.options);
  }
}

// A started launcher whose JVM library lies below the tree's root.
void StartBelowRoot(const std::vector<std::string>& archives) {
  FakeJvmClient jvm((CaseRoot() / "lib/server/libjvm.so").string());
  JvmLauncher launcher(RuntimeOperationMode::CalledRuntime);
  launcher.Initialize(0);
  for (const std::string& archive : archives) {
    Bytes load = LoadLibraryCommand(archive);
    launcher.SendCommand(load.data(), static_cast<int>(load.size()));
  }
  Bytes bytes = Command();
  launcher.SendCommand(bytes.data(), 14);
  ReportCreation(jvm);
}

const std::string kVersion18 = std::to_string(0x10008);

}  // namespace

PROCESS_CASE(startNormally) {
  StartBelowRoot({});
}

TEST(LauncherOptions, NormallyThereAreExactlyTheClassPathAndTheLibraryPath) {
  const InstallationTree tree;
  ExpectReport("startNormally",
               {kVersion18, "0", "-Djava.class.path=" + ArchiveOf(tree), LibraryPathOption(tree)},
               tree, HomeOptions(tree));
}

TEST(LauncherOptions, ADebugModeThatIsNotTrueChangesNothing) {
  const InstallationTree tree;
  CaseOptions options = HomeOptions(tree);
  options.environment["FERROLINK_DEBUG_MODE"] = "on";
  ExpectReport("startNormally",
               {kVersion18, "0", "-Djava.class.path=" + ArchiveOf(tree), LibraryPathOption(tree)},
               tree, options);
}

TEST(LauncherOptions, DebugModeAddsSixOptionsInThisOrder) {
  const InstallationTree tree;
  CaseOptions options = HomeOptions(tree);
  options.environment["FERROLINK_DEBUG_MODE"] = "True";
  const std::string classPath = "-Djava.class.path=" + ArchiveOf(tree);
  const CaseResult result = ExpectReport(
      "startNormally",
      {kVersion18, "0", classPath, LibraryPathOption(tree), "-Xmx2048m", "-Xms2048m", "-Xdebug",
       "-Xrunjdwp:transport=dt_socket,address=127.0.0.1:8988,server=y,suspend=y", "-verbose:jni",
       "-Xcheck:jni"},
      tree, options);
  EXPECT_EQ(result.out,
            "FERROLINK_DEBUG_MODE found: True\n"
            "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " +
                tree.Root().string() +
                "\nJvm Launcher: Debug mode enabled. Listening on port 8988. Waiting for debugger "
                "to attach...\n"
                "Final classPath = [" +
                ArchiveOf(tree) + "]\nJVM option (full) = [" + classPath + "]\nFake JVM\n\n");
}

PROCESS_CASE(createFailsInDebugMode) {
  Launched launched;
  launched.jvm.Script().createResult = JNI_ERR;
  launched.Send(Command());
}

TEST(LauncherOptions, DebugModePrintsTheClassPathBeforeTheJvmStarts) {
  const InstallationTree tree;
  CaseOptions options = FakeJvmOptions();
  options.environment["FERROLINK_DEBUG_MODE"] = "true";
  const CaseResult result = RunCase("createFailsInDebugMode", tree, options);
  EXPECT_EQ(result.signal, SIGABRT);
  const std::string lines = "Final classPath = [" + ArchiveOf(tree) +
                            "]\nJVM option (full) = [-Djava.class.path=" + ArchiveOf(tree) + "]\n";
  ASSERT_GE(result.out.size(), lines.size());
  EXPECT_EQ(result.out.substr(result.out.size() - lines.size()), lines);
}

PROCESS_CASE(startWithArchives) {
  StartBelowRoot({(CaseRoot() / "z.jar").string(), (CaseRoot() / "a.jar").string()});
}

TEST(LauncherOptions, RegisteredArchivesFollowTheOwnOneInTheOrderOfTheirRegistration) {
  const InstallationTree tree;
  Touch(tree.Root() / "z.jar");
  Touch(tree.Root() / "a.jar");
  const std::string root = tree.Root().string();
  ExpectReport("startWithArchives",
               {kVersion18, "0",
                "-Djava.class.path=" + ArchiveOf(tree) + ":" + root + "/z.jar:" + root + "/a.jar",
                LibraryPathOption(tree)},
               tree, HomeOptions(tree));
}

PROCESS_CASE(startWithLibraryFile) {
  Launched launched;
  launched.Send(Command());
  Report(launched.jvm.Creations().front().options.back());
}

TEST(LauncherOptions, ARuntimePathThatNamesTheLibraryFileGoesIntoTheLibraryPathAsItIs) {
  const std::string path = FAKEJVM_PATH;
  ExpectReport("startWithLibraryFile",
               {"-Djava.library.path=" + path + "/lib:" + path + "/jre/lib"});
}

PROCESS_CASE(addWhileStarting) {
  Launched launched;
  const std::string directory = CaseRoot() / "archives";
  OnNewThreads(2, [&](int i) {
    Report(i == 0 ? launched.Send(LoadLibraryCommand(directory)) : launched.Send(Command()));
  });
  const std::string classPath = launched.jvm.Creations().front().options.front();
  const auto archives = std::count(classPath.begin(), classPath.end(), ':');
  if (archives != 0 && archives != 20) {
    Report("only " + std::to_string(archives));
  }
}

TEST(LauncherOptions, ARegistrationDuringTheStartIsWhollyInTheClassPathOrNotAtAll) {
  const InstallationTree tree;
  std::filesystem::create_directories(tree.Root() / "archives");
  for (int i = 0; i < 20; ++i) {
    Touch(tree.Root() / "archives" / (std::to_string(i) + ".jar"));
  }
  CaseResult result = RunCase("addWhileStarting", tree, FakeJvmOptions());
  EXPECT_EQ(result.exitCode, 0) << result.err;
  std::sort(result.report.begin(), result.report.end());
  EXPECT_EQ(result.report, (Texts{"14", "17"}));
}

}  // namespace Ferrolink::Tests
