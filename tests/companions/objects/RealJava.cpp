#include "tests/companions/objects/RealJava.h"

#include <stdexcept>

namespace Ferrolink::Tests {

using Ferrolink::Host::Host;
using Ferrolink::Objects::Java;
using Ferrolink::Objects::ObjectError;

CaseResult RunOnJava(const std::string& name, const std::filesystem::path& jdk,
                     const std::string& javaOptions) {
  const InstallationTree tree;
  tree.AddLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, "libFerrolinkJvmRuntimeNative.so");
  tree.AddLibrary(FERROLINKCPPRUNTIMENATIVE_PATH, "libFerrolinkCppRuntimeNative.so");
  tree.AddLibrary(CONFIGS_PATH, "libConfigs.so");
  tree.AddLibrary(UTILS_PATH, "libUtils.so");
  std::filesystem::copy_file(FERROLINK_JAR, tree.JvmDirectory() / "FerrolinkJvmRuntime.jar");
  return RunCase(name, tree, OnJdk(tree, jdk, javaOptions));
}

void ExpectEnded(const CaseResult& result) {
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.signal, 0) << result.err;
  for (const std::string& output : {result.out, result.err}) {
    EXPECT_THAT(output, testing::Not(testing::HasSubstr("WARNING in native method")));
    EXPECT_THAT(output, testing::Not(testing::HasSubstr("FATAL ERROR in native method")));
  }
}

void ExpectReport(const CaseResult& result, const std::vector<std::string>& report) {
  ExpectEnded(result);
  EXPECT_THAT(result.report, testing::ElementsAreArray(report)) << result.err;
}

namespace {

// A broker that remembers this finds nothing later.
void RequireMissing(Host& host, const std::string& className) {
  try {
    Java(host).FindClass(className);
  } catch (const ObjectError&) {
    return;
  }
  throw std::logic_error(className + " was found before its archive was added.");
}

}  // namespace

Host& TheHost() {
  static auto& host = *[] {
    auto* made = new Host({CaseNativeDirectory(), ""});
    RequireMissing(*made, TestClass("Probes"));
    made->LoadLibrary(OBJECT_CLASSES_JAR);
    return made;
  }();
  return host;
}

Java TheJava() {
  return Java(TheHost());
}

std::string TestClass(const std::string& name) {
  return "com.ferrolink.test.objects." + name;
}

std::size_t FunctionsAfterCollection(const Java& java, std::size_t expected) {
  constexpr int kMostCollections = 200;
  std::size_t functions = 0;
  for (int count = 0; count < kMostCollections; ++count) {
    java.CallStatic<void>("java.lang.System", "gc");
    functions = java.LiveObjects().functions;
    if (functions <= expected) {
      break;
    }
  }
  return functions;
}

}  // namespace Ferrolink::Tests
