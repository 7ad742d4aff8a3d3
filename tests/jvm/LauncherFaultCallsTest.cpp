// The order of calls on each error path of a command, and the errors that it logs.
#include <gtest/gtest.h>

#include "tests/jvm/LauncherFixture.h"

namespace Ferrolink::Tests {
namespace {

struct Path {
  const char* name;
  FakeJvm::Injection injection;
  Texts calls;  ///< after the thread's environment was obtained
};

Texts UpToJava() {
  return Joined({MakeArrayCalls(14), CallJavaCalls("sendCommand")});
}

Texts Released() {
  return Joined({{"ReleaseByteArrayElements(abort)"}, Deletions(2)});
}

// What each path does from the failing call on, in order.
std::vector<Path> Paths() {
  const std::string java = "CallStaticObjectMethodV(sendCommand";
  const std::string check = "ExceptionCheck";
  return {
      {"Code020",
       {.call = "NewByteArray", .null = true},
       Joined({{"NewByteArray(14)", check}, RuntimeInfoCalls()})},
      {"Code020AfterAnException",
       {.call = "NewByteArray", .null = true, .exception = true},
       Joined({{"NewByteArray(14)", check, "ExceptionClear"}, RuntimeInfoCalls()})},
      {"Code021",
       {.call = "NewByteArray", .exception = true},
       Joined({{"NewByteArray(14)", check}, RaisedCalls(), RuntimeInfoCalls(), Deletions(1)})},
      {"Code022",
       {.call = "SetByteArrayRegion", .exception = true},
       Joined({MakeArrayCalls(14), RaisedCalls(), RuntimeInfoCalls(), Deletions(1)})},
      {"Code023",
       {.call = java, .null = true, .exception = true},
       Joined({UpToJava(), RaisedCalls(), RuntimeInfoCalls(), Deletions(1)})},
      {"Code023BesidesAResponse",
       {.call = java, .exception = true},
       Joined({UpToJava(), RaisedCalls(), RuntimeInfoCalls(), Deletions(2)})},
      {"Code024",
       {.call = java, .null = true},
       Joined({UpToJava(), Deletions(1), RuntimeInfoCalls()})},
      {"Code025",
       {.call = "GetByteArrayElements", .null = true},
       Joined({UpToJava(), {"GetByteArrayElements", check}, RuntimeInfoCalls(), Deletions(2)})},
      {"Code025AfterAnException",
       {.call = "GetByteArrayElements", .null = true, .exception = true},
       Joined({UpToJava(),
               {"GetByteArrayElements", check, "ExceptionClear"},
               RuntimeInfoCalls(),
               Deletions(2)})},
      {"Code026",
       {.call = "GetByteArrayElements", .exception = true},
       Joined({UpToJava(),
               {"GetByteArrayElements", check},
               RaisedCalls(),
               RuntimeInfoCalls(),
               Released()})},
      {"Code027",
       {.call = "GetArrayLength", .exception = true},
       Joined({UpToJava(),
               {"GetByteArrayElements", check, "GetArrayLength", check},
               RaisedCalls(),
               RuntimeInfoCalls(),
               Released()})},
  };
}

}  // namespace

PROCESS_CASE(errorPath) {
  Started started;
  started.jvm.Inject(Paths()[std::stoul(CaseArguments().front())].injection);
  started.Send(Command());
  ReportAll(started.jvm.Calls());
}

PROCESS_CASE(errorPathOfUnknownThread) {
  Started started;
  OnNewThread([&] { started.Exchange(Command()); });
  started.jvm.ClearCalls();
  started.jvm.Inject(Paths()[std::stoul(CaseArguments().front())].injection);
  OnNewThread([&] { started.Send(Command()); });
  ReportAll(started.jvm.Calls());
}

class LauncherErrorPath : public testing::TestWithParam<std::size_t> {
 protected:
  CaseOptions Options() const {
    CaseOptions settings = FakeJvmOptions();
    settings.arguments = {std::to_string(GetParam())};
    return settings;
  }
};

TEST_P(LauncherErrorPath, MakesTheseCallsInThisOrder) {
  const InstallationTree tree;
  ExpectReport("errorPath", Joined({{"GetEnv(1.8)"}, Paths()[GetParam()].calls}), tree, Options());
}

TEST_P(LauncherErrorPath, DetachesTheThreadLastWhereTheCommandAttachedIt) {
  const InstallationTree tree;
  ExpectReport("errorPathOfUnknownThread",
               Joined({{"GetEnv(1.8)", "AttachCurrentThread"},
                       Paths()[GetParam()].calls,
                       {"DetachCurrentThread"}}),
               tree, Options());
}

INSTANTIATE_TEST_SUITE_P(Of, LauncherErrorPath, testing::Range<std::size_t>(0, Paths().size()),
                         [](const auto& path) { return Paths()[path.param].name; });

PROCESS_CASE(readNothing) {
  Started started;
  started.Read();
  ReportAll(started.jvm.Calls());
  started.jvm.ClearCalls();
  OnNewThread([&] { started.Read(); });
  ReportAll(started.jvm.Calls());
}

TEST(LauncherErrorPathOf, Code017CallsJavaForTheRuntimeInformationOnly) {
  Texts ofUnknownThread = RuntimeInfoCalls();
  const Texts found =
      Joined({{"AttachCurrentThread"}, ClassLookUpCalls(), {"NewGlobalRef", "DeleteLocalRef"}});
  ofUnknownThread.insert(ofUnknownThread.begin() + 1, found.begin(), found.end());
  ofUnknownThread.push_back("DetachCurrentThread");
  ExpectReport("readNothing", Joined({RuntimeInfoCalls(), ofUnknownThread}));
}

PROCESS_CASE(javaThrows) {
  Started started;
  started.jvm.Script().sendCommand.answer = FakeJvm::Answer::Throw;
  if (CaseArguments().front() == "throwing info") {
    started.jvm.Script().runtimeInfo = FakeJvm::Answer::Throw;
  }
  Report(started.Send(Command()));
}

TEST(LauncherErrorPathOf, OneJavaFailureWritesExactlyTwoLogLines) {
  const InstallationTree tree;
  CaseOptions options = LoggedOptions(tree);
  options.arguments = {"working info"};
  const std::string error = LauncherError("023. JVM exception occurred");
  ExpectReport("javaThrows", {error}, tree, options);
  EXPECT_EQ(LoggedErrors(tree),
            (Texts{"JVM Launcher: Exception code 023. JVM exception occurred", error}));
}

// The failure inside the runtime information is raised with runtime information as well, but
// without asking Java once more.
TEST(LauncherErrorPathOf, AFailureOfTheRuntimeInformationInsideAnErrorEndsThere) {
  const InstallationTree tree;
  CaseOptions options = LoggedOptions(tree);
  options.arguments = {"throwing info"};
  const std::string error = LauncherError("023. JVM exception occurred", "");
  const CaseResult result = ExpectReport("javaThrows", {error}, tree, options);
  EXPECT_EQ(LoggedErrors(tree), (Texts{"JVM Launcher: Exception code 023. JVM exception occurred",
                                       "JVM Launcher: Exception code 028. JVM exception occurred",
                                       LauncherError("028. JVM exception occurred", ""), error}));
  const std::string described = "Exception in thread \"main\" fake.JavaException\n";
  EXPECT_EQ(result.err, described + described);
}

}  // namespace Ferrolink::Tests
