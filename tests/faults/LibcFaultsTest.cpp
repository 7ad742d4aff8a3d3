// The C library's functions fail one call at a time, whichever call of ours it is: a documented
// error, std::bad_alloc, or success; what was done is done again and works, on the same thread and
// on another; and nothing is left behind.
//
// On fakes every call fails in turn; under sanitizers and on real JVMs a sample of them. With
// TEST_FAULTS=all in the environment every call fails everywhere.
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/faults/LibcScenarios.h"
#include "tests/support/Jdks.h"

namespace Ferrolink::Tests {
namespace {

using Texts = std::vector<std::string>;

constexpr const char* kMember = "libFerrolinkJvmRuntimeNative.so";

constexpr Sample kOnFakes{100'000};
constexpr Sample kOnRealJvm{6};

struct ScenarioEntry {
  const char* name;
  std::unique_ptr<LibcScenario> (*make)(const BuiltLibrary& library);
};

constexpr ScenarioEntry kScenarios[] = {
    {"Host", MakeHostOnFakeJvm},          {"Transmitter", MakeTransmitter},
    {"NativeMethods", MakeNativeMethods}, {"Archives", MakeArchives},
    {"Contended", MakeContended},         {"RealJvm", MakeHostOnRealJvm},
};

constexpr std::size_t kArchives = 3;
constexpr std::size_t kContended = 4;
[[maybe_unused]] constexpr std::size_t kRealJvm = 5;

struct Fault {
  std::size_t scenario;
  LibcCall call;
  bool retryElsewhere;
};

// All scenarios on fakes; a thread is created by a host's alone.
std::vector<Fault> FaultsOnFakes() {
  std::vector<Fault> faults;
  for (std::size_t scenario = 0; scenario < 3; ++scenario) {
    for (const LibcCall call : {LibcCall::Allocation, LibcCall::DlOpen, LibcCall::DlSym,
                                LibcCall::Open, LibcCall::Write}) {
      faults.push_back({scenario, call, false});
    }
    faults.push_back({scenario, LibcCall::Allocation, true});
  }
  faults.push_back({0, LibcCall::ThreadCreate, false});
  faults.push_back({0, LibcCall::ThreadCreate, true});
  faults.push_back({kArchives, LibcCall::Open, false});
  faults.push_back({kArchives, LibcCall::Allocation, false});
  faults.push_back({kContended, LibcCall::Syscall, false});
  return faults;
}

std::string NameOfFault(const Fault& fault) {
  return std::string(kScenarios[fault.scenario].name) + NameOf(fault.call) +
         (fault.retryElsewhere ? "ThenAnotherThread" : "");
}

CaseOptions OptionsFor(const Fault& fault) {
  CaseOptions options;
  options.arguments = {std::to_string(fault.scenario), std::to_string(static_cast<int>(fault.call)),
                       fault.retryElsewhere ? "elsewhere" : "here"};
  return options;
}

void ExpectDone(const CaseResult& result) {
  EXPECT_EQ(result.signal, 0) << result.err;
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, Texts{"done"});
}

}  // namespace

PROCESS_CASE(libcCallsFail) {
  const ScenarioEntry& scenario = kScenarios[std::stoul(CaseArguments().at(0))];
  const auto call = static_cast<LibcCall>(std::stoi(CaseArguments().at(1)));
  const bool real = scenario.make == MakeHostOnRealJvm;
  alarm(0);  // each run has its own limit
  const BuiltLibrary library(CaseNativeDirectory() / kMember);
  SetOwnLibraries({kMember});
  Sweep([&] { return scenario.make(library); }, call, CaseArguments().at(2) == "elsewhere",
        real ? kOnRealJvm : kOnFakes);
}

class LibcFaults : public testing::TestWithParam<Fault> {};

TEST_P(LibcFaults, EndAsDefinedAndAreOverWithTheNextCall) {
  const InstallationTree tree;
  tree.AddLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, kMember);
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  for (const char* sibling : {"libFerrolinkCppRuntimeNative.so", "libFerrolinkTcpClient.so",
                              "libFerrolinkTcpTlsClient.so"}) {
    tree.AddLibrary(FAKESIBLING_PATH, sibling);
  }
  CaseOptions options = OptionsFor(GetParam());
  options.environment["FERROLINK_JVM_RUNTIME_PATH"] = FAKEJVM_PATH;
  options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = tree.WorkDirectory().string();
  ExpectDone(RunCase("libcCallsFail", tree, options));
}

INSTANTIATE_TEST_SUITE_P(OnFakes, LibcFaults, testing::ValuesIn(FaultsOnFakes()),
                         [](const auto& fault) { return NameOfFault(fault.param); });

class LibcFaultsOnRealJvms : public testing::TestWithParam<LibcCall> {};

TEST_P(LibcFaultsOnRealJvms, EndAsDefinedAndAreOverWithTheNextCall) {
  const auto jdks = InstalledJdks();
  ASSERT_FALSE(jdks.empty());
  for (const auto& jdk : jdks) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    tree.AddLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, kMember);
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    std::filesystem::copy_file(TEST_RECEIVER_JAR, tree.JvmDirectory() / "FerrolinkJvmRuntime.jar");
    const CaseOptions arguments = OptionsFor({kRealJvm, GetParam(), true});
    CaseOptions options = OnJdk(tree, jdk);
    options.arguments = arguments.arguments;
    options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = tree.WorkDirectory().string();
    ExpectDone(RunCase("libcCallsFail", tree, options));
  }
}

INSTANTIATE_TEST_SUITE_P(Of, LibcFaultsOnRealJvms,
                         testing::Values(LibcCall::Allocation, LibcCall::DlOpen, LibcCall::DlSym,
                                         LibcCall::Open, LibcCall::Write, LibcCall::ThreadCreate),
                         [](const auto& call) { return std::string(NameOf(call.param)); });

}  // namespace Ferrolink::Tests
