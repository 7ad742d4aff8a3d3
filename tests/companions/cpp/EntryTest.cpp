#include <cstdio>
#include <fstream>
#include <set>
#include <thread>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

using Creator = IReceiver*(RuntimeOperationMode);
using TransmitterCreator = ITransmitter*(RuntimeOperationMode);

std::set<std::string> SymbolsOf(const std::string& listing) {
  std::set<std::string> symbols;
  std::FILE* pipe = popen(listing.c_str(), "r");
  char line[1024];
  while (std::fgets(line, sizeof(line), pipe) != nullptr) {
    const std::string text = line;
    symbols.insert(text.substr(0, text.find(' ')));
  }
  EXPECT_EQ(pclose(pipe), 0);
  return symbols;
}

// The complete-object constructor of an abstract class. Nothing can call it, and clang omits it.
constexpr const char* kNeverCalled =
    "_ZN9Ferrolink6Native8Launcher14NativeLauncherC1ENS0_11Definitions20RuntimeOperationModeE";

TEST(CppEntry, ExportsExactlyTheListedSymbols) {
  std::set<std::string> expected;
  std::ifstream list(CPP_EXPORTS);
  for (std::string symbol; std::getline(list, symbol);) {
    expected.insert(symbol);
  }
  std::set<std::string> exports = SymbolsOf(std::string(NM) + " -D --defined-only --format=posix " +
                                            FERROLINKCPPRUNTIMENATIVE_PATH);
  exports.erase(kNeverCalled);
  EXPECT_EQ(exports, expected);
}

PROCESS_CASE(createRoles) {
  auto* getReceiver = Exported<IReceiver*()>("GetReceiver");
  auto* getTransmitter = Exported<ITransmitter*()>("GetTransmitter");
  Report(getReceiver() == nullptr && getTransmitter() == nullptr ? "none" : "some");
  auto* transmitter =
      Exported<TransmitterCreator>("CreateTransmitter")(RuntimeOperationMode::CallingRuntime);
  Report(getTransmitter() == transmitter && getReceiver() == nullptr ? "transmitter" : "other");
  IReceiver* receiver = Exported<Creator>("CreateReceiver")(RuntimeOperationMode::CalledRuntime);
  Report(Exported<Creator>("CreateReceiver")(RuntimeOperationMode::CallingRuntime) == receiver &&
                 getReceiver() == receiver
             ? "one receiver"
             : "several");
  Report(receiver->LoadOptimizedMethod("m"));
  Report(receiver->SetEmbeddedRuntime(8, "p"));
  Report(receiver->DeployRuntime(nullptr, 0, "p", 0));
}

TEST(CppEntry, HasOneReceiverAndOneTransmitter) {
  ExpectReport(RunMemberCase("createRoles"),
               {"none", "transmitter", "one receiver", "1", "1", "1"});
}

PROCESS_CASE(createWithoutMode) {
  auto* create = Exported<Creator>("CreateReceiver");
  Report(ThrownBy([&] { create(RuntimeOperationMode::NotSet); }));
  Report(Exported<IReceiver*()>("GetReceiver")() == nullptr ? "none" : "some");
}

TEST(CppEntry, RefusesAReceiverWithoutAMode) {
  ExpectReport(
      RunMemberCase("createWithoutMode"),
      {"Ferrolink Native Exception: Exception code 032. \nRuntime not initialized", "none"});
}

PROCESS_CASE(startUp) {
  Exported<void()>("_Z24emptyFunctionInNativeLibv")();
  Exported<void()>("_Z9AtStartUpv")();
  Report(Exported<ITransmitter*()>("GetTransmitter")() != nullptr ? "transmitter" : "none");
  Report(Exported<int()>("_Z30SetOperationModeForTransmitterv")());
}

TEST(CppEntry, StartsUpAsTheCallingSide) {
  ExpectReport(RunMemberCase("startUp"), {"transmitter", "0"});
}

PROCESS_CASE(describe) {
  OpenRegistrar().Register("b", [](Span) { return Bytes(); });
  OpenRegistrar().Register("a", [](Span) { return Bytes(); });
  const bool called = CaseArguments().at(0) == "called";
  IReceiver* receiver = OpenReceiver(called ? RuntimeOperationMode::CalledRuntime
                                            : RuntimeOperationMode::CallingRuntime);
  receiver->Initialize(2, 8, 0);
  Report(Outcome(receiver, CallOf("a")));
}

TEST(CppEntry, PrintsItsHandlersOnceWhereItIsCalledAndAnswersInBothModes) {
  const InstallationTree tree;
  InstallMember(tree);
  CaseOptions options;
  options.arguments = {"called"};
  CaseResult result = RunCase("describe", tree, options);
  ExpectReport(result, {"0:"});
  EXPECT_EQ(result.out, "\nCpp Native Launcher Runtime Info: \nHandlers: a, b\n");
  options.arguments = {"calling"};
  result = RunCase("describe", tree, options);
  ExpectReport(result, {"0:"});
  EXPECT_EQ(result.out, "");
}

PROCESS_CASE(findLibrary) {
  setenv("FERROLINK_HOME", "/nowhere", 1);
  Report(ThrownBy([] { Ferrolink::Cpp::Unregister("x"); }));
  setenv("FERROLINK_HOME", CaseRoot().c_str(), 1);
  Ferrolink::Cpp::Register("x", [](Span) { return ToBytes("found"); });
  Report(Outcome(OpenReceiver(), CallOf("x")));
  Report(Ferrolink::Cpp::Unregister("x") ? "gone" : "never there");
  Report(Ferrolink::Cpp::Unregister("x") ? "gone" : "never there");
  Report(Exported<const ferrolink_registrar*(std::uint32_t)>(FERROLINK_GET_REGISTRAR)(2) == nullptr
             ? "no version 2"
             : "version 2");
}

TEST(CppEntry, IsFoundByTheHelperThroughTheEnvironment) {
  ExpectReport(RunMemberCase("findLibrary"),
               {"libFerrolinkCppRuntimeNative.so was not found. Set FERROLINK_HOME to the "
                "installation's root (the directory that holds Binaries). Looked for:\n  "
                "/nowhere/Binaries/Native/Linux/X64/libFerrolinkCppRuntimeNative.so",
                "0:found", "gone", "never there", "no version 2"});
}

PROCESS_CASE(configure) {
  Report(ThrownBy([] { Caller({CaseNativeDirectory(), "{\"no\": such key}"}); }).substr(0, 29));
  const Caller caller({CaseNativeDirectory(), "{}"});
  caller.Heartbeat(Runtime::Cpp);
  Report("alive");
}

TEST(CppEntry, HandsAConfigurationOn) {
  const InstallationTree tree;
  InstallMember(tree, true);
  ExpectReport(RunCase("configure", tree, {}), {"The configuration was refused", "alive"});
}

}  // namespace
}  // namespace Ferrolink::Tests
