#include "jvm/ClassPathLibraries.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/jvm/LauncherParts.h"

namespace fs = std::filesystem;

namespace FerrolinkTest {
namespace {

std::string touch(const fs::path& file) {
  std::ofstream(file) << "archive";
  return file.string();
}

std::string load(ClassPathLibraries& libraries, const Bytes& message) {
  return thrownBy([&] { libraries.load(message.data(), static_cast<int>(message.size())); });
}

void reportOptions(ClassPathLibraries& libraries) {
  const JavaVMInitArgs& arguments = *libraries.arguments();
  report(arguments.version);
  report(arguments.ignoreUnrecognized);
  for (jint i = 0; i < arguments.nOptions; ++i) {
    report(arguments.options[i].optionString);
    report(arguments.options[i].extraInfo != nullptr);
  }
}

std::string archiveOf(const InstallationTree& tree) {
  return tree.nativeDirectory().string() + "/../../../../Binaries/Jvm/FerrolinkJvmRuntime.jar";
}

const std::string kVersion18 = std::to_string(0x10008);

}  // namespace

PROCESS_CASE(loadsLibraries) {
  const PartsFixture parts;
  ClassPathLibraries libraries(parts.errors, false);
  const std::string archive = touch(caseRoot() / "a.jar");
  report(load(libraries, loadLibraryCommand(archive)));
  report(load(libraries, loadLibraryCommand(archive)));
  report(load(libraries, loadLibraryCommand("missing.jar")));
  report(load(libraries, command(1, 24)));
  report(thrownBy([&] { libraries.add("missing.jar"); }));
  reportAll(libraries.list());
}

TEST(ClassPathLibraries, ALibraryIsListedOnceAndWhatCannotBeLoadedIsNotListed) {
  const InstallationTree tree;
  expectReport(
      "loadsLibraries",
      {"(nothing thrown)", "(nothing thrown)", raised("004. \nCannot find file: missing.jar\n"),
       raised("004. \nLoadLibrary message too short\n"),
       "JVM Launcher: Exception code 004. \nCannot find file: missing.jar\n",
       tree.root().string() + "/a.jar"},
      tree, fakeJvmOptions());
}

PROCESS_CASE(addsADirectory) {
  const PartsFixture parts;
  ClassPathLibraries libraries(parts.errors, false);
  const fs::path directory = caseRoot() / "archives";
  fs::create_directories(directory / "below");
  touch(directory / "a.jar");
  touch(directory / "b.JAR");
  touch(directory / "c.txt");
  touch(directory / "below/d.jar");
  libraries.add(directory.string());
  std::vector<std::string> listed = libraries.list();
  std::sort(listed.begin(), listed.end());
  reportAll(listed);
}

TEST(ClassPathLibraries, OfADirectoryItsTopLevelArchivesAreListed) {
  const InstallationTree tree;
  const std::string directory = tree.root().string() + "/archives/";
  expectReport("addsADirectory", {directory + "a.jar", directory + "b.JAR"}, tree,
               fakeJvmOptions());
}

PROCESS_CASE(buildsOptions) {
  const PartsFixture parts;
  ClassPathLibraries libraries(parts.errors, caseArguments().front() == "debug");
  libraries.add(touch(caseRoot() / "z.jar"));
  libraries.add(touch(caseRoot() / "a.jar"));
  libraries.buildOptions("/jdk");
  reportOptions(libraries);
  libraries.releaseOptions();
  report(libraries.arguments()->options == nullptr);
}

TEST(ClassPathLibraries, TheClassPathNamesTheArchivesInTheOrderInWhichTheyWereAdded) {
  const InstallationTree tree;
  CaseOptions options = fakeJvmOptions();
  options.arguments = {"normal"};
  const std::string root = tree.root().string();
  const CaseResult result = expectReport(
      "buildsOptions",
      {kVersion18, "0",
       "-Djava.class.path=" + archiveOf(tree) + ":" + root + "/z.jar:" + root + "/a.jar", "0",
       "-Djava.library.path=/jdk/lib:/jdk/jre/lib", "0", "1"},
      tree, options);
  EXPECT_EQ(result.out, "");
}

TEST(ClassPathLibraries, InDebugModeThereAreSixOptionsMoreAndTheClassPathIsPrinted) {
  const InstallationTree tree;
  CaseOptions options = fakeJvmOptions();
  options.arguments = {"debug"};
  const std::string root = tree.root().string();
  const std::string classPath = archiveOf(tree) + ":" + root + "/z.jar:" + root + "/a.jar";
  const CaseResult result = expectReport(
      "buildsOptions",
      {kVersion18, "0", "-Djava.class.path=" + classPath, "0",
       "-Djava.library.path=/jdk/lib:/jdk/jre/lib", "0", "-Xmx2048m", "0", "-Xms2048m", "0",
       "-Xdebug", "0", "-Xrunjdwp:transport=dt_socket,address=127.0.0.1:8988,server=y,suspend=y",
       "0", "-verbose:jni", "0", "-Xcheck:jni", "0", "1"},
      tree, options);
  EXPECT_EQ(result.out, "Final classPath = [" + classPath +
                            "]\nJVM option (full) = [-Djava.class.path=" + classPath + "]\n");
}

}  // namespace FerrolinkTest
