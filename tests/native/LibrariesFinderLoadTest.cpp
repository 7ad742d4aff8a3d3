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

namespace LoaderProbe = Ferrolink::Tests::LoaderProbe;

using Ferrolink::Native::LibrariesFinder::LibrariesFinder;
using Ferrolink::Tests::CaseOptions;
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Ferrolink::Tests::Texts;
using Ferrolink::Tests::ThrownBy;

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

CaseOptions WithArguments(const Texts& arguments) {
  CaseOptions options;
  options.arguments = arguments;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  return options;
}

const std::string& Argument(std::size_t index) {
  return Ferrolink::Tests::CaseArguments().at(index);
}

std::string CannotLoad(const std::string& path, const std::string& reason) {
  return "Ferrolink Native Exception: Exception code 001. \nCannot load: " + path +
         ". \nError: " + reason;
}

std::string Placed(const InstallationTree& tree, const std::string& file) {
  return tree.NativeDirectory().string() + "/" + file;
}

void AddBrokenLibrary(const std::string& path) {
  std::ofstream(path) << "not a library";
}

void ReportOpenings() {
  for (const std::string& opening : LoaderProbe::Openings()) {
    Report(opening);
  }
}

const char* Words(const void* handle) {
  return handle != nullptr ? "opened" : "null";
}

}  // namespace

// Arguments: the operation, the path, the loader's error text where it is not the loader's own.
PROCESS_CASE(loadEveryWay) {
  Load* load = kLoads.at(Argument(0));
  if (Ferrolink::Tests::CaseArguments().size() > 2) {
    LoaderProbe::SetErrorText(Argument(2) == "-" ? nullptr : Argument(2).c_str());
  }
  Report(ThrownBy([&] { Report(Words(load(Argument(1), true, true))); }));
  Report(Words(load(Argument(1), false, false)));
  Report(Words(load(Argument(1), false, true)));
  Report(static_cast<long>(LoaderProbe::Openings().size()));
}

TEST(LoadLibrary, DisposesOfAMissingFileAsAskedWithoutCallingTheLoader) {
  const InstallationTree tree;
  for (const auto& [name, load] : kLoads) {
    for (const std::string& path : {Placed(tree, "libMissing.so"), std::string()}) {
      const CaseResult result =
          RunCase("loadEveryWay", tree, WithArguments({name, path, "not to be asked"}));
      const std::string message = CannotLoad(path, "File not found.");
      // libConfigs.so and libUtils.so are not there either: their absence calls no loader.
      EXPECT_EQ(result.report, (Texts{message, "null", "null", "0"}));
      EXPECT_EQ(result.err, message + "\n");
      EXPECT_EQ(result.out, "");
    }
  }
}

TEST(LoadLibrary, PassesOnWhatTheLoaderSays) {
  const InstallationTree tree;
  const std::string path = Placed(tree, "libBroken.so");
  AddBrokenLibrary(path);
  for (const auto& [name, load] : kLoads) {
    const CaseResult real = RunCase("loadEveryWay", tree, WithArguments({name, path}));
    const std::string message = CannotLoad(path, path + ": file too short");
    EXPECT_EQ(real.report, (Texts{message, "null", "null", "3"}));
    EXPECT_EQ(real.err, message + "\n");
    const CaseResult madeUp =
        RunCase("loadEveryWay", tree, WithArguments({name, path, "no, thank you"}));
    EXPECT_EQ(madeUp.report, (Texts{CannotLoad(path, "no, thank you"), "null", "null", "3"}));
    EXPECT_EQ(madeUp.err, CannotLoad(path, "no, thank you") + "\n");
  }
}

TEST(LoadLibrary, HasATextWhereTheLoaderHasNone) {
  const InstallationTree tree;
  const std::string path = Placed(tree, "libBroken.so");
  AddBrokenLibrary(path);
  const CaseResult result =
      RunCase("loadEveryWay", tree, WithArguments({"loadLibrary", path, "-"}));
  EXPECT_EQ(result.report.at(0), CannotLoad(path, "unknown loader error"));
  EXPECT_EQ(result.err, CannotLoad(path, "unknown loader error") + "\n");
}

PROCESS_CASE(loadBothWays) {
  Report(Words(LibrariesFinder::loadLibrary(Argument(0), true, true)));
  Report(Words(LibrariesFinder::loadLibraryDeepBind(Argument(0), true, true)));
  ReportOpenings();
}

TEST(LoadLibrary, BindsAtOnceAndDeeplyWhereAsked) {
  const InstallationTree tree;
  const std::string path = Placed(tree, "libAny.so");
  tree.AddLibrary(FAKEUTILS_PATH, "libAny.so");
  const CaseResult result = RunCase("loadBothWays", tree, WithArguments({path}));
#if defined(FERROLINK_SANITIZED)
  const std::string deep = " 2";
#else
  const std::string deep = " 10";
#endif
  EXPECT_EQ(result.report, (Texts{"opened", "opened", path + " 2", path + deep}));
  EXPECT_EQ(result.err, "");
}

PROCESS_CASE(loadMissingCompanion) {
  LoadCompanion* load = kCompanions.at(Argument(0)).load;
  Report(Words(load(false)));
}

PROCESS_CASE(demandMissingCompanion) {
  LoadCompanion* load = kCompanions.at(Argument(0)).load;
  Report(ThrownBy([&] { load(true); }));
  ReportOpenings();
}

TEST(LoadCompanion, PrintsTheAbsenceOfTcpClientsAlone) {
  const InstallationTree tree;
  for (const auto& [name, companion] : kCompanions) {
    const CaseResult result = RunCase("loadMissingCompanion", tree, WithArguments({name}));
    EXPECT_EQ(result.report, Texts{"null"});
    std::string printed = CannotLoad(Placed(tree, companion.file), "File not found.") + "\n";
    if (name == "tls") {
      printed += CannotLoad(Placed(tree, "/openssl3/" + companion.file), "File not found.") + "\n";
    }
    EXPECT_EQ(result.err, companion.prints ? printed : "");
  }
}

TEST(LoadCompanion, RaisesTheAbsenceOfWhatIsDemanded) {
  const InstallationTree tree;
  for (const auto& [name, companion] : kCompanions) {
    const CaseResult result = RunCase("demandMissingCompanion", tree, WithArguments({name}));
    EXPECT_EQ(result.report, Texts{CannotLoad(Placed(tree, companion.file), "File not found.")});
    EXPECT_EQ(result.err, "");
  }
}

// Arguments: the companion, the library to put in its place.
PROCESS_CASE(companionAppears) {
  const Companion& companion = kCompanions.at(Argument(0));
  Report(Words(companion.load(false)));
  Ferrolink::Tests::AddLibraryNow(Argument(1), companion.file);
  const void* first = companion.load(false);
  const void* second = companion.load(true);
  Report(Words(first));
  Report(first == second ? "same" : "another");
  std::filesystem::remove(Ferrolink::Tests::CaseNativeDirectory() / companion.file);
  Report(first == companion.load(true) ? "same" : "another");
  ReportOpenings();
}

TEST(LoadCompanion, TriesAgainAfterAFailureAndOpensOnce) {
  for (const auto& [name, companion] : kCompanions) {
    const InstallationTree tree;
    const CaseResult result =
        RunCase("companionAppears", tree, WithArguments({name, FAKEUTILS_PATH}));
    EXPECT_EQ(result.report,
              (Texts{"null", "opened", "same", "same", Placed(tree, companion.file) + " 2"}));
  }
}

PROCESS_CASE(companionIsRepaired) {
  const Companion& companion = kCompanions.at(Argument(0));
  Report(Words(companion.load(false)));
  std::filesystem::remove(Ferrolink::Tests::CaseNativeDirectory() / companion.file);
  Ferrolink::Tests::AddLibraryNow(Argument(1), companion.file);
  Report(Words(companion.load(false)));
}

TEST(LoadCompanion, TriesAgainAfterTheLoaderRefused) {
  for (const auto& [name, companion] : kCompanions) {
    const InstallationTree tree;
    AddBrokenLibrary(Placed(tree, companion.file));
    EXPECT_EQ(RunCase("companionIsRepaired", tree, WithArguments({name, FAKEUTILS_PATH})).report,
              (Texts{"null", "opened"}));
  }
}

namespace {

void AddFallbackTls(const InstallationTree& tree) {
  std::filesystem::create_directory(tree.NativeDirectory() / "openssl3");
  tree.AddLibrary(FAKEUTILS_PATH, "openssl3/" + std::string(kTlsFile));
}

}  // namespace

PROCESS_CASE(loadTlsTwice) {
  const void* first = LibrariesFinder::loadTcpTlsClientLibrary(false);
  Report(Words(first));
  Report(first == LibrariesFinder::loadTcpTlsClientLibrary(true) ? "same" : "another");
  ReportOpenings();
}

TEST(LoadTlsClient, FallsBackToTheSubdirectoryByADoubledSlash) {
  const InstallationTree tree;
  AddFallbackTls(tree);
  const CaseResult result = RunCase("loadTlsTwice", tree, WithArguments({}));
  EXPECT_EQ(
      result.report,
      (Texts{"opened", "same", tree.NativeDirectory().string() + "//openssl3/" + kTlsFile + " 2"}));
  EXPECT_EQ(result.err, CannotLoad(Placed(tree, kTlsFile), "File not found.") + "\n");
}

TEST(LoadTlsClient, PrefersTheLibraryDirectory) {
  const InstallationTree tree;
  AddFallbackTls(tree);
  tree.AddLibrary(FAKEUTILS_PATH, kTlsFile);
  const CaseResult result = RunCase("loadTlsTwice", tree, WithArguments({}));
  EXPECT_EQ(result.report, (Texts{"opened", "same", Placed(tree, kTlsFile) + " 2"}));
  EXPECT_EQ(result.err, "");
}

TEST(LoadTlsClient, FallsBackFromALibraryThatTheLoaderRefuses) {
  const InstallationTree tree;
  AddFallbackTls(tree);
  AddBrokenLibrary(Placed(tree, kTlsFile));
  const CaseResult result = RunCase("loadTlsTwice", tree, WithArguments({}));
  EXPECT_EQ(result.report,
            (Texts{"opened", "same", Placed(tree, kTlsFile) + " 2",
                   tree.NativeDirectory().string() + "//openssl3/" + kTlsFile + " 2"}));
  EXPECT_EQ(result.err,
            CannotLoad(Placed(tree, kTlsFile), Placed(tree, kTlsFile) + ": file too short") + "\n");
}

TEST(LoadTlsClient, LooksInNoSubdirectoryWhenDemanded) {
  const InstallationTree tree;
  AddFallbackTls(tree);
  const CaseResult result = RunCase("demandMissingCompanion", tree, WithArguments({"tls"}));
  EXPECT_EQ(result.report, Texts{CannotLoad(Placed(tree, kTlsFile), "File not found.")});
}
