// TransmitterWrapper.setConfigSource, setWorkingDirectory and getNativeError.
#include <gtest/gtest.h>

#include <fstream>
#include <latch>
#include <sstream>

#include "jvm/JvmLibGlobals.h"
#include "jvm/NativeError.h"
#include "tests/jvm/JavaHost.h"

namespace FerrolinkTest {
namespace {

const std::string kStringCalls = "GetStringUTFChars ReleaseStringUTFChars";

struct Method {
  const char* name;
  const char* function;  ///< of the configuration library
  const char* failure;
  jint (JavaThread::*call)(jstring) const;
};

const Method kMethods[] = {
    {"Source", "SetConfigSource", "-6", &JavaThread::setConfigSource},
    {"WorkingDirectory", "SetWorkingDirectory", "-7", &JavaThread::setWorkingDirectory},
};

const Method& requested() {
  return kMethods[std::stoul(caseArguments().front())];
}

class ConfigurationMethod : public testing::TestWithParam<std::size_t> {
 protected:
  ConfigurationMethod() {
    m_options.arguments = {std::to_string(GetParam())};
    m_options.environment["FAKE_CONFIGS_CALLS"] = callsFile().string();
  }

  [[nodiscard]] const Method& method() const { return kMethods[GetParam()]; }
  [[nodiscard]] std::string failed(const std::string& text) const {
    return std::string(method().failure) + ": " + text;
  }
  [[nodiscard]] std::string configurationCalls() const {
    std::ostringstream text;
    text << std::ifstream(callsFile()).rdbuf();
    return text.str();
  }

  InstallationTree m_tree;
  CaseOptions m_options = loggedOptions(m_tree);

 private:
  [[nodiscard]] std::filesystem::path callsFile() const { return m_tree.root() / "calls"; }
};

}  // namespace

PROCESS_CASE(configure) {
  JavaHost java;
  jstring text = java.thread.string("/some text");
  java.reportCall([&] { return (java.thread.*requested().call)(text); });
  report(transmitter.load() == nullptr && receiver.load() == nullptr);
  report(static_cast<long>(operationMode.load()));
  report(Ferrolink::Native::firstCall.load());
}

TEST_P(ConfigurationMethod, HandsTheStringOnAndMakesNoRole) {
  m_options.environment[std::string("FAKE_CONFIGS_") + method().function] = "41";
  expectReport("configure", {"41", kStringCalls, "nothing", "1", "-1", "1"}, m_tree, m_options);
  EXPECT_EQ(configurationCalls(), std::string(method().function) + "(/some text)\n");
}

TEST_P(ConfigurationMethod, TurnsAnErrorIntoItsOwnCodeAndReleasesTheCharacters) {
  m_options.environment[std::string("FAKE_CONFIGS_THROW_") + method().function] = "no such thing";
  expectReport("configure", {failed("no such thing"), kStringCalls, "nothing", "1", "-1", "1"},
               m_tree, m_options);
}

PROCESS_CASE(configureNothing) {
  JavaHost java;
  jstring text = java.thread.string("text");
  java.reportCall([&] { return (java.thread.*requested().call)(nullptr); });
  java.jvm.inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true});
  java.reportCall([&] { return (java.thread.*requested().call)(text); });
  java.jvm.clearInjections();
  java.jvm.inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true, .exception = true});
  java.reportCall([&] { return (java.thread.*requested().call)(text); });
}

TEST_P(ConfigurationMethod, WithoutAStringReturnsItsOwnCodeAndClearsTheJavaException) {
  expectReport("configureNothing",
               {failed(kNullString), "", "nothing", failed(kNullString),
                "GetStringUTFChars ExceptionCheck", "nothing", failed(kNullString),
                "GetStringUTFChars ExceptionCheck ExceptionClear", "nothing"},
               m_tree, m_options);
  EXPECT_EQ(configurationCalls(), "");
}

INSTANTIATE_TEST_SUITE_P(For, ConfigurationMethod,
                         testing::Range<std::size_t>(0, std::size(kMethods)),
                         [](const auto& method) { return kMethods[method.param].name; });

PROCESS_CASE(readNativeErrors) {
  JavaHost java;
  report(java.thread.nativeError());
  report(java.thread.nativeError());
  java.thread.setWorkingDirectory(nullptr);
  report(java.thread.nativeError());
  report(java.thread.outcome(java.thread.sendCommand(java.thread.array({}))));
  report(java.thread.nativeError());
  onNewThread([&] { report(JavaThread(java.vm).nativeError()); });
  java.thread.sendCommand(nullptr);
  onNewThread([&] { report(JavaThread(java.vm).nativeError()); });
}

TEST(GetNativeError, KeepsTheLastFailureOfAnyThreadThroughReadsAndSuccesses) {
  expectReport("readNativeErrors",
               {"Undefined error", "Undefined error", kNullString, "0", kNullString, kNullString,
                "JVM Lib: Exception code 002. Command byte array is null"});
}

PROCESS_CASE(readTextOfTarget) {
  JavaHost java;
  report(java.thread.outcome(
      java.thread.sendCommand(java.thread.array({8, 3, 0, 0, 0, 0, 0, 0, 0, 2, 2}))));
}

TEST(GetNativeError, YieldsModifiedUtf8WhateverTheTextHolds) {
  CallerTree siblings;
  CaseOptions options = throwingIn("Receiver.SendCommand");
  options.environment["FAKE_SIBLING_THROW_TEXT"] = "\u00e9\u20ac\xF0\x9F\x98\x80 \xFF\x80 \xE2\x82";
  siblings.expect("readTextOfTarget",
                  {"-2: \u00e9\u20ac\xED\xA0\xBD\xED\xB8\x80 \uFFFD\uFFFD \uFFFD\uFFFD"}, options);
}

PROCESS_CASE(readWithoutAString) {
  JavaHost java;
  java.jvm.inject({.call = "NewStringUTF", .occurrence = 1, .null = true});
  java.jvm.inject({.call = "NewStringUTF", .occurrence = 2, .null = true, .exception = true});
  for (int i = 0; i < 3; ++i) {
    java.reportVoidCall([&] { report(java.thread.getNativeError() == nullptr); });
  }
}

TEST(GetNativeError, YieldsNullWithoutAJavaExceptionWhereThereIsNoString) {
  expectReport("readWithoutAString", {"1", "NewStringUTF ExceptionCheck", "nothing", "1",
                                      "NewStringUTF ExceptionCheck ExceptionClear", "nothing", "0",
                                      "NewStringUTF ExceptionCheck", "local 1"});
}

PROCESS_CASE(failAtOnce) {
  std::latch start(4);
  NativeError::store(std::string(3000, 'a').c_str());
  onNewThreads(4, [&](int i) {
    const auto size = static_cast<std::size_t>(3000 + i);
    const std::string own(size, static_cast<char>('a' + i));
    start.arrive_and_wait();
    for (int n = 0; n < 2000; ++n) {
      NativeError::store(own.c_str());
      NativeError::forgetOwn();
      const std::string text = NativeError::text();
      const auto length = static_cast<std::size_t>(3000 + text.front() - 'a');
      if (text != std::string(length, text.front())) {
        report("half a text");
      }
    }
  });
  report("read");
}

TEST(GetNativeError, IsAlwaysAWholeTextWhileThreadsFailAtOnce) {
  expectReport("failAtOnce", {"read"});
}

}  // namespace FerrolinkTest
