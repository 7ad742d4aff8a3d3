// Start-ups that fail, and what the next command makes of them.
#include <gtest/gtest.h>

#include <csignal>

#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
namespace {

const std::string kEcho14 = "14: " + numbers(command());

}  // namespace

PROCESS_CASE(createFails) {
  Launched launched;
  launched.jvm.script().createResult = std::stoi(caseArguments().front());
  report("sending");
  report(launched.send(command()));
}

class LauncherCreateResult : public testing::TestWithParam<int> {};

// Raised on the start-up thread, where nothing catches it.
TEST_P(LauncherCreateResult, OfAFailureIsLoggedWithItsCodeAndEndsTheProcess) {
  const std::string code = "01" + std::to_string(-GetParam());
  const InstallationTree tree;
  CaseOptions options = loggedOptions(tree);
  options.arguments = {std::to_string(GetParam())};
  const CaseResult result = runCase("createFails", tree, options);
  EXPECT_EQ(result.signal, SIGABRT);
  EXPECT_EQ(result.report, Texts{"sending"});
  EXPECT_EQ(loggedErrors(tree),
            (Texts{"JVM Launcher: Exception code " + code, launcherError(code, "")}));
  EXPECT_NE(result.err.find("terminate called after throwing an instance of "
                            "'FerrolinkNativeException'"),
            std::string::npos)
      << result.err;
}

INSTANTIATE_TEST_SUITE_P(FromErrToEinval, LauncherCreateResult,
                         testing::Values(JNI_ERR, JNI_EDETACHED, JNI_EVERSION, JNI_ENOMEM,
                                         JNI_EEXIST, JNI_EINVAL));

PROCESS_CASE(handleLaunchJvmErrorAlone) {
  Launched launched;
  launched.launcher.HandleLaunchJvmError();
  report("returned");
}

TEST(LauncherStartUpFaults, BeforeAnyCreationTheCreateResultIsNoError) {
  expectReport("handleLaunchJvmErrorAlone", {"returned"});
}

namespace {

struct LookUpFault {
  const char* name;
  const char* call;
  bool exception;
  const char* text;  ///< after "JVM Launcher: Exception code "
  bool null = true;
};

const LookUpFault kLookUpFaults[] = {
    {"ClassThrows", "FindClass", true, "033. JVM exception occurred"},
    {"ClassThrowsBesides", "FindClass", true, "033. JVM exception occurred", false},
    {"ClassMissing", "FindClass", false, "007. \nReinstall Ferrolink package"},
    {"SendCommandThrows", "GetStaticMethodID(sendCommand", true, "034. JVM exception occurred"},
    {"SendCommandMissing", "GetStaticMethodID(sendCommand", false,
     "008. \nReinstall Ferrolink package"},
    {"HeartBeatThrows", "GetStaticMethodID(heartBeat", true, "035. JVM exception occurred"},
    {"HeartBeatThrowsBesides", "GetStaticMethodID(heartBeat", true, "035. JVM exception occurred",
     false},
    {"HeartBeatMissing", "GetStaticMethodID(heartBeat", false,
     "009. \nReinstall Ferrolink package"},
    {"RuntimeInfoThrows", "GetStaticMethodID(getRuntimeInfo", true, "036. JVM exception occurred"},
    {"RuntimeInfoMissing", "GetStaticMethodID(getRuntimeInfo", false,
     "010. \nReinstall Ferrolink package"},
};

}  // namespace

PROCESS_CASE(lookUpFails) {
  const LookUpFault& fault = kLookUpFaults[std::stoul(caseArguments().front())];
  const bool adopted = caseArguments().back() == "adopted";
  Launched launched;
  if (adopted) {
    launched.jvm.startJvm();
  }
  launched.jvm.inject(
      {.call = fault.call, .occurrence = 1, .null = fault.null, .exception = fault.exception});
  launched.jvm.inject(
      {.call = fault.call, .occurrence = 2, .null = fault.null, .exception = fault.exception});
  report(launched.exchange(command()));
  report(outstanding(launched.jvm));
  report(launched.exchange(command(11)));
  report(outstanding(launched.jvm));
  report(launched.exchange(command()));
  report(outstanding(launched.jvm));
  report(launched.jvm.countCalls("JNI_CreateJavaVM"));
}

class LauncherLookUpFault : public testing::TestWithParam<std::size_t> {};

TEST_P(LauncherLookUpFault, IsRaisedWithItsCodeAndTriedAgainByTheNextCommand) {
  const LookUpFault& fault = kLookUpFaults[GetParam()];
  for (const std::string kind : {"created", "adopted"}) {
    const bool created = kind == "created";
    const InstallationTree tree;
    CaseOptions options = loggedOptions(tree);
    options.arguments = {std::to_string(GetParam()), kind};
    const std::string attached = created ? "2" : "0";
    const std::string rest = " elements 0 characters 0 attached " + attached + " dropped 0";
    const std::string none = "local 0 global 0" + rest;
    const std::string error = launcherError(fault.text, "");
    const CaseResult result = expectReport(
        "lookUpFails",
        {error, none, error, none, kEcho14, "local 0 global 1" + rest, created ? "1" : "0"}, tree,
        options);
    const std::string raised = std::string("JVM Launcher: Exception code ") + fault.text;
    EXPECT_EQ(loggedErrors(tree), (Texts{raised, error, raised, error}));
    const std::string described = "Exception in thread \"main\" fake.JavaException\n";
    EXPECT_EQ(result.err, fault.exception ? described + described : "");
  }
}

INSTANTIATE_TEST_SUITE_P(OfEveryCall, LauncherLookUpFault,
                         testing::Range<std::size_t>(0, std::size(kLookUpFaults)),
                         [](const auto& fault) { return kLookUpFaults[fault.param].name; });

PROCESS_CASE(lookUpFailsCalls) {
  Launched launched;
  launched.jvm.inject(
      {.call = "GetStaticMethodID(heartBeat", .occurrence = 1, .null = true, .exception = true});
  launched.send(command());
  const Texts calls = launched.jvm.calls();
  const auto found = std::find(calls.begin(), calls.end(), classLookUpCalls().front());
  reportAll(Texts(found, calls.end()));
}

TEST(LauncherStartUpFaults, AFailedLookUpDescribesAndClearsTheExceptionAndReleasesTheClass) {
  expectReport("lookUpFailsCalls",
               joined({classLookUpCalls(),
                       {"GetStaticMethodID(sendCommand, ([B)[B)", "ExceptionCheck",
                        "GetStaticMethodID(heartBeat, ([B)[B)", "ExceptionCheck"},
                       raisedCalls(),
                       {"DeleteLocalRef"}}));
}

PROCESS_CASE(startingThreadRefused) {
  Launched launched;
  launched.jvm.inject({.call = "AttachCurrentThread", .occurrence = 1, .result = -1});
  report(launched.exchange(command()));
  report(outstanding(launched.jvm));
  report(launched.exchange(command()));
  report(launched.jvm.countCalls("JNI_CreateJavaVM"));
  report(outstanding(launched.jvm));
}

TEST(LauncherStartUpFaults, AStartingThreadThatCannotBeAttachedFailsAndTheNextCommandAdoptsTheJvm) {
  const CaseResult result =
      expectReport("startingThreadRefused",
                   {"ThreadJniEnv: failed to attach thread to JVM",
                    "local 0 global 0 elements 0 characters 0 attached 1 dropped 0", kEcho14, "1",
                    "local 0 global 1 elements 0 characters 0 attached 1 dropped 0"});
  EXPECT_NE(result.out.find("\nThreadJniEnv: failed to attach thread to JVM\n"), std::string::npos);
}

PROCESS_CASE(lockIsGivenBack) {
  Launched launched;
  launched.jvm.inject({.call = "FindClass", .occurrence = 1, .null = true});
  onNewThread([&] { report(launched.exchange(command()).substr(0, 32)); });
  onNewThread([&] { report(launched.exchange(command())); });
  report(launched.exchange(command()));
}

TEST(LauncherStartUpFaults, AFailedStartUpGivesItsLockBack) {
  expectReport("lockIsGivenBack", {"JVM Launcher: Exception code 007", kEcho14, kEcho14});
}

PROCESS_CASE(noEnvironment) {
  JvmLauncher binding(RuntimeOperationMode::CallingRuntime);
  report(thrownBy([&] { binding.InitializeJvm(); }));
  JvmLauncher launching(RuntimeOperationMode::CalledRuntime);
  report(thrownBy([&] { launching.GetReceiverClass(); }));
}

TEST(LauncherStartUpFaults, WithoutAnEnvironmentCodes005And006AreRaised) {
  expectReport("noEnvironment",
               {launcherError("005. Cannot get m_JvmEnv.\nReinstall Ferrolink package", "", ""),
                launcherError("006. \nReinstall Ferrolink package", "", "")});
}

PROCESS_CASE(throwingRuntimeInfoAtStart) {
  Launched launched;
  launched.jvm.script().runtimeInfo = FakeJvm::Answer::Throw;
  report(launched.exchange(command()));
}

TEST(LauncherStartUpFaults, AReceiverThatCannotDescribeItselfStartsAllTheSame) {
  const CaseResult result = expectReport("throwingRuntimeInfoAtStart", {kEcho14});
  EXPECT_EQ(result.out,
            "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " +
                std::string(FAKEJVM_PATH) + "\n\n");
}

}  // namespace FerrolinkTest
