#include "tests/jvm/LauncherFixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <thread>

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {

CaseOptions FakeJvmOptions() {
  CaseOptions options;
  options.environment["FERROLINK_JVM_RUNTIME_PATH"] = FAKEJVM_PATH;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  return options;
}

CaseOptions LoggedOptions(const InstallationTree& tree) {
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  CaseOptions options = FakeJvmOptions();
  options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = tree.WorkDirectory().string();
  return options;
}

namespace {

// The length of the stamp that opens `line`, with its thread id; 0 where there is none.
std::size_t StampLength(const std::string& line) {
  const std::string form = "dddd-dd-dd dd:dd:dd\tThread ID: ";
  if (line.size() <= form.size()) {
    return 0;
  }
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool digit = line[i] >= '0' && line[i] <= '9';
    if (form[i] == 'd' && i < 19 ? !digit : line[i] != form[i]) {
      return 0;
    }
  }
  const std::size_t end = line.find_first_not_of("0123456789", form.size());
  return end != std::string::npos && end > form.size() && line[end] == '\t' ? end + 1 : 0;
}

}  // namespace

Texts LoggedErrors(const InstallationTree& tree) {
  std::istringstream log(tree.ErrorLog());
  Texts errors;
  for (std::string line; std::getline(log, line);) {
    if (const std::size_t stamp = StampLength(line)) {
      errors.push_back(line.substr(stamp));
    } else if (!errors.empty()) {
      errors.back() += "\n" + line;
    } else {
      errors.push_back("line without a stamp: " + line);
    }
  }
  return errors;
}

CaseResult ExpectReport(const std::string& name, const Texts& expected) {
  const InstallationTree tree;
  return ExpectReport(name, expected, tree, FakeJvmOptions());
}

CaseResult ExpectReport(const std::string& name, const Texts& expected,
                        const InstallationTree& tree, const CaseOptions& options) {
  CaseResult result = RunCase(name, tree, options);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.signal, 0) << result.err;
  EXPECT_EQ(result.report, expected);
  return result;
}

Bytes Command(std::uint8_t type, std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(100 + i);
  }
  if (size > 10) {
    bytes[10] = type;
  }
  return bytes;
}

Bytes LoadLibraryCommand(const std::string& path) {
  Bytes bytes = Command(1, 24);
  bytes.insert(bytes.end(), path.begin(), path.end());
  return bytes;
}

Launched::Launched(RuntimeOperationMode mode)
    : jvm(std::getenv("FERROLINK_JVM_RUNTIME_PATH")), launcher(mode) {
  launcher.Initialize(0);
}

std::string Launched::Send(Bytes message) {
  std::string result;
  const std::string thrown = ThrownBy([&] {
    result = std::to_string(launcher.SendCommand(message.data(), static_cast<int>(message.size())));
  });
  return result.empty() ? thrown : result;
}

std::string Launched::Read(int length) {
  Bytes buffer(64, 0xEE);
  std::string result;
  const std::string thrown =
      ThrownBy([&] { result = std::to_string(launcher.ReadResponse(buffer.data(), length)); });
  if (result != "0") {
    return result.empty() ? thrown : "returned " + result;
  }
  while (!buffer.empty() && buffer.back() == 0xEE) {
    buffer.pop_back();
  }
  return Numbers(buffer);
}

std::string Launched::Exchange(const Bytes& message) {
  const std::string sent = Send(message);
  return sent.size() > 4 ? sent : sent + ": " + Read();
}

Started::Started() {
  Send(Command());
  Read();
  jvm.ClearCalls();
}

std::string Numbers(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += (text.empty() ? "" : " ") + std::to_string(byte);
  }
  return text;
}

Bytes Filled(std::size_t size, std::uint8_t value) {
  return Bytes(size, value);
}

std::string Outstanding(FakeJvmClient& jvm) {
  const FakeJvm::Counts counts = jvm.Counts();
  return "local " + std::to_string(counts.localReferences) + " global " +
         std::to_string(counts.globalReferences) + " elements " + std::to_string(counts.elements) +
         " characters " + std::to_string(counts.characters) + " attached " +
         std::to_string(counts.attachedThreads) + " dropped " +
         std::to_string(counts.droppedByDetach);
}

void ReportAll(const Texts& texts) {
  for (const std::string& text : texts) {
    Report(text);
  }
}

void OnNewThread(const std::function<void()>& action) {
  std::thread(action).join();
}

void OnNewThreads(int count, const std::function<void(int)>& action) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back(action, i);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

std::string RuntimeInfo(const std::string& managed, const std::string& libraryPath) {
  return "\n" + managed +
         "JVM Native Launcher Runtime Info: \nJVM shared library search path: " + libraryPath;
}

std::string LauncherError(const std::string& text, const std::string& managed,
                          const std::string& libraryPath) {
  return "JVM Launcher: Exception code " + text + "\nRUNTIME INFO:\n" +
         RuntimeInfo(managed, libraryPath);
}

Texts Joined(const std::vector<Texts>& stretches) {
  Texts all;
  for (const Texts& stretch : stretches) {
    all.insert(all.end(), stretch.begin(), stretch.end());
  }
  return all;
}

Texts ClassLookUpCalls() {
  return {"FindClass(com/ferrolink/core/receiver/Receiver)", "ExceptionCheck"};
}

Texts MethodLookUpCalls() {
  return {"GetStaticMethodID(sendCommand, ([B)[B)",
          "ExceptionCheck",
          "GetStaticMethodID(heartBeat, ([B)[B)",
          "ExceptionCheck",
          "GetStaticMethodID(getRuntimeInfo, ()Ljava/lang/String;)",
          "ExceptionCheck"};
}

Texts RuntimeInfoCalls() {
  return {"GetEnv(1.8)",    "CallStaticObjectMethodV(getRuntimeInfo)",
          "ExceptionCheck", "GetStringUTFChars",
          "ExceptionCheck", "ReleaseStringUTFChars",
          "ExceptionCheck", "DeleteLocalRef"};
}

Texts MakeArrayCalls(int length) {
  const std::string size = std::to_string(length);
  return {"NewByteArray(" + size + ")", "ExceptionCheck", "SetByteArrayRegion(0, " + size + ")",
          "ExceptionCheck"};
}

Texts CallJavaCalls(const std::string& method) {
  if (method == "apply") {
    return {"NewLocalRef", "CallObjectMethodV(apply)", "DeleteLocalRef", "ExceptionCheck"};
  }
  return {"CallStaticObjectMethodV(" + method + ")", "ExceptionCheck"};
}

Texts StoreResponseCalls() {
  return {"GetByteArrayElements", "ExceptionCheck", "GetArrayLength", "ExceptionCheck",
          "ReleaseByteArrayElements(abort)"};
}

Texts RaisedCalls() {
  return {"ExceptionCheck", "ExceptionDescribe", "ExceptionClear"};
}

Texts Deletions(int count) {
  return Texts(static_cast<std::size_t>(count), "DeleteLocalRef");
}

}  // namespace Ferrolink::Tests
