// Every JNI call of a command fails in every way it can: the code, what is left, and what comes
// next.
#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
namespace {

const std::string kEcho14 = "14: " + numbers(command());

struct Fault {
  const char* name;
  const char* call;  ///< "Java" stands for the call into Java
  bool null;
  bool exception;
  const char* text;         ///< after "JVM Launcher: Exception code "
  const char* bindingText;  ///< null where it is the same
  bool described;           ///< the JVM describes the exception on standard error
};

constexpr const char* kNullResponse = "024. Null response from JVM";
constexpr const char* kNullCallbackResponse = "024. Null response from runtime callback";
constexpr const char* kNoElements = "025. Failed to get byte array elements";
constexpr const char* kNoCallbackElements = "025. Failed to get callback response bytes";

const Fault kFaults[] = {
    {"NewArrayNull", "NewByteArray", true, false, "020. Failed to create byte array", nullptr,
     false},
    {"NewArrayNullAndThrown", "NewByteArray", true, true, "020. Failed to create byte array",
     nullptr, false},
    {"NewArrayThrown", "NewByteArray", false, true, "021. JVM exception occurred", nullptr, true},
    {"FillingThrown", "SetByteArrayRegion", false, true, "022. JVM exception occurred", nullptr,
     true},
    {"JavaThrown", "Java", true, true, "023. JVM exception occurred", nullptr, true},
    {"JavaThrownBesides", "Java", false, true, "023. JVM exception occurred", nullptr, true},
    {"JavaNull", "Java", true, false, kNullResponse, kNullCallbackResponse, false},
    {"ElementsNull", "GetByteArrayElements", true, false, kNoElements, kNoCallbackElements, false},
    {"ElementsNullAndThrown", "GetByteArrayElements", true, true, kNoElements, kNoCallbackElements,
     false},
    {"ElementsThrown", "GetByteArrayElements", false, true, "026. JVM exception occurred", nullptr,
     true},
    {"LengthThrown", "GetArrayLength", false, true, "027. JVM exception occurred", nullptr, true},
};

void injectFault(FakeJvmClient& jvm, const Fault& fault, const std::string& javaCall) {
  const std::string call = fault.call == std::string("Java") ? javaCall : fault.call;
  jvm.inject({.call = call, .occurrence = 1, .null = fault.null, .exception = fault.exception});
}

const Fault& requestedFault() {
  return kFaults[std::stoul(caseArguments().front())];
}

void bindCallback(FakeJvmClient& jvm) {
  jobject object = nullptr;
  jmethodID method = nullptr;
  callbackJavaVM = jvm.startJvm();
  jvm.makeCallback(object, method);
  sendCommandCallbackObject = object;
  sendCommandCallbackMethod = method;
}

// The failing command and the two after it, what each leaves, and that no response was stored.
void reportFaultAndRecovery(Launched& launched) {
  report(launched.send(command()));
  report(outstanding(launched.jvm));
  report(launched.exchange(command()));
  report(launched.exchange(command(2, 15)));
  report(outstanding(launched.jvm));
}

class LauncherFault : public testing::TestWithParam<std::size_t> {
 protected:
  void expectFault(const std::string& name, const std::string& left, const std::string& error) {
    const InstallationTree tree;
    CaseOptions options = fakeJvmOptions();
    options.arguments = {std::to_string(GetParam())};
    const CaseResult result = expectReport(
        name, {error, left, kEcho14, "15: " + numbers(command(2, 15)), left}, tree, options);
    EXPECT_EQ(result.err, kFaults[GetParam()].described
                              ? "Exception in thread \"main\" fake.JavaException\n"
                              : "");
  }
};

}  // namespace

PROCESS_CASE(faultOnStartingThread) {
  Started started;
  injectFault(started.jvm, requestedFault(), "CallStaticObjectMethodV(sendCommand");
  reportFaultAndRecovery(started);
}

TEST_P(LauncherFault, OnTheStartingThreadRaisesItsCodeLeavesNothingAndTheNextCommandWorks) {
  expectFault("faultOnStartingThread", kOnlyStarted, launcherError(kFaults[GetParam()].text));
}

PROCESS_CASE(faultOnUnknownThread) {
  Started started;
  onNewThread([&] { started.exchange(command()); });
  injectFault(started.jvm, requestedFault(), "CallStaticObjectMethodV(sendCommand");
  onNewThread([&] { reportFaultAndRecovery(started); });
}

TEST_P(LauncherFault, OnAnUnknownThreadRaisesItsCodeLeavesNothingAndTheNextCommandWorks) {
  expectFault("faultOnUnknownThread", kStartedAndShared, launcherError(kFaults[GetParam()].text));
}

PROCESS_CASE(faultWhileBinding) {
  Launched launched(RuntimeOperationMode::CallingRuntime);
  bindCallback(launched.jvm);
  launched.exchange(command());  // the class of byte[] is known from here on
  injectFault(launched.jvm, requestedFault(), "CallObjectMethodV(apply");
  reportFaultAndRecovery(launched);
}

TEST_P(LauncherFault, WhileBindingRaisesItsCodeLeavesNothingAndTheNextCommandWorks) {
  const Fault& fault = kFaults[GetParam()];
  expectFault("faultWhileBinding", "local 0 global 1 elements 0 characters 0 attached 0 dropped 0",
              launcherError(fault.bindingText != nullptr ? fault.bindingText : fault.text, "", ""));
}

INSTANTIATE_TEST_SUITE_P(OfEveryCall, LauncherFault,
                         testing::Range<std::size_t>(0, std::size(kFaults)),
                         [](const auto& fault) { return kFaults[fault.param].name; });

namespace {

struct AttachFault {
  const char* name;
  FakeJvm::Injection injection;
  const char* line;    ///< on standard output
  const char* logged;  ///< the first error
};

const AttachFault kAttachFaults[] = {
    {"AttachRefused",
     {.call = "AttachCurrentThread", .occurrence = 1, .result = -1},
     "ThreadJniEnv: failed to attach thread to JVM\n",
     "ThreadJniEnv: failed to attach thread to JVM"},
    {"VersionRefused",
     {.call = "GetEnv", .occurrence = 1, .result = JNI_EVERSION},
     "ThreadJniEnv: JNI version not supported\n",
     "ThreadJniEnv: JNI version not supported"},
    {"UnknownError",
     {.call = "GetEnv", .occurrence = 1, .result = JNI_ERR},
     "ThreadJniEnv: unknown error getting JNI environment\n",
     "ThreadJniEnv: unknown error getting JNI environment"},
    {"NullAfterAttach",
     {.call = "AttachCurrentThread", .occurrence = 1, .null = true},
     "",
     "ThreadJniEnv: m_jniEnv is nullptr after initialization"},
};

}  // namespace

PROCESS_CASE(threadRefused) {
  Started started;
  onNewThread([&] { started.exchange(command()); });
  started.jvm.clearCalls();
  started.jvm.inject(kAttachFaults[std::stoul(caseArguments().front())].injection);
  std::fputs("command:\n", stdout);
  onNewThread([&] { report(started.send(command())); });
  report(started.jvm.countCalls("CallStaticObjectMethodV"));
  report(outstanding(started.jvm));
  onNewThread([&] { report(started.exchange(command())); });
}

class LauncherAttachFault : public testing::TestWithParam<std::size_t> {};

TEST_P(LauncherAttachFault, EndsInCode019WithoutACallIntoJava) {
  const AttachFault& fault = kAttachFaults[GetParam()];
  const InstallationTree tree;
  CaseOptions options = loggedOptions(tree);
  options.arguments = {std::to_string(GetParam())};
  const std::string text = "019. Failed to attach thread to JVM";
  const std::string error = launcherError(text, "");
  const CaseResult result =
      expectReport("threadRefused", {error, "0", kStartedAndShared, kEcho14}, tree, options);
  EXPECT_EQ(result.out.substr(result.out.find("command:\n")),
            std::string("command:\n") + fault.line);
  EXPECT_EQ(loggedErrors(tree),
            (Texts{fault.logged, "JVM Launcher: Exception code " + text, error}));
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, LauncherAttachFault,
                         testing::Range<std::size_t>(0, std::size(kAttachFaults)),
                         [](const auto& fault) { return kAttachFaults[fault.param].name; });

PROCESS_CASE(heartBeatFails) {
  Started started;
  started.jvm.script().heartBeat.answer = FakeJvm::Answer::Throw;
  report(started.send(command(11)));
  started.jvm.script().heartBeat.answer = FakeJvm::Answer::Null;
  report(started.send(command(11)));
  report(started.send(command()));
  report(outstanding(started.jvm));
}

TEST(LauncherFaults, AFailingHeartBeatRaisesTheSameCodes) {
  expectReport("heartBeatFails", {launcherError("023. JVM exception occurred"),
                                  launcherError(kNullResponse), "14", kOnlyStarted});
}

PROCESS_CASE(negativeLength) {
  Started started;
  Bytes bytes = command();
  report(thrownBy([&] { started.launcher.SendCommand(bytes.data(), -1); }));
  report(started.exchange(command()));
}

TEST(LauncherFaults, ANegativeLengthIsRefusedByTheJvmAndRaises020) {
  expectReport("negativeLength", {launcherError("020. Failed to create byte array"), kEcho14});
}

PROCESS_CASE(arrayLockWhileRaising) {
  Started started;
  started.jvm.inject({.call = "NewByteArray", .occurrence = 1, .null = true});
  started.jvm.inject({.call = "NewByteArray", .occurrence = 3, .exception = true});
  started.jvm.inject({.call = "SetByteArrayRegion", .occurrence = 3, .exception = true});
  started.jvm.script().insideRuntimeInfo = [&] {
    onNewThread([&] { report(started.exchange(command())); });
  };
  for (int i = 0; i < 3; ++i) {
    report(started.send(command()).substr(0, 32));
  }
  report(started.read().substr(0, 32));
}

// The runtime information that an error text carries comes out of Java.
TEST(LauncherFaults, NoLockIsHeldWhileAnErrorTextIsMade) {
  const std::string code = "JVM Launcher: Exception code ";
  expectReport("arrayLockWhileRaising", {kEcho14, code + "020", kEcho14, code + "021", kEcho14,
                                         code + "022", kEcho14, code + "017"});
}

PROCESS_CASE(checkWithoutException) {
  Started started;
  JNIEnv* env = getJniEnvForThread(nullptr);
  report(started.launcher.CheckAndHandleJvmException(env, "999", true));
  reportAll(started.jvm.calls());
}

TEST(LauncherFaults, WithoutAPendingExceptionTheCheckIsFalseAndTouchesNothing) {
  expectReport("checkWithoutException", {"0", "ExceptionCheck"});
}

PROCESS_CASE(checkWithException) {
  Launched binding(RuntimeOperationMode::CallingRuntime);
  const ThreadJniEnv thread(binding.jvm.startJvm());
  JNIEnv* env = thread.m_jniEnv;
  binding.jvm.inject({.call = "GetVersion", .occurrence = 1, .exception = true});
  env->GetVersion();
  binding.jvm.clearCalls();
  report(thrownBy([&] { binding.launcher.CheckAndHandleJvmException(env, "999", false); }));
  reportAll(binding.jvm.calls());
  binding.jvm.clearCalls();
  report(thrownBy([&] { binding.launcher.CheckAndHandleJvmException(env, "998", true); }));
  reportAll(binding.jvm.calls());
  report(env->ExceptionCheck());
}

TEST(LauncherFaults, TheCheckDescribesAPendingExceptionAndClearsItWhereAskedTo) {
  expectReport("checkWithException",
               {launcherError("999. JVM exception occurred", "", ""), "ExceptionCheck",
                "ExceptionDescribe", launcherError("998. JVM exception occurred", "", ""),
                "ExceptionCheck", "ExceptionDescribe", "ExceptionClear", "0"});
}

}  // namespace FerrolinkTest
