// TransmitterWrapper.setConfigSource, setWorkingDirectory and getNativeError.
#include <gtest/gtest.h>

#include <fstream>
#include <latch>
#include <sstream>

#include "jvm/JvmLibGlobals.h"
#include "jvm/NativeError.h"
#include "tests/jvm/FakeJavaHost.h"

namespace Ferrolink::Tests {
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

const Method& Requested() {
  return kMethods[std::stoul(CaseArguments().front())];
}

class ConfigurationMethod : public testing::TestWithParam<std::size_t> {
 protected:
  ConfigurationMethod() {
    m_options.arguments = {std::to_string(GetParam())};
    m_options.environment["FAKE_CONFIGS_CALLS"] = CallsFile().string();
  }

  [[nodiscard]] const Method& GetMethod() const { return kMethods[GetParam()]; }
  [[nodiscard]] std::string Failed(const std::string& text) const {
    return std::string(GetMethod().failure) + ": " + text;
  }
  [[nodiscard]] std::string ConfigurationCalls() const {
    std::ostringstream text;
    text << std::ifstream(CallsFile()).rdbuf();
    return text.str();
  }

  InstallationTree m_tree;
  CaseOptions m_options = LoggedOptions(m_tree);

 private:
  [[nodiscard]] std::filesystem::path CallsFile() const { return m_tree.Root() / "calls"; }
};

}  // namespace

PROCESS_CASE(configure) {
  FakeJavaHost java;
  jstring text = java.thread.String("/some text");
  java.ReportCall([&] { return (java.thread.*Requested().call)(text); });
  Report(transmitter.load() == nullptr && receiver.load() == nullptr);
  Report(static_cast<long>(operationMode.load()));
  Report(Ferrolink::Native::firstCall.load());
}

TEST_P(ConfigurationMethod, HandsTheStringOnAndMakesNoRole) {
  m_options.environment[std::string("FAKE_CONFIGS_") + GetMethod().function] = "41";
  ExpectReport("configure", {"41", kStringCalls, "nothing", "1", "-1", "1"}, m_tree, m_options);
  EXPECT_EQ(ConfigurationCalls(), std::string(GetMethod().function) + "(/some text)\n");
}

TEST_P(ConfigurationMethod, TurnsAnErrorIntoItsOwnCodeAndReleasesTheCharacters) {
  m_options.environment[std::string("FAKE_CONFIGS_THROW_") + GetMethod().function] = "no such thing";
  ExpectReport("configure", {Failed("no such thing"), kStringCalls, "nothing", "1", "-1", "1"},
               m_tree, m_options);
}

PROCESS_CASE(configureNothing) {
  FakeJavaHost java;
  jstring text = java.thread.String("text");
  java.ReportCall([&] { return (java.thread.*Requested().call)(nullptr); });
  java.jvm.Inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true});
  java.ReportCall([&] { return (java.thread.*Requested().call)(text); });
  java.jvm.ClearInjections();
  java.jvm.Inject({.call = "GetStringUTFChars", .occurrence = 1, .null = true, .exception = true});
  java.ReportCall([&] { return (java.thread.*Requested().call)(text); });
}

TEST_P(ConfigurationMethod, WithoutAStringReturnsItsOwnCodeAndClearsTheJavaException) {
  ExpectReport("configureNothing",
               {Failed(kNullString), "", "nothing", Failed(kNullString),
                "GetStringUTFChars ExceptionCheck", "nothing", Failed(kNullString),
                "GetStringUTFChars ExceptionCheck ExceptionClear", "nothing"},
               m_tree, m_options);
  EXPECT_EQ(ConfigurationCalls(), "");
}

INSTANTIATE_TEST_SUITE_P(For, ConfigurationMethod,
                         testing::Range<std::size_t>(0, std::size(kMethods)),
                         [](const auto& method) { return kMethods[method.param].name; });

PROCESS_CASE(readNativeErrors) {
  FakeJavaHost java;
  Report(java.thread.NativeError());
  Report(java.thread.NativeError());
  java.thread.setWorkingDirectory(nullptr);
  Report(java.thread.NativeError());
  Report(java.thread.Outcome(java.thread.sendCommand(java.thread.Array({}))));
  Report(java.thread.NativeError());
  OnNewThread([&] { Report(JavaThread(java.vm).NativeError()); });
  java.thread.sendCommand(nullptr);
  OnNewThread([&] { Report(JavaThread(java.vm).NativeError()); });
}

TEST(GetNativeError, KeepsTheLastFailureOfAnyThreadThroughReadsAndSuccesses) {
  ExpectReport("readNativeErrors",
               {"Undefined error", "Undefined error", kNullString, "0", kNullString, kNullString,
                "JVM Lib: Exception code 002. Command byte array is null"});
}

PROCESS_CASE(readTextOfTarget) {
  FakeJavaHost java;
  Report(java.thread.Outcome(
      java.thread.sendCommand(java.thread.Array({8, 3, 0, 0, 0, 0, 0, 0, 0, 2, 2}))));
}

TEST(GetNativeError, YieldsModifiedUtf8WhateverTheTextHolds) {
  CallerTree siblings;
  CaseOptions options = ThrowingIn("Receiver.SendCommand");
  options.environment["FAKE_SIBLING_THROW_TEXT"] = "\u00e9\u20ac\xF0\x9F\x98\x80 \xFF\x80 \xE2\x82";
  siblings.Expect("readTextOfTarget",
                  {"-2: \u00e9\u20ac\xED\xA0\xBD\xED\xB8\x80 \uFFFD\uFFFD \uFFFD\uFFFD"}, options);
}

PROCESS_CASE(readWithoutAString) {
  FakeJavaHost java;
  java.jvm.Inject({.call = "NewStringUTF", .occurrence = 1, .null = true});
  java.jvm.Inject({.call = "NewStringUTF", .occurrence = 2, .null = true, .exception = true});
  for (int i = 0; i < 3; ++i) {
    java.ReportVoidCall([&] { Report(java.thread.getNativeError() == nullptr); });
  }
}

TEST(GetNativeError, YieldsNullWithoutAJavaExceptionWhereThereIsNoString) {
  ExpectReport("readWithoutAString", {"1", "NewStringUTF ExceptionCheck", "nothing", "1",
                                      "NewStringUTF ExceptionCheck ExceptionClear", "nothing", "0",
                                      "NewStringUTF ExceptionCheck", "local 1"});
}

PROCESS_CASE(failAtOnce) {
  std::latch start(4);
  NativeError::Store(std::string(3000, 'a').c_str());
  OnNewThreads(4, [&](int i) {
    const auto size = static_cast<std::size_t>(3000 + i);
    const std::string own(size, static_cast<char>('a' + i));
    start.arrive_and_wait();
    for (int n = 0; n < 2000; ++n) {
      NativeError::Store(own.c_str());
      NativeError::ForgetOwn();
      const std::string text = NativeError::Text();
      const auto length = static_cast<std::size_t>(3000 + text.front() - 'a');
      if (text != std::string(length, text.front())) {
        Report("half a text");
      }
    }
  });
  Report("read");
}

TEST(GetNativeError, IsAlwaysAWholeTextWhileThreadsFailAtOnce) {
  ExpectReport("failAtOnce", {"read"});
}

}  // namespace Ferrolink::Tests
