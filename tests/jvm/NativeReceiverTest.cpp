// The receiver's own bookkeeping, on a launcher that records.
#include "native/NativeReceiver.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "native/NativeLauncher.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::ILauncher;
using Ferrolink::Native::Launcher::NativeLauncher;
using Ferrolink::Native::Receiver::NativeReceiver;

namespace Ferrolink::Tests {
namespace {

constexpr auto kNotSet = RuntimeOperationMode::NotSet;
constexpr auto kCalling = RuntimeOperationMode::CallingRuntime;
constexpr auto kCalled = RuntimeOperationMode::CalledRuntime;

std::string Message(const std::uint8_t* bytes, int length) {
  return Numbers(Bytes(bytes, bytes + length)) + "/" + std::to_string(length);
}

/// Reports each call but the questions whether it is initialised.
class RecordingLauncher : public NativeLauncher {
 public:
  using NativeLauncher::NativeLauncher;
  ~RecordingLauncher() override { Report("destroyed"); }

  int Initialize(std::uint8_t launchArgument) override {
    Report("Initialize " + std::to_string(launchArgument));
    if (failures > 0) {
      failures -= 1;
      throw std::runtime_error("launcher failed");
    }
    return 55;
  }
  void SetInitialized() override {
    Report("SetInitialized");
    NativeLauncher::SetInitialized();
  }
  int SendCommand(std::uint8_t* bytes, int length) override {
    Report("SendCommand " + Message(bytes, length));
    if (length == 1) {
      throw std::runtime_error("launcher failed");
    }
    return 11;
  }
  int ReadResponse(std::uint8_t* buffer, int length) override {
    Report("ReadResponse " + std::to_string(length));
    for (int i = 0; i < length && i < static_cast<int>(response.size()); ++i) {
      buffer[i] = response[static_cast<std::size_t>(i)];
    }
    return 12;
  }
  int LoadOptimizedMethod(std::string name) override {
    Report("LoadOptimizedMethod " + name);
    return 13;
  }
  int SetPath(std::uint8_t runtime, std::string path) override {
    Report("SetPath " + std::to_string(runtime) + " " + path);
    return 14;
  }
  int DeployRuntime(std::uint8_t* bytes, int length, std::string path, std::uint8_t flag) override {
    Report("DeployRuntime " + Message(bytes, length) + " " + path + " " + std::to_string(flag));
    return 15;
  }
  std::string GetRuntimeName() override { return "Recording"; }
  std::string GetRuntimeInfo() override { return "The runtime's information"; }

  int failures = 0;
  Bytes response;
};

class TestedReceiver : public NativeReceiver {
 public:
  explicit TestedReceiver(RuntimeOperationMode mode) : NativeReceiver(mode) {
    auto made = std::make_unique<RecordingLauncher>(mode);
    launcher = made.get();
    SetLauncher(std::move(made));
  }
  RecordingLauncher* launcher;
};

class OverridingReceiver : public TestedReceiver {
 public:
  using TestedReceiver::TestedReceiver;
  void LogException(std::uint8_t* bytes, int length) override {
    Report("LogException " + Message(bytes, length));
  }
};

CaseResult ExpectEvents(const std::string& name, const Texts& expected, const std::string& events,
                        const std::string& level = "off") {
  const InstallationTree tree;
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = LoggedOptions(tree);
  options.environment["FERROLINK_LOGGING_LEVEL"] = level;
  options.environment["FAKE_UTILS_EVENTS"] = (tree.Root() / "events").string();
  CaseResult result = ExpectReport(name, expected, tree, options);
  std::ostringstream sent;
  sent << std::ifstream(tree.Root() / "events").rdbuf();
  EXPECT_EQ(sent.str(), events);
  return result;
}

}  // namespace

PROCESS_CASE(forwarding) {
  TestedReceiver receiver(kCalling);
  Bytes bytes = {1, 2, 3};
  Report(receiver.SendCommand(bytes.data(), 3));
  Report(receiver.ReadResponse(bytes.data(), 3));
  Report(receiver.LoadOptimizedMethod("method"));
  Report(receiver.SetEmbeddedRuntime(200, "a path"));
  Report(receiver.DeployRuntime(bytes.data(), 2, "b path", 201));
  Report(ThrownBy([&] { receiver.SendCommand(bytes.data(), 1); }));
}

TEST(NativeReceiver, ForwardsToTheLauncherAndPassesResultsAndErrorsThrough) {
  ExpectEvents("forwarding",
               {"SendCommand 1 2 3/3", "11", "ReadResponse 3", "12", "LoadOptimizedMethod method",
                "13", "SetPath 200 a path", "14", "DeployRuntime 1 2/2 b path 201", "15",
                "SendCommand 1/1", "launcher failed", "destroyed"},
               "");
}

PROCESS_CASE(initializedTwice) {
  TestedReceiver receiver(kCalled);
  Report(receiver.launcher->IsInitialized());
  Report(receiver.Initialize(5, 2, 9));
  Report(receiver.launcher->IsInitialized());
  Report(receiver.Initialize(0, 3, 8));
  receiver.LogException(nullptr, 0);
}

TEST(NativeReceiver, InitialisesOnceAndKeepsTheFirstRuntimes) {
  const CaseResult result = ExpectEvents(
      "initializedTwice", {"0", "Initialize 9", "SetInitialized", "0", "1", "0", "destroyed"},
      "Native message|Jvm initialized|Python\nJvm exception||Python\n", "all");
  EXPECT_EQ(result.out, "The runtime's information\n");
}

TEST(NativeReceiver, WithLoggingOffSendsTelemetryButPrintsNothing) {
  const CaseResult result = ExpectEvents(
      "initializedTwice", {"0", "Initialize 9", "SetInitialized", "0", "1", "0", "destroyed"},
      "Native message|Jvm initialized|Python\nJvm exception||Python\n", "off");
  EXPECT_EQ(result.out, "");
}

PROCESS_CASE(initializedCalling) {
  TestedReceiver receiver(kCalling);
  Report(receiver.Initialize(5, 2, 1));
  Report(receiver.launcher->IsInitialized());
}

TEST(NativeReceiver, OfACallingRuntimeInitialisesInSilence) {
  const CaseResult result = ExpectEvents(
      "initializedCalling", {"Initialize 1", "SetInitialized", "0", "1", "destroyed"}, "", "all");
  EXPECT_EQ(result.out, "");
}

PROCESS_CASE(initializeFails) {
  TestedReceiver receiver(kCalled);
  receiver.launcher->failures = 1;
  Report(ThrownBy([&] { receiver.Initialize(5, 2, 3); }));
  Report(receiver.launcher->IsInitialized());
  Report(receiver.Initialize(6, 2, 4));
}

TEST(NativeReceiver, TriesAgainAfterALauncherThatFailed) {
  const CaseResult result = ExpectEvents(
      "initializeFails",
      {"Initialize 3", "launcher failed", "0", "Initialize 4", "SetInitialized", "0", "destroyed"},
      "Native message|Jvm initialized|Ruby\n", "runtimeinfo");
  EXPECT_EQ(result.out, "The runtime's information\n");
}

PROCESS_CASE(withoutMode) {
  TestedReceiver receiver(kNotSet);
  Report(ThrownBy([&] { receiver.Initialize(5, 2, 3); }));
  receiver.LogException(nullptr, 0);
}

TEST(NativeReceiver, WithoutAModeRaises031AndLeavesTheRuntimesUnknown) {
  const std::string error =
      "Ferrolink Native Exception: Exception code 031. \nRuntime not initialized";
  ExpectEvents("withoutMode", {error, "destroyed"},
               "Native exception|Ferrolink Native Exception: Exception code 031. Runtime not "
               "initialized|Unknown\nUnknown exception||Unknown\n");
}

PROCESS_CASE(exceptionResponses) {
  OverridingReceiver receiver(kCalled);
  Bytes exact = Filled(10, 10);
  receiver.launcher->response = Filled(12, 10);
  Report(receiver.ReadResponse(exact.data(), 10));
  Bytes header = Filled(11, 0);
  Report(receiver.ReadResponse(header.data(), 11));
  Bytes longer = Filled(12, 0);
  Report(receiver.ReadResponse(longer.data(), 12));
  Report(Numbers(longer));
  receiver.launcher->response[10] = 11;
  Report(receiver.ReadResponse(longer.data(), 12));
  Report(receiver.ReadResponse(longer.data(), 0));
  Report(receiver.ReadResponse(longer.data(), -1));
}

TEST(NativeReceiver, ReportsAnExceptionResponseOnceAndHandsItBackUnchanged) {
  const std::string eleven = Numbers(Filled(11, 10));
  const std::string twelve = Numbers(Filled(12, 10));
  ExpectEvents(
      "exceptionResponses",
      {"ReadResponse 10", "12", "ReadResponse 11", "LogException " + eleven + "/11", "12",
       "ReadResponse 12", "LogException " + twelve + "/12", "12", twelve, "ReadResponse 12", "12",
       "ReadResponse 0", "12", "ReadResponse -1", "12", "destroyed"},
      "");
}

PROCESS_CASE(exceptionResponseEvent) {
  TestedReceiver receiver(kCalling);
  receiver.Initialize(0, 2, 0);
  receiver.launcher->response = {2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 'O', 'h', 7};
  Bytes buffer(14);
  Report(receiver.ReadResponse(buffer.data(), 14));
}

TEST(NativeReceiver, SendsAnExceptionResponseToTelemetryAsPrintableText) {
  ExpectEvents("exceptionResponseEvent",
               {"Initialize 0", "SetInitialized", "ReadResponse 14", "12", "destroyed"},
               "Jvm exception|           Oh |Clr\n");
}

PROCESS_CASE(printableText) {
  TestedReceiver receiver(kCalling);
  Bytes four = {0x41, 0x00, 0x7F, 0x42};
  receiver.LogException(four.data(), 4);
  receiver.LogException(four.data(), 0);
  receiver.LogException(four.data(), -5);
  Bytes all(256);
  for (std::size_t i = 0; i < all.size(); ++i) {
    all[i] = static_cast<std::uint8_t>(i);
  }
  receiver.LogException(all.data(), 256);
}

TEST(NativeReceiver, KeepsPrintableCharactersAndBlanksTheRest) {
  std::string all(256, ' ');
  for (std::size_t i = 32; i <= 126; ++i) {
    all[i] = static_cast<char>(i);
  }
  ExpectEvents("printableText", {"destroyed"},
               "Unknown exception|A  B|Unknown\nUnknown exception||Unknown\n"
               "Unknown exception||Unknown\nUnknown exception|" +
                   all + "|Unknown\n");
}

PROCESS_CASE(configSource) {
  TestedReceiver receiver(kNotSet);
  Report(receiver.SetConfigSource("the source"));
}

TEST(NativeReceiver, HandsTheConfigurationSourceOn) {
  const InstallationTree tree;
  CaseOptions options = LoggedOptions(tree);
  options.environment["FAKE_CONFIGS_SetConfigSource"] = "77";
  options.environment["FAKE_CONFIGS_CALLS"] = (tree.Root() / "calls").string();
  ExpectReport("configSource", {"77", "destroyed"}, tree, options);
  std::ostringstream calls;
  calls << std::ifstream(tree.Root() / "calls").rdbuf();
  EXPECT_EQ(calls.str(), "SetConfigSource(the source)\n");
}

TEST(NativeReceiver, WithoutALauncherIsDestroyedInPeace) {
  const NativeReceiver receiver(kCalled);
}

namespace {

class PlainLauncher : public RecordingLauncher {
 public:
  using RecordingLauncher::RecordingLauncher;
  std::string GetRuntimeInfo() override { return NativeLauncher::GetRuntimeInfo(); }
};

}  // namespace

PROCESS_CASE(plainLauncher) {
  PlainLauncher launcher(kCalled);
  ILauncher& slots = launcher;
  Report(slots.IsInitialized());
  Report("<" + slots.GetRuntimeInfo() + ">");
  slots.SetInitialized();
  Report(slots.IsInitialized());
  slots.SetInitialized();
  Report(slots.IsInitialized());
}

TEST(NativeLauncher, IsNotInitialisedUntilToldAndDescribesNothing) {
  ExpectReport("plainLauncher",
               {"0", "<>", "SetInitialized", "1", "SetInitialized", "1", "destroyed"});
}

}  // namespace Ferrolink::Tests
