#include "tests/support/Jdks.h"

#include <cstdlib>
#include <set>
#include <sstream>

namespace Ferrolink::Tests {

namespace fs = std::filesystem;

namespace {

// A JVM that checks JNI also checks its signal handlers, from its first moment on. JDK 17 does so
// before it has noted them: in a process that is slow to start it prints, on standard output, that
// handlers were modified. With this option it does not look.
std::string WithoutCheckOfSignals(const std::string& javaOptions) {
  const bool checked = javaOptions.find("-Xcheck:jni") != std::string::npos;
  return checked ? javaOptions + " -XX:+AllowUserSignalHandlers" : javaOptions;
}

}  // namespace

std::vector<fs::path> InstalledJdks() {
  std::set<fs::path> homes;
  if (const char* chosen = std::getenv("TEST_JAVA_HOMES")) {
    std::istringstream list(chosen);
    for (std::string home; std::getline(list, home, ':');) {
      homes.insert(fs::canonical(home));
    }
    return {homes.begin(), homes.end()};
  }
  if (const char* home = std::getenv("JAVA_HOME")) {
    homes.insert(fs::canonical(home));
  }
  if (fs::exists("/usr/lib/jvm")) {
    for (const auto& entry : fs::directory_iterator("/usr/lib/jvm")) {
      if (fs::exists(entry.path() / "lib/server/libjvm.so")) {
        homes.insert(fs::canonical(entry.path()));
      }
    }
  }
  return {homes.begin(), homes.end()};
}

CaseOptions OnJdk(const InstallationTree& tree, const fs::path& jdk,
                  const std::string& javaOptions) {
  CaseOptions options;
  options.environment["JAVA_HOME"] = jdk.string();
  const char* further = std::getenv("TEST_JAVA_OPTIONS");
  options.environment["JAVA_TOOL_OPTIONS"] =
      WithoutCheckOfSignals(further == nullptr ? javaOptions : javaOptions + " " + further);
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.workingDirectory = tree.WorkDirectory();
  return options;
}

}  // namespace Ferrolink::Tests
