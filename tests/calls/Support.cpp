#include "tests/calls/Support.h"

#include <gtest/gtest.h>

#include <sstream>

namespace FerrolinkTest {

namespace fs = std::filesystem;

void installEverything(const InstallationTree& tree) {
  tree.addLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, "libFerrolinkJvmRuntimeNative.so");
  tree.addLibrary(FERROLINKCPPRUNTIMENATIVE_PATH, "libFerrolinkCppRuntimeNative.so");
  tree.addLibrary(CONFIGS_PATH, "libConfigs.so");
  tree.addLibrary(UTILS_PATH, "libUtils.so");
  tree.addLibrary(MIRRORCLIENT_PATH, "libFerrolinkTcpClient.so");
  tree.addLibrary(MIRRORTLSCLIENT_PATH, "libFerrolinkTcpTlsClient.so");
  tree.addLibrary(CALLHANDLERS_PATH, "CallHandlers.so");
  fs::copy_file(FERROLINK_JAR, tree.jvmDirectory() / "FerrolinkJvmRuntime.jar");
  fs::copy_file(CALL_PROGRAMS_JAR, tree.jvmDirectory() / "CallPrograms.jar");
}

void onEveryJdk(const std::string& name, const std::vector<std::string>& arguments,
                const std::string& javaOption,
                const std::function<void(const CaseResult&)>& check) {
  const auto jdks = installedJdks();
  ASSERT_FALSE(jdks.empty());
  for (const auto& jdk : jdks) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    installEverything(tree);
    CaseOptions options = onJdk(tree, jdk, javaOption);
    options.arguments = arguments;
    check(runCase(name, tree, options));
  }
}

fs::path caseArchive() {
  return caseRoot() / "Binaries/Jvm/FerrolinkJvmRuntime.jar";
}

fs::path casePrograms() {
  return caseRoot() / "Binaries/Jvm/CallPrograms.jar";
}

fs::path caseHandlers() {
  return caseNativeDirectory() / "CallHandlers.so";
}

JavaHost startJava(const std::vector<std::string>& options) {
  std::vector<std::string> all = {"-XX:-UsePerfData", "--enable-native-access=ALL-UNNAMED"};
  all.insert(all.end(), options.begin(), options.end());
  return {{caseArchive(), casePrograms()}, all};
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

}  // namespace FerrolinkTest
