#include <cstdio>
#include <fstream>
#include <set>
#include <thread>

#include "tests/companions/cpp/Support.h"

namespace FerrolinkTest {
namespace {

using Creator = IReceiver*(RuntimeOperationMode);
using TransmitterCreator = ITransmitter*(RuntimeOperationMode);

std::set<std::string> symbolsOf(const std::string& listing) {
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

// The complete-object constructor of an abstract class, which nothing can call and clang leaves
// out.
constexpr const char* kNeverCalled =
    "_ZN9Ferrolink6Native8Launcher14NativeLauncherC1ENS0_11Definitions20RuntimeOperationModeE";

TEST(CppEntry, ExportsExactlyTheListedSymbols) {
  std::set<std::string> expected;
  std::ifstream list(CPP_EXPORTS);
  for (std::string symbol; std::getline(list, symbol);) {
    expected.insert(symbol);
  }
  std::set<std::string> exports = symbolsOf(std::string(NM) + " -D --defined-only --format=posix " +
                                            FERROLINKCPPRUNTIMENATIVE_PATH);
  exports.erase(kNeverCalled);
  EXPECT_EQ(exports, expected);
}

PROCESS_CASE(createRoles) {
  auto* getReceiver = exported<IReceiver*()>("GetReceiver");
  auto* getTransmitter = exported<ITransmitter*()>("GetTransmitter");
  report(getReceiver() == nullptr && getTransmitter() == nullptr ? "none" : "some");
  auto* transmitter =
      exported<TransmitterCreator>("CreateTransmitter")(RuntimeOperationMode::CallingRuntime);
  report(getTransmitter() == transmitter && getReceiver() == nullptr ? "transmitter" : "other");
  IReceiver* receiver = exported<Creator>("CreateReceiver")(RuntimeOperationMode::CalledRuntime);
  report(exported<Creator>("CreateReceiver")(RuntimeOperationMode::CallingRuntime) == receiver &&
                 getReceiver() == receiver
             ? "one receiver"
             : "several");
  report(receiver->LoadOptimizedMethod("m"));
  report(receiver->SetEmbeddedRuntime(8, "p"));
  report(receiver->DeployRuntime(nullptr, 0, "p", 0));
}

TEST(CppEntry, HasOneReceiverAndOneTransmitter) {
  expectReport(runMemberCase("createRoles"),
               {"none", "transmitter", "one receiver", "1", "1", "1"});
}

PROCESS_CASE(createWithoutMode) {
  auto* create = exported<Creator>("CreateReceiver");
  report(thrownBy([&] { create(RuntimeOperationMode::NotSet); }));
  report(exported<IReceiver*()>("GetReceiver")() == nullptr ? "none" : "some");
}

TEST(CppEntry, RefusesAReceiverWithoutAMode) {
  expectReport(
      runMemberCase("createWithoutMode"),
      {"Ferrolink Native Exception: Exception code 032. \nRuntime not initialized", "none"});
}

PROCESS_CASE(startUp) {
  exported<void()>("_Z24emptyFunctionInNativeLibv")();
  exported<void()>("_Z9AtStartUpv")();
  report(exported<ITransmitter*()>("GetTransmitter")() != nullptr ? "transmitter" : "none");
  report(exported<int()>("_Z30SetOperationModeForTransmitterv")());
}

TEST(CppEntry, StartsUpAsTheCallingSide) {
  expectReport(runMemberCase("startUp"), {"transmitter", "0"});
}

PROCESS_CASE(describe) {
  openRegistrar().Register("b", [](Span) { return Bytes(); });
  openRegistrar().Register("a", [](Span) { return Bytes(); });
  const bool called = caseArguments().at(0) == "called";
  IReceiver* receiver = openReceiver(called ? RuntimeOperationMode::CalledRuntime
                                            : RuntimeOperationMode::CallingRuntime);
  receiver->Initialize(2, 8, 0);
  report(outcome(receiver, callOf("a")));
}

TEST(CppEntry, PrintsItsHandlersOnceWhereItIsCalledAndAnswersInBothModes) {
  const InstallationTree tree;
  installMember(tree);
  CaseOptions options;
  options.arguments = {"called"};
  CaseResult result = runCase("describe", tree, options);
  expectReport(result, {"0:"});
  EXPECT_EQ(result.out, "\nCpp Native Launcher Runtime Info: \nHandlers: a, b\n");
  options.arguments = {"calling"};
  result = runCase("describe", tree, options);
  expectReport(result, {"0:"});
  EXPECT_EQ(result.out, "");
}

PROCESS_CASE(findLibrary) {
  setenv("FERROLINK_HOME", "/nowhere", 1);
  report(thrownBy([] { Ferrolink::Cpp::Unregister("x"); }));
  setenv("FERROLINK_HOME", caseRoot().c_str(), 1);
  Ferrolink::Cpp::Register("x", [](Span) { return ToBytes("found"); });
  report(outcome(openReceiver(), callOf("x")));
  report(Ferrolink::Cpp::Unregister("x") ? "gone" : "never there");
  report(Ferrolink::Cpp::Unregister("x") ? "gone" : "never there");
  report(exported<const ferrolink_registrar*(std::uint32_t)>(FERROLINK_GET_REGISTRAR)(2) == nullptr
             ? "no version 2"
             : "version 2");
}

TEST(CppEntry, IsFoundByTheHelperThroughTheEnvironment) {
  expectReport(runMemberCase("findLibrary"),
               {"libFerrolinkCppRuntimeNative.so was not found. Set FERROLINK_HOME to the "
                "installation's root (the directory that holds Binaries). Looked for:\n  "
                "/nowhere/Binaries/Native/Linux/X64/libFerrolinkCppRuntimeNative.so",
                "0:found", "gone", "never there", "no version 2"});
}

PROCESS_CASE(configure) {
  report(thrownBy([] { Caller({caseNativeDirectory(), "{\"no\": such key}"}); }).substr(0, 29));
  const Caller caller({caseNativeDirectory(), "{}"});
  caller.Heartbeat(Runtime::Cpp);
  report("alive");
}

TEST(CppEntry, HandsAConfigurationOn) {
  const InstallationTree tree;
  installMember(tree, true);
  expectReport(runCase("configure", tree, {}), {"The configuration was refused", "alive"});
}

}  // namespace
}  // namespace FerrolinkTest
