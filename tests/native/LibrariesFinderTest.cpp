#include "native/LibrariesFinder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

#include "native/FerrolinkNativeException.h"
#include "tests/native/FakeCompanions.h"
#include "tests/native/LoaderProbe.h"

namespace LoaderProbe = FerrolinkTest::LoaderProbe;

using Ferrolink::Native::LibrariesFinder::LibrariesFinder;
using FerrolinkTest::CaseOptions;
using FerrolinkTest::CaseResult;
using FerrolinkTest::InstallationTree;
using FerrolinkTest::report;
using FerrolinkTest::runCase;
using FerrolinkTest::Texts;
using FerrolinkTest::thrownBy;

namespace {

CaseOptions withArguments(const Texts& arguments) {
  CaseOptions options;
  options.arguments = arguments;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  return options;
}

std::string directory(const InstallationTree& tree) {
  return tree.nativeDirectory().string() + "/";
}

const std::string& argument(std::size_t index) {
  return FerrolinkTest::caseArguments().at(index);
}

std::string unknownDirectory(const std::string& reason) {
  return "Ferrolink Native Exception: Exception code 002. \nError: " + reason;
}

}  // namespace

// Replaces the process by itself under the name of the first argument, to run the case of the
// second.
PROCESS_CASE(underAnotherName) {
  Texts texts = {argument(0), "--process-case", argument(1)};
  std::vector<char*> argv;
  for (std::string& text : texts) {
    argv.push_back(text.data());
  }
  argv.push_back(nullptr);
  execv("/proc/self/exe", argv.data());
}

PROCESS_CASE(tellDirectories) {
  report(LibrariesFinder::getThisLibraryPath());
  report(LibrariesFinder::getPathToDir());
  report(LibrariesFinder::getBinariesRootPath());
  report(LibrariesFinder::getRuntimeLibraryPath(2));
}

TEST(LibrariesFinder, FindsItsDirectoryWhereTheLoaderSaysItsFileIs) {
  const InstallationTree tree;
  const std::string here = directory(tree);
  EXPECT_EQ(runCase("tellDirectories", tree).report,
            (Texts{here, here, here + "../../../../", here + "libFerrolinkJvmRuntimeNative.so"}));
}

TEST(LibrariesFinder, LeavesARelativeNameRelative) {
  const InstallationTree tree;
  const std::string here = "../X64/./";
  EXPECT_EQ(
      runCase("underAnotherName", tree, withArguments({here + "host", "tellDirectories"})).report,
      (Texts{here, here, here + "../../../../", here + "libFerrolinkJvmRuntimeNative.so"}));
}

TEST(LibrariesFinder, TakesANameWithoutSlashAsItsDirectory) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("underAnotherName", tree, withArguments({"host", "tellDirectories"})).report,
            (Texts{"host/", "host/", "host/../../../../", "host/libFerrolinkJvmRuntimeNative.so"}));
}

PROCESS_CASE(askDirectoriesTwice) {
  LibrariesFinder::getThisLibraryPath();
  LibrariesFinder::getThisLibraryPath();
  report(LoaderProbe::addressLookups());
  LibrariesFinder::getBinariesRootPath();
  LibrariesFinder::getRuntimeLibraryPath(0);
  report(LoaderProbe::addressLookups());
  const std::string* first = &LibrariesFinder::getPathToDir();
  report(LoaderProbe::addressLookups());
  LoaderProbe::failAddressLookups(true);
  report(first == &LibrariesFinder::getPathToDir() ? "same" : "another");
  report(LoaderProbe::addressLookups());
}

TEST(LibrariesFinder, AsksTheLoaderAnewExceptForTheKeptDirectory) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("askDirectoriesTwice", tree).report, (Texts{"2", "4", "5", "same", "5"}));
}

PROCESS_CASE(tellCurrentDirectory) {
  report(LibrariesFinder::getCurrentWorkingDirectory());
}

TEST(LibrariesFinder, TellsTheCurrentDirectoryWithSlashesOnly) {
  const InstallationTree tree;
  CaseOptions options;
  options.workingDirectory = tree.root() / "a\\b" / "c";
  std::filesystem::create_directories(options.workingDirectory);
  EXPECT_EQ(runCase("tellCurrentDirectory", tree, options).report,
            Texts{tree.root().string() + "/a/b/c/"});
  options.workingDirectory = "/";
  EXPECT_EQ(runCase("tellCurrentDirectory", tree, options).report, Texts{"//"});
}

TEST(LibrariesFinder, FixesTheNativeDirectory) {
  EXPECT_EQ(LibrariesFinder::getNativeDirectoryRelativePath(), "/Binaries/Native/Linux/X64/");
  EXPECT_EQ(&LibrariesFinder::getNativeDirectoryRelativePath(),
            &LibrariesFinder::getNativeDirectoryRelativePath());
}

PROCESS_CASE(tellRuntimePaths) {
  for (const int runtime : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 255, -1}) {
    report(LibrariesFinder::getRuntimeLibraryPath(runtime));
  }
}

TEST(LibrariesFinder, PlacesEveryRuntimesLibraryNextToItself) {
  const InstallationTree tree;
  Texts expected;
  for (const char* name : {"Clr", "Go", "Jvm", "Netcore", "Perl", "Python", "Ruby", "Nodejs", "Cpp",
                           "Php", "Python2"}) {
    expected.push_back(directory(tree) + "libFerrolink" + name + "RuntimeNative.so");
  }
  expected.insert(expected.end(), 3, directory(tree) + "Unknown");
  EXPECT_EQ(runCase("tellRuntimePaths", tree).report, expected);
}

namespace {

/// First argument: the loader's error text, "-" for none.
void loseOwnFile() {
  LoaderProbe::failAddressLookups(true);
  LoaderProbe::setErrorText(argument(0) == "-" ? nullptr : argument(0).c_str());
}

}  // namespace

PROCESS_CASE(askLostDirectory) {
  loseOwnFile();
  report(thrownBy([] { LibrariesFinder::getThisLibraryPath(); }));
  report(thrownBy([] { LibrariesFinder::getPathToDir(); }));
  report(thrownBy([] { LibrariesFinder::getPathToDir(); }));
  report(thrownBy([] { LibrariesFinder::getBinariesRootPath(); }));
  report(thrownBy([] { LibrariesFinder::getRuntimeLibraryPath(2); }));
  report(thrownBy([] { LibrariesFinder::loadUtilsLibrary(false); }));
}

TEST(LibrariesFinder, RaisesWhereTheLoaderDoesNotKnowItsFile) {
  const InstallationTree tree;
  const std::map<std::string, std::string> reasons = {{"no such object", "no such object"},
                                                      {"-", "unknown loader error"}};
  for (const auto& [text, reason] : reasons) {
    const CaseResult result = runCase("askLostDirectory", tree, withArguments({text}));
    EXPECT_EQ(result.report, Texts(6, unknownDirectory(reason)));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
  }
}

TEST(LibrariesFinder, EchoesEachLossOfItsFileOnce) {
  const InstallationTree tree;
  CaseOptions options = withArguments({"gone"});
  options.environment.erase("FERROLINK_LOGGING_LEVEL");
  const CaseResult result = runCase("askLostDirectory", tree, options);
  EXPECT_EQ(result.report, Texts(6, unknownDirectory("gone")));
  const std::string echo =
      "Exception code 002. \nError: gone" + std::string(FerrolinkTest::kSupportHint) + "\n";
  int echoes = 0;
  for (auto at = result.err.find(echo); at != std::string::npos;
       at = result.err.find(echo, at + 1)) {
    ++echoes;
  }
  EXPECT_EQ(echoes, 6) << result.err;
}

PROCESS_CASE(raiseWhileLost) {
  loseOwnFile();
  report(thrownBy([] { throw FerrolinkNativeException("another error", "Unknown"); }));
}

TEST(LibrariesFinder, LetsOtherErrorsBeRaisedWhileItsFileIsUnknown) {
  const InstallationTree tree;
  CaseOptions options = withArguments({"-"});
  options.environment.erase("FERROLINK_LOGGING_LEVEL");
  const CaseResult result = runCase("raiseWhileLost", tree, options);
  EXPECT_EQ(result.report, Texts{"another error"});
  EXPECT_NE(result.err.find("\tanother error" + std::string(FerrolinkTest::kSupportHint) + "\n"),
            std::string::npos);
  EXPECT_EQ(result.err.find("Exception code 002"), std::string::npos) << result.err;
}

PROCESS_CASE(askLostDirectoryOnManyThreads) {
  loseOwnFile();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { report(thrownBy([] { LibrariesFinder::getPathToDir(); })); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(LibrariesFinder, RaisesOnEveryThreadThatAsksForTheLostDirectory) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("askLostDirectoryOnManyThreads", tree, withArguments({"-"})).report,
            Texts(8, unknownDirectory("unknown loader error")));
}

PROCESS_CASE(findDirectoryAgain) {
  loseOwnFile();
  report(thrownBy([] { LibrariesFinder::getPathToDir(); }));
  LoaderProbe::failAddressLookups(false);
  report(LibrariesFinder::getPathToDir());
  LoaderProbe::failAddressLookups(true);
  report(LibrariesFinder::getPathToDir());
}

TEST(LibrariesFinder, KeepsTheDirectoryOnlyOnceItIsKnown) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("findDirectoryAgain", tree, withArguments({"gone"})).report,
            (Texts{unknownDirectory("gone"), directory(tree), directory(tree)}));
}

PROCESS_CASE(askDirectoryOnManyThreads) {
  std::vector<std::thread> threads;
  std::vector<const std::string*> found(8);
  for (const std::string*& each : found) {
    threads.emplace_back([&each] { each = &LibrariesFinder::getPathToDir(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const std::string* each : found) {
    report(each == found.front() ? "same" : "another");
    report(*each);
  }
}

TEST(LibrariesFinder, KeepsOneDirectoryForAllThreads) {
  const InstallationTree tree;
  Texts expected;
  for (int i = 0; i < 8; ++i) {
    expected.insert(expected.end(), {"same", directory(tree)});
  }
  EXPECT_EQ(runCase("askDirectoryOnManyThreads", tree).report, expected);
}
