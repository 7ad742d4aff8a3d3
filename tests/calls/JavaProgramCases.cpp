#include "tests/calls/JavaProgramCases.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Ferrolink::Tests {

namespace fs = std::filesystem;

void InstallEverything(const InstallationTree& tree) {
  tree.AddLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, "libFerrolinkJvmRuntimeNative.so");
  tree.AddLibrary(FERROLINKCPPRUNTIMENATIVE_PATH, "libFerrolinkCppRuntimeNative.so");
  tree.AddLibrary(CONFIGS_PATH, "libConfigs.so");
  tree.AddLibrary(UTILS_PATH, "libUtils.so");
  tree.AddLibrary(MIRRORCLIENT_PATH, "libFerrolinkTcpClient.so");
  tree.AddLibrary(MIRRORTLSCLIENT_PATH, "libFerrolinkTcpTlsClient.so");
  tree.AddLibrary(CALLHANDLERS_PATH, "CallHandlers.so");
  fs::copy_file(FERROLINK_JAR, tree.JvmDirectory() / "FerrolinkJvmRuntime.jar");
  fs::copy_file(CALL_PROGRAMS_JAR, tree.JvmDirectory() / "CallPrograms.jar");
}

void OnEveryJdk(const std::string& name, const std::vector<std::string>& arguments,
                const std::string& javaOption,
                const std::function<void(const CaseResult&)>& check) {
  const auto jdks = InstalledJdks();
  ASSERT_FALSE(jdks.empty());
  for (const auto& jdk : jdks) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    InstallEverything(tree);
    CaseOptions options = OnJdk(tree, jdk, javaOption);
    options.arguments = arguments;
    check(RunCase(name, tree, options));
  }
}

fs::path CaseArchive() {
  return CaseRoot() / "Binaries/Jvm/FerrolinkJvmRuntime.jar";
}

fs::path CasePrograms() {
  return CaseRoot() / "Binaries/Jvm/CallPrograms.jar";
}

fs::path CaseHandlers() {
  return CaseNativeDirectory() / "CallHandlers.so";
}

StartedJvm StartJava(const std::vector<std::string>& options) {
  std::vector<std::string> all = {"-XX:-UsePerfData", "--enable-native-access=ALL-UNNAMED"};
  all.insert(all.end(), options.begin(), options.end());
  return {{CaseArchive(), CasePrograms()}, all};
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

}  // namespace Ferrolink::Tests
