// Each library that the built library opens is broken in each way. The result is the documented
// error or silence, the process lives, and the next use works once the file is right.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/faults/BrokenLibrary.h"
#include "tests/faults/BuiltLibrary.h"

namespace Ferrolink::Tests {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

constexpr const char* kMember = "libFerrolinkJvmRuntimeNative.so";

/// A library that ours opens.
struct Opened {
  const char* name;  ///< of the test
  const char* file;  ///< in the native directory
  const char* whole;
  const char* body;
  std::vector<std::string> (*expected)(Breakage breakage, const fs::path& file);
};

std::string CannotLoad(Breakage breakage, const fs::path& file) {
  return "Ferrolink Native Exception: Exception code 001. \nCannot load: " + file.string() +
         ". \nError: " + ReasonOf(breakage, file);
}

std::string MemberCode(const char* code) {
  return std::string("Ferrolink Native Exception: Exception code ") + code +
         ". \nReinstall Ferrolink package";
}

// A library that was opened stays open even if it lacks symbols.
Texts WhileBrokenAndAfter(Breakage breakage, const fs::path& file, const std::string& lacking,
                          const std::string& after) {
  if (breakage == Breakage::MissingSymbols) {
    return {lacking, lacking};
  }
  return {CannotLoad(breakage, file), after};
}

std::string RuntimeInfo(const fs::path& library) {
  return "\nRUNTIME INFO:\n\nJVM Native Launcher Runtime Info: \nJVM shared library search path: " +
         library.string();
}

Texts OfJvm(Breakage breakage, const fs::path& file) {
  const std::string advice =
      "Check JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
      "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file ";
  const std::string code = "JVM Launcher: Exception code ";
  if (breakage == Breakage::MissingSymbols) {
    return {code + "003. \n" + advice + "(jvm.dll or libjvm.so or libjvm.dylib)" +
            RuntimeInfo(file)};
  }
  return {code + "002. \n" + advice + "(libjvm.so)" +
              RuntimeInfo(file.string() + "/lib/server/libjvm.so"),
          "(nothing thrown)", "echo"};
}

Texts OfConfigs(Breakage breakage, const fs::path& file) {
  Texts expected = WhileBrokenAndAfter(
      breakage, file, "SetConfigSource function not found in Utils library", "(nothing thrown)");
  expected.insert(expected.begin(), {"(nothing thrown)", "echo"});
  return expected;
}

Texts OfUtils(Breakage breakage, const fs::path&) {
  const std::string error = "JVM Launcher: Exception code 017.\nError while reading response";
  return {
      "(nothing thrown)", "echo", error,
      "no events",        error,  breakage == Breakage::MissingSymbols ? "no events" : "events"};
}

Texts OfClient(Breakage breakage, const fs::path& file) {
  return WhileBrokenAndAfter(breakage, file, MemberCode("011"), "2011");
}

Texts OfSibling(Breakage breakage, const fs::path& file) {
  return WhileBrokenAndAfter(breakage, file, MemberCode("014"), "1011");
}

const Opened kOpened[] = {
    {"Jvm", "libjvm.so", FAKEJVM_PATH, "brokenJvm", OfJvm},
    {"Configs", "libConfigs.so", FAKECONFIGS_PATH, "brokenConfigs", OfConfigs},
    {"Utils", "libUtils.so", FAKEUTILS_PATH, "brokenUtils", OfUtils},
    {"TcpClient", "libFerrolinkTcpClient.so", FAKESIBLING_PATH, "brokenTcpClient", OfClient},
    {"TcpTlsClient", "libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH, "brokenTlsClient", OfClient},
    {"Sibling", "libFerrolinkCppRuntimeNative.so", FAKESIBLING_PATH, "brokenSibling", OfSibling},
};

struct LoaderFault {
  std::size_t library;  ///< its place in kOpened
  Breakage breakage;
};

std::vector<LoaderFault> AllFaults() {
  std::vector<LoaderFault> faults;
  for (std::size_t library = 0; library < std::size(kOpened); ++library) {
    for (int breakage = 0; breakage < kBreakages; ++breakage) {
      faults.push_back({library, static_cast<Breakage>(breakage)});
    }
  }
  return faults;
}

BuiltLibrary Member() {
  return BuiltLibrary(CaseNativeDirectory() / kMember);
}

void Repair() {
  PutRight(CaseNativeDirectory() / CaseArguments().at(0), CaseArguments().at(1));
}

std::string Initialize(IReceiver& receiver) {
  return ThrownBy([&] { receiver.Initialize(8, 2, 0); });
}

template <class Action>
std::string Unprivileged(Action action) {
  const WithoutPrivileges nobody;
  return action();
}

void UseTransmitter(std::uint8_t channel) {
  ITransmitter& transmitter = *Member().Transmitter();
  Report(Unprivileged([&] { return Send(transmitter, ToRuntime8(channel)); }));
  Repair();
  Report(Send(transmitter, ToRuntime8(channel)));
}

}  // namespace

PROCESS_CASE(brokenJvm) {
  IReceiver& receiver = *Member().Receiver();
  Report(Unprivileged([&] { return Initialize(receiver); }));
  if (CaseArguments().at(2) == "MissingSymbols") {
    return;
  }
  Repair();
  Report(Initialize(receiver));
  Report(Exchange(receiver, ToJava(2)));
}

PROCESS_CASE(brokenConfigs) {
  IReceiver& receiver = *Member().Receiver();
  const auto configure = [&] { return ThrownBy([&] { receiver.SetConfigSource("source"); }); };
  Report(Unprivileged([&] { return Initialize(receiver); }));
  Report(Unprivileged([&] { return Exchange(receiver, ToJava(2)); }));
  Report(Unprivileged(configure));
  Repair();
  Report(configure());
}

PROCESS_CASE(brokenUtils) {
  IReceiver& receiver = *Member().Receiver();
  const auto fail = [&] {
    const std::string text = ThrownBy([&] { receiver.ReadResponse(nullptr, 0); });
    return text.substr(0, text.find("\nRUNTIME INFO:"));
  };
  const auto reportEvents = [] {
    Report(fs::exists(CaseRoot() / "events") ? "events" : "no events");
  };
  Report(Unprivileged([&] { return Initialize(receiver); }));
  Report(Unprivileged([&] { return Exchange(receiver, ToJava(2)); }));
  Report(Unprivileged(fail));
  reportEvents();
  Repair();
  Report(fail());
  reportEvents();
}

PROCESS_CASE(brokenTcpClient) {
  UseTransmitter(1);
}

PROCESS_CASE(brokenTlsClient) {
  UseTransmitter(2);
}

PROCESS_CASE(brokenSibling) {
  UseTransmitter(0);
}

class LoaderFaults : public testing::TestWithParam<LoaderFault> {};

TEST_P(LoaderFaults, EndAsDocumentedAndAreOverOnceTheFileIsRight) {
  const Opened& library = kOpened[GetParam().library];
  const Breakage breakage = GetParam().breakage;
  const InstallationTree tree;
  fs::permissions(tree.Root(), fs::perms(0755));
  tree.AddLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, kMember);
  const fs::path file = tree.NativeDirectory() / library.file;
  PlaceBroken(file, breakage, library.whole);
  CaseOptions options;
  options.arguments = {library.file, library.whole, NameOf(breakage)};
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = tree.WorkDirectory().string();
  options.environment["FAKE_UTILS_EVENTS"] = (tree.Root() / "events").string();
  options.environment["FERROLINK_JVM_RUNTIME_PATH"] =
      library.name == std::string("Jvm") ? file.string() : FAKEJVM_PATH;
  const CaseResult result = RunCase(library.body, tree, options);
  EXPECT_EQ(result.signal, 0) << result.err;
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, library.expected(breakage, file)) << result.err;
}

INSTANTIATE_TEST_SUITE_P(Of, LoaderFaults, testing::ValuesIn(AllFaults()), [](const auto& fault) {
  return std::string(kOpened[fault.param.library].name) + NameOf(fault.param.breakage);
});

}  // namespace Ferrolink::Tests
