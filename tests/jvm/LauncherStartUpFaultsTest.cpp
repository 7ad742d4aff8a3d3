// Start-ups that fail, and what the next command makes of them.
#include <gtest/gtest.h>

#include <csignal>

#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

const std::string kEcho14 = "14: " + Numbers(Command());

}  // namespace

PROCESS_CASE(createFails) {
  Launched launched;
  launched.jvm.Script().createResult = std::stoi(CaseArguments().front());
  Report("sending");
  Report(launched.Send(Command()));
}

class LauncherCreateResult : public testing::TestWithParam<int> {};

// Raised on the start-up thread, where nothing catches it.
TEST_P(LauncherCreateResult, OfAFailureIsLoggedWithItsCodeAndEndsTheProcess) {
  const std::string code = "01" + std::to_string(-GetParam());
  const InstallationTree tree;
  CaseOptions options = LoggedOptions(tree);
  options.arguments = {std::to_string(GetParam())};
  const CaseResult result = RunCase("createFails", tree, options);
  EXPECT_EQ(result.signal, SIGABRT);
  EXPECT_EQ(result.report, Texts{"sending"});
  EXPECT_EQ(LoggedErrors(tree),
            (Texts{"JVM Launcher: Exception code " + code, LauncherError(code, "")}));
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
  Report("returned");
}

TEST(LauncherStartUpFaults, BeforeAnyCreationTheCreateResultIsNoError) {
  ExpectReport("handleLaunchJvmErrorAlone", {"returned"});
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
  const LookUpFault& fault = kLookUpFaults[std::stoul(CaseArguments().front())];
  const bool adopted = CaseArguments().back() == "adopted";
  Launched launched;
  if (adopted) {
    launched.jvm.StartJvm();
  }
  launched.jvm.Inject(
      {.call = fault.call, .occurrence = 1, .null = fault.null, .exception = fault.exception});
  launched.jvm.Inject(
      {.call = fault.call, .occurrence = 2, .null = fault.null, .exception = fault.exception});
  Report(launched.Exchange(Command()));
  Report(Outstanding(launched.jvm));
  Report(launched.Exchange(Command(11)));
  Report(Outstanding(launched.jvm));
  Report(launched.Exchange(Command()));
  Report(Outstanding(launched.jvm));
  Report(launched.jvm.CountCalls("JNI_CreateJavaVM"));
}

class LauncherLookUpFault : public testing::TestWithParam<std::size_t> {};

TEST_P(LauncherLookUpFault, IsRaisedWithItsCodeAndTriedAgainByTheNextCommand) {
  const LookUpFault& fault = kLookUpFaults[GetParam()];
  for (const std::string kind : {"created", "adopted"}) {
    const bool created = kind == "created";
    const InstallationTree tree;
    CaseOptions options = LoggedOptions(tree);
    options.arguments = {std::to_string(GetParam()), kind};
    const std::string attached = created ? "2" : "0";
    const std::string rest = " elements 0 characters 0 attached " + attached + " dropped 0";
    const std::string none = "local 0 global 0" + rest;
    const std::string error = LauncherError(fault.text, "");
    const CaseResult result = ExpectReport(
        "lookUpFails",
        {error, none, error, none, kEcho14, "local 0 global 1" + rest, created ? "1" : "0"}, tree,
        options);
    const std::string raised = std::string("JVM Launcher: Exception code ") + fault.text;
    EXPECT_EQ(LoggedErrors(tree), (Texts{raised, error, raised, error}));
    const std::string described = "Exception in thread \"main\" fake.JavaException\n";
    EXPECT_EQ(result.err, fault.exception ? described + described : "");
  }
}

INSTANTIATE_TEST_SUITE_P(OfEveryCall, LauncherLookUpFault,
                         testing::Range<std::size_t>(0, std::size(kLookUpFaults)),
                         [](const auto& fault) { return kLookUpFaults[fault.param].name; });

PROCESS_CASE(lookUpFailsCalls) {
  Launched launched;
  launched.jvm.Inject(
      {.call = "GetStaticMethodID(heartBeat", .occurrence = 1, .null = true, .exception = true});
  launched.Send(Command());
  const Texts calls = launched.jvm.Calls();
  const auto found = std::find(calls.begin(), calls.end(), ClassLookUpCalls().front());
  ReportAll(Texts(found, calls.end()));
}

TEST(LauncherStartUpFaults, AFailedLookUpDescribesAndClearsTheExceptionAndReleasesTheClass) {
  ExpectReport("lookUpFailsCalls",
               Joined({ClassLookUpCalls(),
                       {"GetStaticMethodID(sendCommand, ([B)[B)", "ExceptionCheck",
                        "GetStaticMethodID(heartBeat, ([B)[B)", "ExceptionCheck"},
                       RaisedCalls(),
                       {"DeleteLocalRef"}}));
}

PROCESS_CASE(startingThreadRefused) {
  Launched launched;
  launched.jvm.Inject({.call = "AttachCurrentThread", .occurrence = 1, .result = -1});
  Report(launched.Exchange(Command()));
  Report(Outstanding(launched.jvm));
  Report(launched.Exchange(Command()));
  Report(launched.jvm.CountCalls("JNI_CreateJavaVM"));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherStartUpFaults, AStartingThreadThatCannotBeAttachedFailsAndTheNextCommandAdoptsTheJvm) {
  const CaseResult result =
      ExpectReport("startingThreadRefused",
                   {"ThreadJniEnv: failed to attach thread to JVM",
                    "local 0 global 0 elements 0 characters 0 attached 1 dropped 0", kEcho14, "1",
                    "local 0 global 1 elements 0 characters 0 attached 1 dropped 0"});
  EXPECT_NE(result.out.find("\nThreadJniEnv: failed to attach thread to JVM\n"), std::string::npos);
}

PROCESS_CASE(lockIsGivenBack) {
  Launched launched;
  launched.jvm.Inject({.call = "FindClass", .occurrence = 1, .null = true});
  OnNewThread([&] { Report(launched.Exchange(Command()).substr(0, 32)); });
  OnNewThread([&] { Report(launched.Exchange(Command())); });
  Report(launched.Exchange(Command()));
}

TEST(LauncherStartUpFaults, AFailedStartUpGivesItsLockBack) {
  ExpectReport("lockIsGivenBack", {"JVM Launcher: Exception code 007", kEcho14, kEcho14});
}

PROCESS_CASE(noEnvironment) {
  JvmLauncher binding(RuntimeOperationMode::CallingRuntime);
  Report(ThrownBy([&] { binding.InitializeJvm(); }));
  JvmLauncher launching(RuntimeOperationMode::CalledRuntime);
  Report(ThrownBy([&] { launching.GetReceiverClass(); }));
}

TEST(LauncherStartUpFaults, WithoutAnEnvironmentCodes005And006AreRaised) {
  ExpectReport("noEnvironment",
               {LauncherError("005. Cannot get m_JvmEnv.\nReinstall Ferrolink package", "", ""),
                LauncherError("006. \nReinstall Ferrolink package", "", "")});
}

PROCESS_CASE(throwingRuntimeInfoAtStart) {
  Launched launched;
  launched.jvm.Script().runtimeInfo = FakeJvm::Answer::Throw;
  Report(launched.Exchange(Command()));
}

TEST(LauncherStartUpFaults, AReceiverThatCannotDescribeItselfStartsAllTheSame) {
  const CaseResult result = ExpectReport("throwingRuntimeInfoAtStart", {kEcho14});
  EXPECT_EQ(result.out,
            "Looking for JVM runtime in FERROLINK_JVM_RUNTIME_PATH environment variable: " +
                std::string(FAKEJVM_PATH) + "\n\n");
}

}  // namespace Ferrolink::Tests
