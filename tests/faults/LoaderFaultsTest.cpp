// Each library that the built library opens is broken in each way: the documented error or the
// documented silence, the process lives, and the next use works once the file is right.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/faults/BrokenLibrary.h"
#include "tests/faults/BuiltLibrary.h"

namespace FerrolinkTest {
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

std::string cannotLoad(Breakage breakage, const fs::path& file) {
  return "Ferrolink Native Exception: Exception code 001. \nCannot load: " + file.string() +
         ". \nError: " + reasonOf(breakage, file);
}

std::string memberCode(const char* code) {
  return std::string("Ferrolink Native Exception: Exception code ") + code +
         ". \nReinstall Ferrolink package";
}

// A library that was opened stays, whatever it lacks.
Texts whileBrokenAndAfter(Breakage breakage, const fs::path& file, const std::string& lacking,
                          const std::string& after) {
  if (breakage == Breakage::MissingSymbols) {
    return {lacking, lacking};
  }
  return {cannotLoad(breakage, file), after};
}

std::string runtimeInfo(const fs::path& library) {
  return "\nRUNTIME INFO:\n\nJVM Native Launcher Runtime Info: \nJVM shared library search path: " +
         library.string();
}

Texts ofJvm(Breakage breakage, const fs::path& file) {
  const std::string advice =
      "Check JRE installation. Set JAVA_HOME to JRE or JDK root directory or set "
      "FERROLINK_JVM_RUNTIME_PATH to proper jvm shared library file ";
  const std::string code = "JVM Launcher: Exception code ";
  if (breakage == Breakage::MissingSymbols) {
    return {code + "003. \n" + advice + "(jvm.dll or libjvm.so or libjvm.dylib)" +
            runtimeInfo(file)};
  }
  return {code + "002. \n" + advice + "(libjvm.so)" +
              runtimeInfo(file.string() + "/lib/server/libjvm.so"),
          "(nothing thrown)", "echo"};
}

Texts ofConfigs(Breakage breakage, const fs::path& file) {
  Texts expected = whileBrokenAndAfter(
      breakage, file, "SetConfigSource function not found in Utils library", "(nothing thrown)");
  expected.insert(expected.begin(), {"(nothing thrown)", "echo"});
  return expected;
}

Texts ofUtils(Breakage breakage, const fs::path&) {
  const std::string error = "JVM Launcher: Exception code 017.\nError while reading response";
  return {
      "(nothing thrown)", "echo", error,
      "no events",        error,  breakage == Breakage::MissingSymbols ? "no events" : "events"};
}

Texts ofClient(Breakage breakage, const fs::path& file) {
  return whileBrokenAndAfter(breakage, file, memberCode("011"), "2011");
}

Texts ofSibling(Breakage breakage, const fs::path& file) {
  return whileBrokenAndAfter(breakage, file, memberCode("014"), "1011");
}

const Opened kOpened[] = {
    {"Jvm", "libjvm.so", FAKEJVM_PATH, "brokenJvm", ofJvm},
    {"Configs", "libConfigs.so", FAKECONFIGS_PATH, "brokenConfigs", ofConfigs},
    {"Utils", "libUtils.so", FAKEUTILS_PATH, "brokenUtils", ofUtils},
    {"TcpClient", "libFerrolinkTcpClient.so", FAKESIBLING_PATH, "brokenTcpClient", ofClient},
    {"TcpTlsClient", "libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH, "brokenTlsClient", ofClient},
    {"Sibling", "libFerrolinkCppRuntimeNative.so", FAKESIBLING_PATH, "brokenSibling", ofSibling},
};

struct LoaderFault {
  std::size_t library;  ///< its place in kOpened
  Breakage breakage;
};

std::vector<LoaderFault> allFaults() {
  std::vector<LoaderFault> faults;
  for (std::size_t library = 0; library < std::size(kOpened); ++library) {
    for (int breakage = 0; breakage < kBreakages; ++breakage) {
      faults.push_back({library, static_cast<Breakage>(breakage)});
    }
  }
  return faults;
}

BuiltLibrary member() {
  return BuiltLibrary(caseNativeDirectory() / kMember);
}

void repair() {
  putRight(caseNativeDirectory() / caseArguments().at(0), caseArguments().at(1));
}

std::string initialize(IReceiver& receiver) {
  return thrownBy([&] { receiver.Initialize(8, 2, 0); });
}

template <class Action>
std::string unprivileged(Action action) {
  const WithoutPrivileges nobody;
  return action();
}

void useTransmitter(std::uint8_t channel) {
  ITransmitter& transmitter = *member().transmitter();
  report(unprivileged([&] { return send(transmitter, toRuntime8(channel)); }));
  repair();
  report(send(transmitter, toRuntime8(channel)));
}

}  // namespace

PROCESS_CASE(brokenJvm) {
  IReceiver& receiver = *member().receiver();
  report(unprivileged([&] { return initialize(receiver); }));
  if (caseArguments().at(2) == "MissingSymbols") {
    return;
  }
  repair();
  report(initialize(receiver));
  report(exchange(receiver, toJava(2)));
}

PROCESS_CASE(brokenConfigs) {
  IReceiver& receiver = *member().receiver();
  const auto configure = [&] { return thrownBy([&] { receiver.SetConfigSource("source"); }); };
  report(unprivileged([&] { return initialize(receiver); }));
  report(unprivileged([&] { return exchange(receiver, toJava(2)); }));
  report(unprivileged(configure));
  repair();
  report(configure());
}

PROCESS_CASE(brokenUtils) {
  IReceiver& receiver = *member().receiver();
  const auto fail = [&] {
    const std::string text = thrownBy([&] { receiver.ReadResponse(nullptr, 0); });
    return text.substr(0, text.find("\nRUNTIME INFO:"));
  };
  const auto reportEvents = [] {
    report(fs::exists(caseRoot() / "events") ? "events" : "no events");
  };
  report(unprivileged([&] { return initialize(receiver); }));
  report(unprivileged([&] { return exchange(receiver, toJava(2)); }));
  report(unprivileged(fail));
  reportEvents();
  repair();
  report(fail());
  reportEvents();
}

PROCESS_CASE(brokenTcpClient) {
  useTransmitter(1);
}

PROCESS_CASE(brokenTlsClient) {
  useTransmitter(2);
}

PROCESS_CASE(brokenSibling) {
  useTransmitter(0);
}

class LoaderFaults : public testing::TestWithParam<LoaderFault> {};

TEST_P(LoaderFaults, EndAsDocumentedAndAreOverOnceTheFileIsRight) {
  const Opened& library = kOpened[GetParam().library];
  const Breakage breakage = GetParam().breakage;
  const InstallationTree tree;
  fs::permissions(tree.root(), fs::perms(0755));
  tree.addLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, kMember);
  const fs::path file = tree.nativeDirectory() / library.file;
  placeBroken(file, breakage, library.whole);
  CaseOptions options;
  options.arguments = {library.file, library.whole, nameOf(breakage)};
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = tree.workDirectory().string();
  options.environment["FAKE_UTILS_EVENTS"] = (tree.root() / "events").string();
  options.environment["FERROLINK_JVM_RUNTIME_PATH"] =
      library.name == std::string("Jvm") ? file.string() : FAKEJVM_PATH;
  const CaseResult result = runCase(library.body, tree, options);
  EXPECT_EQ(result.signal, 0) << result.err;
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, library.expected(breakage, file)) << result.err;
}

INSTANTIATE_TEST_SUITE_P(Of, LoaderFaults, testing::ValuesIn(allFaults()), [](const auto& fault) {
  return std::string(kOpened[fault.param.library].name) + nameOf(fault.param.breakage);
});

}  // namespace FerrolinkTest
