#include "tests/support/Jdks.h"

#include <cstdlib>
#include <set>

namespace FerrolinkTest {

namespace fs = std::filesystem;

std::vector<fs::path> installedJdks() {
  std::set<fs::path> homes;
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

CaseOptions onJdk(const InstallationTree& tree, const fs::path& jdk,
                  const std::string& javaOptions) {
  CaseOptions options;
  options.environment["JAVA_HOME"] = jdk.string();
  options.environment["JAVA_TOOL_OPTIONS"] = javaOptions;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.workingDirectory = tree.workDirectory();
  return options;
}

}  // namespace FerrolinkTest
