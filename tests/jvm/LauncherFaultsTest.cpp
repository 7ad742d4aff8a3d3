// Every JNI call of a command fails in every way it can: the code, what is left, and what comes
// next.
#include <gtest/gtest.h>

#include "jvm/JvmLibGlobals.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

const std::string kEcho14 = "14: " + Numbers(Command());

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

void InjectFault(FakeJvmClient& jvm, const Fault& fault, const std::string& javaCall) {
  const std::string call = fault.call == std::string("Java") ? javaCall : fault.call;
  jvm.Inject({.call = call, .occurrence = 1, .null = fault.null, .exception = fault.exception});
}

const Fault& RequestedFault() {
  return kFaults[std::stoul(CaseArguments().front())];
}

void BindCallback(FakeJvmClient& jvm) {
  jobject object = nullptr;
  jmethodID method = nullptr;
  callbackJavaVM = jvm.StartJvm();
  jvm.MakeCallback(object, method);
  sendCommandCallbackObject = object;
  sendCommandCallbackMethod = method;
}

// The failing command and the two after it, what each leaves, and that no response was stored.
void ReportFaultAndRecovery(Launched& launched) {
  Report(launched.Send(Command()));
  Report(Outstanding(launched.jvm));
  Report(launched.Exchange(Command()));
  Report(launched.Exchange(Command(2, 15)));
  Report(Outstanding(launched.jvm));
}

class LauncherFault : public testing::TestWithParam<std::size_t> {
 protected:
  void ExpectFault(const std::string& name, const std::string& left, const std::string& error) {
    const InstallationTree tree;
    CaseOptions options = FakeJvmOptions();
    options.arguments = {std::to_string(GetParam())};
    const CaseResult result = ExpectReport(
        name, {error, left, kEcho14, "15: " + Numbers(Command(2, 15)), left}, tree, options);
    EXPECT_EQ(result.err, kFaults[GetParam()].described
                              ? "Exception in thread \"main\" fake.JavaException\n"
                              : "");
  }
};

}  // namespace

PROCESS_CASE(faultOnStartingThread) {
  Started started;
  InjectFault(started.jvm, RequestedFault(), "CallStaticObjectMethodV(sendCommand");
  ReportFaultAndRecovery(started);
}

TEST_P(LauncherFault, OnTheStartingThreadRaisesItsCodeLeavesNothingAndTheNextCommandWorks) {
  ExpectFault("faultOnStartingThread", kOnlyStarted, LauncherError(kFaults[GetParam()].text));
}

PROCESS_CASE(faultOnUnknownThread) {
  Started started;
  OnNewThread([&] { started.Exchange(Command()); });
  InjectFault(started.jvm, RequestedFault(), "CallStaticObjectMethodV(sendCommand");
  OnNewThread([&] { ReportFaultAndRecovery(started); });
}

TEST_P(LauncherFault, OnAnUnknownThreadRaisesItsCodeLeavesNothingAndTheNextCommandWorks) {
  ExpectFault("faultOnUnknownThread", kStartedAndShared, LauncherError(kFaults[GetParam()].text));
}

PROCESS_CASE(faultWhileBinding) {
  Launched launched(RuntimeOperationMode::CallingRuntime);
  BindCallback(launched.jvm);
  launched.Exchange(Command());  // the class of byte[] is known from here on
  InjectFault(launched.jvm, RequestedFault(), "CallObjectMethodV(apply");
  ReportFaultAndRecovery(launched);
}

TEST_P(LauncherFault, WhileBindingRaisesItsCodeLeavesNothingAndTheNextCommandWorks) {
  const Fault& fault = kFaults[GetParam()];
  ExpectFault("faultWhileBinding", "local 0 global 1 elements 0 characters 0 attached 0 dropped 0",
              LauncherError(fault.bindingText != nullptr ? fault.bindingText : fault.text, "", ""));
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
  OnNewThread([&] { started.Exchange(Command()); });
  started.jvm.ClearCalls();
  started.jvm.Inject(kAttachFaults[std::stoul(CaseArguments().front())].injection);
  std::fputs("command:\n", stdout);
  OnNewThread([&] { Report(started.Send(Command())); });
  Report(started.jvm.CountCalls("CallStaticObjectMethodV"));
  Report(Outstanding(started.jvm));
  OnNewThread([&] { Report(started.Exchange(Command())); });
}

class LauncherAttachFault : public testing::TestWithParam<std::size_t> {};

TEST_P(LauncherAttachFault, EndsInCode019WithoutACallIntoJava) {
  const AttachFault& fault = kAttachFaults[GetParam()];
  const InstallationTree tree;
  CaseOptions options = LoggedOptions(tree);
  options.arguments = {std::to_string(GetParam())};
  const std::string text = "019. Failed to attach thread to JVM";
  const std::string error = LauncherError(text, "");
  const CaseResult result =
      ExpectReport("threadRefused", {error, "0", kStartedAndShared, kEcho14}, tree, options);
  EXPECT_EQ(result.out.substr(result.out.find("command:\n")),
            std::string("command:\n") + fault.line);
  EXPECT_EQ(LoggedErrors(tree),
            (Texts{fault.logged, "JVM Launcher: Exception code " + text, error}));
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, LauncherAttachFault,
                         testing::Range<std::size_t>(0, std::size(kAttachFaults)),
                         [](const auto& fault) { return kAttachFaults[fault.param].name; });

PROCESS_CASE(heartBeatFails) {
  Started started;
  started.jvm.Script().heartBeat.answer = FakeJvm::Answer::Throw;
  Report(started.Send(Command(11)));
  started.jvm.Script().heartBeat.answer = FakeJvm::Answer::Null;
  Report(started.Send(Command(11)));
  Report(started.Send(Command()));
  Report(Outstanding(started.jvm));
}

TEST(LauncherFaults, AFailingHeartBeatRaisesTheSameCodes) {
  ExpectReport("heartBeatFails", {LauncherError("023. JVM exception occurred"),
                                  LauncherError(kNullResponse), "14", kOnlyStarted});
}

PROCESS_CASE(negativeLength) {
  Started started;
  Bytes bytes = Command();
  Report(ThrownBy([&] { started.launcher.SendCommand(bytes.data(), -1); }));
  Report(started.Exchange(Command()));
}

TEST(LauncherFaults, ANegativeLengthIsRefusedByTheJvmAndRaises020) {
  ExpectReport("negativeLength", {LauncherError("020. Failed to create byte array"), kEcho14});
}

PROCESS_CASE(arrayLockWhileRaising) {
  Started started;
  started.jvm.Inject({.call = "NewByteArray", .occurrence = 1, .null = true});
  started.jvm.Inject({.call = "NewByteArray", .occurrence = 3, .exception = true});
  started.jvm.Inject({.call = "SetByteArrayRegion", .occurrence = 3, .exception = true});
  started.jvm.Script().insideRuntimeInfo = [&] {
    OnNewThread([&] { Report(started.Exchange(Command())); });
  };
  for (int i = 0; i < 3; ++i) {
    Report(started.Send(Command()).substr(0, 32));
  }
  Report(started.Read().substr(0, 32));
}

// The runtime information that an error text carries comes out of Java.
TEST(LauncherFaults, NoLockIsHeldWhileAnErrorTextIsMade) {
  const std::string code = "JVM Launcher: Exception code ";
  ExpectReport("arrayLockWhileRaising", {kEcho14, code + "020", kEcho14, code + "021", kEcho14,
                                         code + "022", kEcho14, code + "017"});
}

PROCESS_CASE(checkWithoutException) {
  Started started;
  JNIEnv* env = getJniEnvForThread(nullptr);
  Report(started.launcher.CheckAndHandleJvmException(env, "999", true));
  ReportAll(started.jvm.Calls());
}

TEST(LauncherFaults, WithoutAPendingExceptionTheCheckIsFalseAndTouchesNothing) {
  ExpectReport("checkWithoutException", {"0", "ExceptionCheck"});
}

PROCESS_CASE(checkWithException) {
  Launched binding(RuntimeOperationMode::CallingRuntime);
  const ThreadJniEnv thread(binding.jvm.StartJvm());
  JNIEnv* env = thread.m_jniEnv;
  binding.jvm.Inject({.call = "GetVersion", .occurrence = 1, .exception = true});
  env->GetVersion();
  binding.jvm.ClearCalls();
  Report(ThrownBy([&] { binding.launcher.CheckAndHandleJvmException(env, "999", false); }));
  ReportAll(binding.jvm.Calls());
  binding.jvm.ClearCalls();
  Report(ThrownBy([&] { binding.launcher.CheckAndHandleJvmException(env, "998", true); }));
  ReportAll(binding.jvm.Calls());
  Report(env->ExceptionCheck());
}

TEST(LauncherFaults, TheCheckDescribesAPendingExceptionAndClearsItWhereAskedTo) {
  ExpectReport("checkWithException",
               {LauncherError("999. JVM exception occurred", "", ""), "ExceptionCheck",
                "ExceptionDescribe", LauncherError("998. JVM exception occurred", "", ""),
                "ExceptionCheck", "ExceptionDescribe", "ExceptionClear", "0"});
}

}  // namespace Ferrolink::Tests
