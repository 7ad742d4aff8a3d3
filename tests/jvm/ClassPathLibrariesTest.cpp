#include "jvm/ClassPathLibraries.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/jvm/LauncherParts.h"

namespace fs = std::filesystem;

namespace Ferrolink::Tests {
namespace {

std::string Touch(const fs::path& file) {
  std::ofstream(file) << "archive";
  return file.string();
}

std::string Load(ClassPathLibraries& libraries, const Bytes& message) {
  return ThrownBy([&] { libraries.Load(message.data(), static_cast<int>(message.size())); });
}

void ReportOptions(ClassPathLibraries& libraries) {
  const JavaVMInitArgs& arguments = *libraries.Arguments();
  Report(arguments.version);
  Report(arguments.ignoreUnrecognized);
  for (jint i = 0; i < arguments.nOptions; ++i) {
    Report(arguments.options[i].optionString);
    Report(arguments.options[i].extraInfo != nullptr);
  }
}

std::string ArchiveOf(const InstallationTree& tree) {
  return tree.NativeDirectory().string() + "/../../../../Binaries/Jvm/FerrolinkJvmRuntime.jar";
}

const std::string kVersion18 = std::to_string(0x10008);

}  // namespace

PROCESS_CASE(loadsLibraries) {
  const PartsFixture parts;
  ClassPathLibraries libraries(parts.errors, false);
  const std::string archive = Touch(CaseRoot() / "a.jar");
  Report(Load(libraries, LoadLibraryCommand(archive)));
  Report(Load(libraries, LoadLibraryCommand(archive)));
  Report(Load(libraries, LoadLibraryCommand("missing.jar")));
  Report(Load(libraries, Command(1, 24)));
  Report(ThrownBy([&] { libraries.Add("missing.jar"); }));
  ReportAll(libraries.List());
}

TEST(ClassPathLibraries, ALibraryIsListedOnceAndWhatCannotBeLoadedIsNotListed) {
  const InstallationTree tree;
  ExpectReport(
      "loadsLibraries",
      {"(nothing thrown)", "(nothing thrown)", Raised("004. \nCannot find file: missing.jar\n"),
       Raised("004. \nLoadLibrary message too short\n"),
       "JVM Launcher: Exception code 004. \nCannot find file: missing.jar\n",
       tree.Root().string() + "/a.jar"},
      tree, FakeJvmOptions());
}

PROCESS_CASE(addsADirectory) {
  const PartsFixture parts;
  ClassPathLibraries libraries(parts.errors, false);
  const fs::path directory = CaseRoot() / "archives";
  fs::create_directories(directory / "below");
  Touch(directory / "a.jar");
  Touch(directory / "b.JAR");
  Touch(directory / "c.txt");
  Touch(directory / "below/d.jar");
  libraries.Add(directory.string());
  std::vector<std::string> listed = libraries.List();
  std::sort(listed.begin(), listed.end());
  ReportAll(listed);
}

TEST(ClassPathLibraries, OfADirectoryItsTopLevelArchivesAreListed) {
  const InstallationTree tree;
  const std::string directory = tree.Root().string() + "/archives/";
  ExpectReport("addsADirectory", {directory + "a.jar", directory + "b.JAR"}, tree,
               FakeJvmOptions());
}

PROCESS_CASE(buildsOptions) {
  const PartsFixture parts;
  ClassPathLibraries libraries(parts.errors, CaseArguments().front() == "debug");
  libraries.Add(Touch(CaseRoot() / "z.jar"));
  libraries.Add(Touch(CaseRoot() / "a.jar"));
  libraries.BuildOptions("/jdk");
  ReportOptions(libraries);
  libraries.ReleaseOptions();
  Report(libraries.Arguments()->options == nullptr);
}

TEST(ClassPathLibraries, TheClassPathNamesTheArchivesInTheOrderInWhichTheyWereAdded) {
  const InstallationTree tree;
  CaseOptions options = FakeJvmOptions();
  options.arguments = {"normal"};
  const std::string root = tree.Root().string();
  const CaseResult result = ExpectReport(
      "buildsOptions",
      {kVersion18, "0",
       "-Djava.class.path=" + ArchiveOf(tree) + ":" + root + "/z.jar:" + root + "/a.jar", "0",
       "-Djava.library.path=/jdk/lib:/jdk/jre/lib", "0", "1"},
      tree, options);
  EXPECT_EQ(result.out, "");
}

TEST(ClassPathLibraries, InDebugModeThereAreSixOptionsMoreAndTheClassPathIsPrinted) {
  const InstallationTree tree;
  CaseOptions options = FakeJvmOptions();
  options.arguments = {"debug"};
  const std::string root = tree.Root().string();
  const std::string classPath = ArchiveOf(tree) + ":" + root + "/z.jar:" + root + "/a.jar";
  const CaseResult result = ExpectReport(
      "buildsOptions",
      {kVersion18, "0", "-Djava.class.path=" + classPath, "0",
       "-Djava.library.path=/jdk/lib:/jdk/jre/lib", "0", "-Xmx2048m", "0", "-Xms2048m", "0",
       "-Xdebug", "0", "-Xrunjdwp:transport=dt_socket,address=127.0.0.1:8988,server=y,suspend=y",
       "0", "-verbose:jni", "0", "-Xcheck:jni", "0", "1"},
      tree, options);
  EXPECT_EQ(result.out, "Final classPath = [" + classPath +
                            "]\nJVM option (full) = [-Djava.class.path=" + classPath + "]\n");
}

}  // namespace Ferrolink::Tests
