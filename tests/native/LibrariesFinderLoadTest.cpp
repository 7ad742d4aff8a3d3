// The finder's loading operations: which file is asked for how, and what becomes of a failure.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "native/LibrariesFinder.h"
#include "native/Loader.h"
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

static_assert(RTLD_NOW == 2 && RTLD_LOCAL == 0);
static_assert(Ferrolink::Native::Loader::kBindNow == 2);
#if defined(FERROLINK_SANITIZED)
static_assert(Ferrolink::Native::Loader::kBindDeep == 2);
#else
static_assert(Ferrolink::Native::Loader::kBindDeep == 10);
#endif

namespace {

using Load = void*(std::string, bool, bool);
using LoadCompanion = void*(bool);

const std::map<std::string, Load*> kLoads = {
    {"loadLibrary", LibrariesFinder::loadLibrary},
    {"loadLibraryDeepBind", LibrariesFinder::loadLibraryDeepBind},
};

/// A loader of one companion: its operation, the companion's file, whether failures are printed.
struct Companion {
  LoadCompanion* load;
  std::string file;
  bool prints;
};

const std::map<std::string, Companion> kCompanions = {
    {"utils", {LibrariesFinder::loadUtilsLibrary, "libUtils.so", false}},
    {"configs", {LibrariesFinder::loadConfigsLibrary, "libConfigs.so", false}},
    {"tcp", {LibrariesFinder::loadTcpClientLibrary, "libFerrolinkTcpClient.so", true}},
    {"tls", {LibrariesFinder::loadTcpTlsClientLibrary, "libFerrolinkTcpTlsClient.so", true}},
};

constexpr const char* kTlsFile = "libFerrolinkTcpTlsClient.so";

CaseOptions withArguments(const Texts& arguments) {
  CaseOptions options;
  options.arguments = arguments;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  return options;
}

const std::string& argument(std::size_t index) {
  return FerrolinkTest::caseArguments().at(index);
}

std::string cannotLoad(const std::string& path, const std::string& reason) {
  return "Ferrolink Native Exception: Exception code 001. \nCannot load: " + path +
         ". \nError: " + reason;
}

std::string placed(const InstallationTree& tree, const std::string& file) {
  return tree.nativeDirectory().string() + "/" + file;
}

void addBrokenLibrary(const std::string& path) {
  std::ofstream(path) << "not a library";
}

void reportOpenings() {
  for (const std::string& opening : LoaderProbe::openings()) {
    report(opening);
  }
}

const char* words(const void* handle) {
  return handle != nullptr ? "opened" : "null";
}

}  // namespace

// Arguments: the operation, the path, the loader's error text where it is not the loader's own.
PROCESS_CASE(loadEveryWay) {
  Load* load = kLoads.at(argument(0));
  if (FerrolinkTest::caseArguments().size() > 2) {
    LoaderProbe::setErrorText(argument(2) == "-" ? nullptr : argument(2).c_str());
  }
  report(thrownBy([&] { report(words(load(argument(1), true, true))); }));
  report(words(load(argument(1), false, false)));
  report(words(load(argument(1), false, true)));
  report(static_cast<long>(LoaderProbe::openings().size()));
}

TEST(LoadLibrary, DisposesOfAMissingFileAsAskedWithoutCallingTheLoader) {
  const InstallationTree tree;
  for (const auto& [name, load] : kLoads) {
    for (const std::string& path : {placed(tree, "libMissing.so"), std::string()}) {
      const CaseResult result =
          runCase("loadEveryWay", tree, withArguments({name, path, "not to be asked"}));
      const std::string message = cannotLoad(path, "File not found.");
      // libConfigs.so and libUtils.so are not there either: their absence calls no loader.
      EXPECT_EQ(result.report, (Texts{message, "null", "null", "0"}));
      EXPECT_EQ(result.err, message + "\n");
      EXPECT_EQ(result.out, "");
    }
  }
}

TEST(LoadLibrary, PassesOnWhatTheLoaderSays) {
  const InstallationTree tree;
  const std::string path = placed(tree, "libBroken.so");
  addBrokenLibrary(path);
  for (const auto& [name, load] : kLoads) {
    const CaseResult real = runCase("loadEveryWay", tree, withArguments({name, path}));
    const std::string message = cannotLoad(path, path + ": file too short");
    EXPECT_EQ(real.report, (Texts{message, "null", "null", "3"}));
    EXPECT_EQ(real.err, message + "\n");
    const CaseResult madeUp =
        runCase("loadEveryWay", tree, withArguments({name, path, "no, thank you"}));
    EXPECT_EQ(madeUp.report, (Texts{cannotLoad(path, "no, thank you"), "null", "null", "3"}));
    EXPECT_EQ(madeUp.err, cannotLoad(path, "no, thank you") + "\n");
  }
}

TEST(LoadLibrary, HasATextWhereTheLoaderHasNone) {
  const InstallationTree tree;
  const std::string path = placed(tree, "libBroken.so");
  addBrokenLibrary(path);
  const CaseResult result =
      runCase("loadEveryWay", tree, withArguments({"loadLibrary", path, "-"}));
  EXPECT_EQ(result.report.at(0), cannotLoad(path, "unknown loader error"));
  EXPECT_EQ(result.err, cannotLoad(path, "unknown loader error") + "\n");
}

PROCESS_CASE(loadBothWays) {
  report(words(LibrariesFinder::loadLibrary(argument(0), true, true)));
  report(words(LibrariesFinder::loadLibraryDeepBind(argument(0), true, true)));
  reportOpenings();
}

TEST(LoadLibrary, BindsAtOnceAndDeeplyWhereAsked) {
  const InstallationTree tree;
  const std::string path = placed(tree, "libAny.so");
  tree.addLibrary(FAKEUTILS_PATH, "libAny.so");
  const CaseResult result = runCase("loadBothWays", tree, withArguments({path}));
#if defined(FERROLINK_SANITIZED)
  const std::string deep = " 2";
#else
  const std::string deep = " 10";
#endif
  EXPECT_EQ(result.report, (Texts{"opened", "opened", path + " 2", path + deep}));
  EXPECT_EQ(result.err, "");
}

PROCESS_CASE(loadMissingCompanion) {
  LoadCompanion* load = kCompanions.at(argument(0)).load;
  report(words(load(false)));
}

PROCESS_CASE(demandMissingCompanion) {
  LoadCompanion* load = kCompanions.at(argument(0)).load;
  report(thrownBy([&] { load(true); }));
  reportOpenings();
}

TEST(LoadCompanion, PrintsTheAbsenceOfTcpClientsAlone) {
  const InstallationTree tree;
  for (const auto& [name, companion] : kCompanions) {
    const CaseResult result = runCase("loadMissingCompanion", tree, withArguments({name}));
    EXPECT_EQ(result.report, Texts{"null"});
    std::string printed = cannotLoad(placed(tree, companion.file), "File not found.") + "\n";
    if (name == "tls") {
      printed += cannotLoad(placed(tree, "/openssl3/" + companion.file), "File not found.") + "\n";
    }
    EXPECT_EQ(result.err, companion.prints ? printed : "");
  }
}

TEST(LoadCompanion, RaisesTheAbsenceOfWhatIsDemanded) {
  const InstallationTree tree;
  for (const auto& [name, companion] : kCompanions) {
    const CaseResult result = runCase("demandMissingCompanion", tree, withArguments({name}));
    EXPECT_EQ(result.report, Texts{cannotLoad(placed(tree, companion.file), "File not found.")});
    EXPECT_EQ(result.err, "");
  }
}

// Arguments: the companion, the library to put in its place.
PROCESS_CASE(companionAppears) {
  const Companion& companion = kCompanions.at(argument(0));
  report(words(companion.load(false)));
  FerrolinkTest::addLibraryNow(argument(1), companion.file);
  const void* first = companion.load(false);
  const void* second = companion.load(true);
  report(words(first));
  report(first == second ? "same" : "another");
  std::filesystem::remove(FerrolinkTest::caseNativeDirectory() / companion.file);
  report(first == companion.load(true) ? "same" : "another");
  reportOpenings();
}

TEST(LoadCompanion, TriesAgainAfterAFailureAndOpensOnce) {
  for (const auto& [name, companion] : kCompanions) {
    const InstallationTree tree;
    const CaseResult result =
        runCase("companionAppears", tree, withArguments({name, FAKEUTILS_PATH}));
    EXPECT_EQ(result.report,
              (Texts{"null", "opened", "same", "same", placed(tree, companion.file) + " 2"}));
  }
}

PROCESS_CASE(companionIsRepaired) {
  const Companion& companion = kCompanions.at(argument(0));
  report(words(companion.load(false)));
  std::filesystem::remove(FerrolinkTest::caseNativeDirectory() / companion.file);
  FerrolinkTest::addLibraryNow(argument(1), companion.file);
  report(words(companion.load(false)));
}

TEST(LoadCompanion, TriesAgainAfterTheLoaderRefused) {
  for (const auto& [name, companion] : kCompanions) {
    const InstallationTree tree;
    addBrokenLibrary(placed(tree, companion.file));
    EXPECT_EQ(runCase("companionIsRepaired", tree, withArguments({name, FAKEUTILS_PATH})).report,
              (Texts{"null", "opened"}));
  }
}

namespace {

void addFallbackTls(const InstallationTree& tree) {
  std::filesystem::create_directory(tree.nativeDirectory() / "openssl3");
  tree.addLibrary(FAKEUTILS_PATH, "openssl3/" + std::string(kTlsFile));
}

}  // namespace

PROCESS_CASE(loadTlsTwice) {
  const void* first = LibrariesFinder::loadTcpTlsClientLibrary(false);
  report(words(first));
  report(first == LibrariesFinder::loadTcpTlsClientLibrary(true) ? "same" : "another");
  reportOpenings();
}

TEST(LoadTlsClient, FallsBackToTheSubdirectoryByADoubledSlash) {
  const InstallationTree tree;
  addFallbackTls(tree);
  const CaseResult result = runCase("loadTlsTwice", tree, withArguments({}));
  EXPECT_EQ(
      result.report,
      (Texts{"opened", "same", tree.nativeDirectory().string() + "//openssl3/" + kTlsFile + " 2"}));
  EXPECT_EQ(result.err, cannotLoad(placed(tree, kTlsFile), "File not found.") + "\n");
}

TEST(LoadTlsClient, PrefersTheLibraryDirectory) {
  const InstallationTree tree;
  addFallbackTls(tree);
  tree.addLibrary(FAKEUTILS_PATH, kTlsFile);
  const CaseResult result = runCase("loadTlsTwice", tree, withArguments({}));
  EXPECT_EQ(result.report, (Texts{"opened", "same", placed(tree, kTlsFile) + " 2"}));
  EXPECT_EQ(result.err, "");
}

TEST(LoadTlsClient, FallsBackFromALibraryThatTheLoaderRefuses) {
  const InstallationTree tree;
  addFallbackTls(tree);
  addBrokenLibrary(placed(tree, kTlsFile));
  const CaseResult result = runCase("loadTlsTwice", tree, withArguments({}));
  EXPECT_EQ(result.report,
            (Texts{"opened", "same", placed(tree, kTlsFile) + " 2",
                   tree.nativeDirectory().string() + "//openssl3/" + kTlsFile + " 2"}));
  EXPECT_EQ(result.err,
            cannotLoad(placed(tree, kTlsFile), placed(tree, kTlsFile) + ": file too short") + "\n");
}

TEST(LoadTlsClient, LooksInNoSubdirectoryWhenDemanded) {
  const InstallationTree tree;
  addFallbackTls(tree);
  const CaseResult result = runCase("demandMissingCompanion", tree, withArguments({"tls"}));
  EXPECT_EQ(result.report, Texts{cannotLoad(placed(tree, kTlsFile), "File not found.")});
}
