// The order of calls on each error path of a command, and the errors that it logs.
#include <gtest/gtest.h>

#include "tests/jvm/LauncherFixture.h"

namespace FerrolinkTest {
namespace {

struct Path {
  const char* name;
  FakeJvm::Injection injection;
  Texts calls;  ///< after the thread's environment was obtained
};

Texts upToJava() {
  return joined({makeArrayCalls(14), callJavaCalls("sendCommand")});
}

Texts released() {
  return joined({{"ReleaseByteArrayElements(abort)"}, deletions(2)});
}

// What each path does from the failing call on, in order.
std::vector<Path> paths() {
  const std::string java = "CallStaticObjectMethodV(sendCommand";
  const std::string check = "ExceptionCheck";
  return {
      {"Code020",
       {.call = "NewByteArray", .null = true},
       joined({{"NewByteArray(14)", check}, runtimeInfoCalls()})},
      {"Code020AfterAnException",
       {.call = "NewByteArray", .null = true, .exception = true},
       joined({{"NewByteArray(14)", check, "ExceptionClear"}, runtimeInfoCalls()})},
      {"Code021",
       {.call = "NewByteArray", .exception = true},
       joined({{"NewByteArray(14)", check}, raisedCalls(), runtimeInfoCalls(), deletions(1)})},
      {"Code022",
       {.call = "SetByteArrayRegion", .exception = true},
       joined({makeArrayCalls(14), raisedCalls(), runtimeInfoCalls(), deletions(1)})},
      {"Code023",
       {.call = java, .null = true, .exception = true},
       joined({upToJava(), raisedCalls(), runtimeInfoCalls(), deletions(1)})},
      {"Code023BesidesAResponse",
       {.call = java, .exception = true},
       joined({upToJava(), raisedCalls(), runtimeInfoCalls(), deletions(2)})},
      {"Code024",
       {.call = java, .null = true},
       joined({upToJava(), deletions(1), runtimeInfoCalls()})},
      {"Code025",
       {.call = "GetByteArrayElements", .null = true},
       joined({upToJava(), {"GetByteArrayElements", check}, runtimeInfoCalls(), deletions(2)})},
      {"Code025AfterAnException",
       {.call = "GetByteArrayElements", .null = true, .exception = true},
       joined({upToJava(),
               {"GetByteArrayElements", check, "ExceptionClear"},
               runtimeInfoCalls(),
               deletions(2)})},
      {"Code026",
       {.call = "GetByteArrayElements", .exception = true},
       joined({upToJava(),
               {"GetByteArrayElements", check},
               raisedCalls(),
               runtimeInfoCalls(),
               released()})},
      {"Code027",
       {.call = "GetArrayLength", .exception = true},
       joined({upToJava(),
               {"GetByteArrayElements", check, "GetArrayLength", check},
               raisedCalls(),
               runtimeInfoCalls(),
               released()})},
  };
}

}  // namespace

PROCESS_CASE(errorPath) {
  Started started;
  started.jvm.inject(paths()[std::stoul(caseArguments().front())].injection);
  started.send(command());
  reportAll(started.jvm.calls());
}

PROCESS_CASE(errorPathOfUnknownThread) {
  Started started;
  onNewThread([&] { started.exchange(command()); });
  started.jvm.clearCalls();
  started.jvm.inject(paths()[std::stoul(caseArguments().front())].injection);
  onNewThread([&] { started.send(command()); });
  reportAll(started.jvm.calls());
}

class LauncherErrorPath : public testing::TestWithParam<std::size_t> {
 protected:
  CaseOptions options() const {
    CaseOptions settings = fakeJvmOptions();
    settings.arguments = {std::to_string(GetParam())};
    return settings;
  }
};

TEST_P(LauncherErrorPath, MakesTheseCallsInThisOrder) {
  const InstallationTree tree;
  expectReport("errorPath", joined({{"GetEnv(1.8)"}, paths()[GetParam()].calls}), tree, options());
}

TEST_P(LauncherErrorPath, DetachesTheThreadLastWhereTheCommandAttachedIt) {
  const InstallationTree tree;
  expectReport("errorPathOfUnknownThread",
               joined({{"GetEnv(1.8)", "AttachCurrentThread"},
                       paths()[GetParam()].calls,
                       {"DetachCurrentThread"}}),
               tree, options());
}

INSTANTIATE_TEST_SUITE_P(Of, LauncherErrorPath, testing::Range<std::size_t>(0, paths().size()),
                         [](const auto& path) { return paths()[path.param].name; });

PROCESS_CASE(readNothing) {
  Started started;
  started.read();
  reportAll(started.jvm.calls());
  started.jvm.clearCalls();
  onNewThread([&] { started.read(); });
  reportAll(started.jvm.calls());
}

TEST(LauncherErrorPathOf, Code017CallsJavaForTheRuntimeInformationOnly) {
  Texts ofUnknownThread = runtimeInfoCalls();
  const Texts found =
      joined({{"AttachCurrentThread"}, classLookUpCalls(), {"NewGlobalRef", "DeleteLocalRef"}});
  ofUnknownThread.insert(ofUnknownThread.begin() + 1, found.begin(), found.end());
  ofUnknownThread.push_back("DetachCurrentThread");
  expectReport("readNothing", joined({runtimeInfoCalls(), ofUnknownThread}));
}

PROCESS_CASE(javaThrows) {
  Started started;
  started.jvm.script().sendCommand.answer = FakeJvm::Answer::Throw;
  if (caseArguments().front() == "throwing info") {
    started.jvm.script().runtimeInfo = FakeJvm::Answer::Throw;
  }
  report(started.send(command()));
}

TEST(LauncherErrorPathOf, OneJavaFailureWritesExactlyTwoLogLines) {
  const InstallationTree tree;
  CaseOptions options = loggedOptions(tree);
  options.arguments = {"working info"};
  const std::string error = launcherError("023. JVM exception occurred");
  expectReport("javaThrows", {error}, tree, options);
  EXPECT_EQ(loggedErrors(tree),
            (Texts{"JVM Launcher: Exception code 023. JVM exception occurred", error}));
}

// The failure inside the runtime information is raised with runtime information as well, but
// without asking Java once more.
TEST(LauncherErrorPathOf, AFailureOfTheRuntimeInformationInsideAnErrorEndsThere) {
  const InstallationTree tree;
  CaseOptions options = loggedOptions(tree);
  options.arguments = {"throwing info"};
  const std::string error = launcherError("023. JVM exception occurred", "");
  const CaseResult result = expectReport("javaThrows", {error}, tree, options);
  EXPECT_EQ(loggedErrors(tree), (Texts{"JVM Launcher: Exception code 023. JVM exception occurred",
                                       "JVM Launcher: Exception code 028. JVM exception occurred",
                                       launcherError("028. JVM exception occurred", ""), error}));
  const std::string described = "Exception in thread \"main\" fake.JavaException\n";
  EXPECT_EQ(result.err, described + described);
}

}  // namespace FerrolinkTest
