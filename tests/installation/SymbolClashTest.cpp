// The installed library in a host that exports every name of the library's for itself. A call that
// ends up in the host reports "host: <name>" and aborts the case.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"
#include "tests/native/FakeCompanions.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Tests::CaseOptions;
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Ferrolink::Tests::Texts;
using Ferrolink::Tests::ThrownBy;
using Ferrolink::Tests::WithoutStamps;

namespace {

constexpr const char* kLibrary = "libFerrolinkJvmRuntimeNative.so";
constexpr const char* kNoMode =
    "Ferrolink Native Exception: Exception code 032. \nRuntime not initialized";
constexpr const char* kNoResponse =
    "JVM Launcher: Exception code 017.\nError while reading response";
constexpr const char* kMissing =
    "Ferrolink Native Exception: Exception code 001. \nCannot load: /missing. \nError: File not "
    "found.";

#define STRING_BY_VALUE "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
#define FINDER "_ZN9Ferrolink6Native15LibrariesFinder15LibrariesFinder"

/// The library, opened the way that the case's first argument says.
class InstalledLibrary {
 public:
  InstalledLibrary()
      : m_handle(dlopen((Ferrolink::Tests::CaseNativeDirectory() / kLibrary).c_str(),
                        std::stoi(Ferrolink::Tests::CaseArguments().at(0)))) {
    if (m_handle == nullptr) {
      throw std::runtime_error(dlerror());
    }
  }

  template <class Function>
  Function* Find(const char* name) const {
    auto* function = reinterpret_cast<Function*>(dlsym(m_handle, name));
    if (function == nullptr) {
      throw std::runtime_error(dlerror());
    }
    return function;
  }

  IReceiver* Create(RuntimeOperationMode mode) const {
    return Find<IReceiver*(RuntimeOperationMode)>("CreateReceiver")(mode);
  }

  [[nodiscard]] IReceiver* Current() const { return Find<IReceiver*()>("GetReceiver")(); }

 private:
  void* m_handle;
};

class SymbolClash : public testing::TestWithParam<int> {
 protected:
  SymbolClash() {
    m_tree.AddLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, kLibrary);
    m_tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    m_tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
    m_options = FakeSettings(m_tree);
    m_options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
    m_options.arguments = {std::to_string(GetParam())};
  }

  InstallationTree m_tree;
  CaseOptions m_options;
};

std::string NameOf(const testing::TestParamInfo<int>& opening) {
  switch (opening.param) {
    case RTLD_NOW | RTLD_LOCAL:
      return "AtOnce";
    case RTLD_NOW | RTLD_GLOBAL:
      return "ForAll";
    case RTLD_LAZY | RTLD_LOCAL:
      return "Lazily";
    default:
      return "Deeply";
  }
}

}  // namespace

TEST(SymbolClash, HasAHostThatExportsEveryNameOfTheLibrary) {
  std::ifstream list(FERROLINK_EXPORT_LIST);
  int names = 0;
  for (std::string line; std::getline(list, line); ++names) {
    const std::string name = line.substr(0, line.find(' '));
    EXPECT_NE(dlsym(RTLD_DEFAULT, name.c_str()), nullptr) << name;
  }
  EXPECT_GT(names, 0);
  for (const char* hidden :
       {"receiver", "transmitter", "operationMode", "createReceiverMutex", "javaEnv",
        "callbackJavaVM", "sendCommandCallbackObject", "sendCommandCallbackMethod", "threadJniEnv",
        "initializationMutex", "errorMessage", "firstCall", "isCopy"}) {
    EXPECT_NE(dlsym(RTLD_DEFAULT, hidden), nullptr) << hidden;
  }
}

PROCESS_CASE(createReceivers) {
  const InstalledLibrary library;
  Report(library.Current() == nullptr ? "none yet" : "too early");
  IReceiver* first = library.Create(RuntimeOperationMode::CalledRuntime);
  Report(first != nullptr ? "created" : "null");
  Report(library.Create(RuntimeOperationMode::CallingRuntime) == first ? "same" : "another");
  Report(library.Current() == first ? "same" : "another");
  Report(first->SetConfigSource("through the receiver"));
  const std::string failure = ThrownBy([&] {
    std::uint8_t buffer[16] = {};
    first->ReadResponse(buffer, sizeof buffer);
  });
  Report(failure.substr(0, failure.find("\nRUNTIME INFO:\n")));
}

TEST_P(SymbolClash, LeavesTheReceiverToTheLibrary) {
  m_options.environment["FAKE_CONFIGS_SetConfigSource"] = "5";
  const CaseResult result = RunCase("createReceivers", m_tree, m_options);
  EXPECT_EQ(result.report, (Texts{"none yet", "created", "same", "same", "5", kNoResponse}));
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const std::string raised = std::string("# ") + kNoResponse + "\n";
  const std::string start = raised + raised + "RUNTIME INFO:\n";
  EXPECT_EQ(WithoutStamps(m_tree.ErrorLog()).substr(0, start.size()), start);
}

PROCESS_CASE(createInNoMode) {
  const InstalledLibrary library;
  Report(ThrownBy([&] { library.Create(RuntimeOperationMode::NotSet); }));
  Report(library.Current() == nullptr ? "none" : "some");
}

TEST_P(SymbolClash, LeavesErrorsToTheLibrary) {
  const CaseResult result = RunCase("createInNoMode", m_tree, m_options);
  EXPECT_EQ(result.report, (Texts{kNoMode, "none"}));
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const std::string hint = Ferrolink::Tests::kSupportHint;
  const std::string raised = std::string("# ") + kNoMode;
  EXPECT_EQ(WithoutStamps(m_tree.ErrorLog()), raised + "\n");
  EXPECT_EQ(WithoutStamps(result.err), raised + hint + "\n");
  EXPECT_EQ(Events(m_tree),
            "Native exception|Ferrolink Native Exception: Exception code 032. Runtime not "
            "initialized|Unknown\n");
}

PROCESS_CASE(useNamedOperations) {
  const InstalledLibrary library;
  using TakesText = int(std::string);
  Report(library.Find<TakesText>("_Z15SetConfigSource" STRING_BY_VALUE)("a source"));
  Report(library.Find<TakesText>("_Z23SetWorkingDirectoryPath" STRING_BY_VALUE)("/a path"));
  Report(library.Current() == nullptr ? "none" : "some");
  library.Find<void()>("_Z24emptyFunctionInNativeLibv")();
  Report(library.Find<std::string(int)>(FINDER "21getRuntimeLibraryPathB5cxx11Ei")(2));
  auto* load =
      library.Find<void*(std::string, bool, bool)>(FINDER "11loadLibraryE" STRING_BY_VALUE "bb");
  Report(ThrownBy([&] { load("/missing", true, false); }));
}

TEST_P(SymbolClash, LeavesTheNamedOperationsToTheLibrary) {
  m_options.environment["FAKE_CONFIGS_SetConfigSource"] = "7";
  m_options.environment["FAKE_CONFIGS_SetWorkingDirectory"] = "-8";
  const CaseResult result = RunCase("useNamedOperations", m_tree, m_options);
  EXPECT_EQ(result.report,
            (Texts{"7", "-8", "none", (m_tree.NativeDirectory() / kLibrary).string(), kMissing}));
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(Calls(m_tree),
            "SetConfigSource(a source)\nSetWorkingDirectory(/a path)\nGetLoggingLevel()\n"
            "GetWorkingDirectory()\n");
}

INSTANTIATE_TEST_SUITE_P(Opened, SymbolClash,
                         testing::Values(RTLD_NOW | RTLD_LOCAL, RTLD_NOW | RTLD_GLOBAL,
                                         RTLD_LAZY | RTLD_LOCAL, RTLD_NOW | RTLD_DEEPBIND),
                         NameOf);
