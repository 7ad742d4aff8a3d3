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

namespace LoaderProbe = Ferrolink::Tests::LoaderProbe;

using Ferrolink::Native::LibrariesFinder::LibrariesFinder;
using Ferrolink::Tests::CaseOptions;
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Ferrolink::Tests::Texts;
using Ferrolink::Tests::ThrownBy;

namespace {

CaseOptions WithArguments(const Texts& arguments) {
  CaseOptions options;
  options.arguments = arguments;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  return options;
}

std::string Directory(const InstallationTree& tree) {
  return tree.NativeDirectory().string() + "/";
}

const std::string& Argument(std::size_t index) {
  return Ferrolink::Tests::CaseArguments().at(index);
}

std::string UnknownDirectory(const std::string& reason) {
  return "Ferrolink Native Exception: Exception code 002. \nError: " + reason;
}

}  // namespace

// Replaces the process by itself under the name of the first argument, to run the case of the
// second.
PROCESS_CASE(underAnotherName) {
  Texts texts = {Argument(0), "--process-case", Argument(1)};
  std::vector<char*> argv;
  for (std::string& text : texts) {
    argv.push_back(text.data());
  }
  argv.push_back(nullptr);
  execv("/proc/self/exe", argv.data());
}

PROCESS_CASE(tellDirectories) {
  Report(LibrariesFinder::getThisLibraryPath());
  Report(LibrariesFinder::getPathToDir());
  Report(LibrariesFinder::getBinariesRootPath());
  Report(LibrariesFinder::getRuntimeLibraryPath(2));
}

TEST(LibrariesFinder, FindsItsDirectoryWhereTheLoaderSaysItsFileIs) {
  const InstallationTree tree;
  const std::string here = Directory(tree);
  EXPECT_EQ(RunCase("tellDirectories", tree).report,
            (Texts{here, here, here + "../../../../", here + "libFerrolinkJvmRuntimeNative.so"}));
}

TEST(LibrariesFinder, LeavesARelativeNameRelative) {
  const InstallationTree tree;
  const std::string here = "../X64/./";
  EXPECT_EQ(
      RunCase("underAnotherName", tree, WithArguments({here + "host", "tellDirectories"})).report,
      (Texts{here, here, here + "../../../../", here + "libFerrolinkJvmRuntimeNative.so"}));
}

TEST(LibrariesFinder, TakesANameWithoutSlashAsItsDirectory) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("underAnotherName", tree, WithArguments({"host", "tellDirectories"})).report,
            (Texts{"host/", "host/", "host/../../../../", "host/libFerrolinkJvmRuntimeNative.so"}));
}

PROCESS_CASE(askDirectoriesTwice) {
  LibrariesFinder::getThisLibraryPath();
  LibrariesFinder::getThisLibraryPath();
  Report(LoaderProbe::AddressLookups());
  LibrariesFinder::getBinariesRootPath();
  LibrariesFinder::getRuntimeLibraryPath(0);
  Report(LoaderProbe::AddressLookups());
  const std::string* first = &LibrariesFinder::getPathToDir();
  Report(LoaderProbe::AddressLookups());
  LoaderProbe::FailAddressLookups(true);
  Report(first == &LibrariesFinder::getPathToDir() ? "same" : "another");
  Report(LoaderProbe::AddressLookups());
}

TEST(LibrariesFinder, AsksTheLoaderAnewExceptForTheKeptDirectory) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("askDirectoriesTwice", tree).report, (Texts{"2", "4", "5", "same", "5"}));
}

PROCESS_CASE(tellCurrentDirectory) {
  Report(LibrariesFinder::getCurrentWorkingDirectory());
}

TEST(LibrariesFinder, TellsTheCurrentDirectoryWithSlashesOnly) {
  const InstallationTree tree;
  CaseOptions options;
  options.workingDirectory = tree.Root() / "a\\b" / "c";
  std::filesystem::create_directories(options.workingDirectory);
  EXPECT_EQ(RunCase("tellCurrentDirectory", tree, options).report,
            Texts{tree.Root().string() + "/a/b/c/"});
  options.workingDirectory = "/";
  EXPECT_EQ(RunCase("tellCurrentDirectory", tree, options).report, Texts{"//"});
}

TEST(LibrariesFinder, FixesTheNativeDirectory) {
  EXPECT_EQ(LibrariesFinder::getNativeDirectoryRelativePath(), "/Binaries/Native/Linux/X64/");
  EXPECT_EQ(&LibrariesFinder::getNativeDirectoryRelativePath(),
            &LibrariesFinder::getNativeDirectoryRelativePath());
}

PROCESS_CASE(tellRuntimePaths) {
  for (const int runtime : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 255, -1}) {
    Report(LibrariesFinder::getRuntimeLibraryPath(runtime));
  }
}

TEST(LibrariesFinder, PlacesEveryRuntimesLibraryNextToItself) {
  const InstallationTree tree;
  Texts expected;
  for (const char* name : {"Clr", "Go", "Jvm", "Netcore", "Perl", "Python", "Ruby", "Nodejs", "Cpp",
                           "Php", "Python2"}) {
    expected.push_back(Directory(tree) + "libFerrolink" + name + "RuntimeNative.so");
  }
  expected.insert(expected.end(), 3, Directory(tree) + "Unknown");
  EXPECT_EQ(RunCase("tellRuntimePaths", tree).report, expected);
}

namespace {

/// First argument: the loader's error text, "-" for none.
void LoseOwnFile() {
  LoaderProbe::FailAddressLookups(true);
  LoaderProbe::SetErrorText(Argument(0) == "-" ? nullptr : Argument(0).c_str());
}

}  // namespace

PROCESS_CASE(askLostDirectory) {
  LoseOwnFile();
  Report(ThrownBy([] { LibrariesFinder::getThisLibraryPath(); }));
  Report(ThrownBy([] { LibrariesFinder::getPathToDir(); }));
  Report(ThrownBy([] { LibrariesFinder::getPathToDir(); }));
  Report(ThrownBy([] { LibrariesFinder::getBinariesRootPath(); }));
  Report(ThrownBy([] { LibrariesFinder::getRuntimeLibraryPath(2); }));
  Report(ThrownBy([] { LibrariesFinder::loadUtilsLibrary(false); }));
}

TEST(LibrariesFinder, RaisesWhereTheLoaderDoesNotKnowItsFile) {
  const InstallationTree tree;
  const std::map<std::string, std::string> reasons = {{"no such object", "no such object"},
                                                      {"-", "unknown loader error"}};
  for (const auto& [text, reason] : reasons) {
    const CaseResult result = RunCase("askLostDirectory", tree, WithArguments({text}));
    EXPECT_EQ(result.report, Texts(6, UnknownDirectory(reason)));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
  }
}

TEST(LibrariesFinder, EchoesEachLossOfItsFileOnce) {
  const InstallationTree tree;
  CaseOptions options = WithArguments({"gone"});
  options.environment.erase("FERROLINK_LOGGING_LEVEL");
  const CaseResult result = RunCase("askLostDirectory", tree, options);
  EXPECT_EQ(result.report, Texts(6, UnknownDirectory("gone")));
  const std::string echo =
      "Exception code 002. \nError: gone" + std::string(Ferrolink::Tests::kSupportHint) + "\n";
  int echoes = 0;
  for (auto at = result.err.find(echo); at != std::string::npos;
       at = result.err.find(echo, at + 1)) {
    ++echoes;
  }
  EXPECT_EQ(echoes, 6) << result.err;
}

PROCESS_CASE(raiseWhileLost) {
  LoseOwnFile();
  Report(ThrownBy([] { throw FerrolinkNativeException("another error", "Unknown"); }));
}

TEST(LibrariesFinder, LetsOtherErrorsBeRaisedWhileItsFileIsUnknown) {
  const InstallationTree tree;
  CaseOptions options = WithArguments({"-"});
  options.environment.erase("FERROLINK_LOGGING_LEVEL");
  const CaseResult result = RunCase("raiseWhileLost", tree, options);
  EXPECT_EQ(result.report, Texts{"another error"});
  EXPECT_NE(result.err.find("\tanother error" + std::string(Ferrolink::Tests::kSupportHint) + "\n"),
            std::string::npos);
  EXPECT_EQ(result.err.find("Exception code 002"), std::string::npos) << result.err;
}

PROCESS_CASE(askLostDirectoryOnManyThreads) {
  LoseOwnFile();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { Report(ThrownBy([] { LibrariesFinder::getPathToDir(); })); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(LibrariesFinder, RaisesOnEveryThreadThatAsksForTheLostDirectory) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("askLostDirectoryOnManyThreads", tree, WithArguments({"-"})).report,
            Texts(8, UnknownDirectory("unknown loader error")));
}

PROCESS_CASE(findDirectoryAgain) {
  LoseOwnFile();
  Report(ThrownBy([] { LibrariesFinder::getPathToDir(); }));
  LoaderProbe::FailAddressLookups(false);
  Report(LibrariesFinder::getPathToDir());
  LoaderProbe::FailAddressLookups(true);
  Report(LibrariesFinder::getPathToDir());
}

TEST(LibrariesFinder, KeepsTheDirectoryOnlyOnceItIsKnown) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("findDirectoryAgain", tree, WithArguments({"gone"})).report,
            (Texts{UnknownDirectory("gone"), Directory(tree), Directory(tree)}));
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
    Report(each == found.front() ? "same" : "another");
    Report(*each);
  }
}

TEST(LibrariesFinder, KeepsOneDirectoryForAllThreads) {
  const InstallationTree tree;
  Texts expected;
  for (int i = 0; i < 8; ++i) {
    expected.insert(expected.end(), {"same", Directory(tree)});
  }
  EXPECT_EQ(RunCase("askDirectoryOnManyThreads", tree).report, expected);
}
