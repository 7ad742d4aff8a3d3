#include "tests/integration/Support.h"

#include <algorithm>
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

void installLibrary(const InstallationTree& tree) {
  tree.addLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, "libFerrolinkJvmRuntimeNative.so");
  tree.addLibrary(CONFIGS_PATH, "libConfigs.so");
  tree.addLibrary(UTILS_PATH, "libUtils.so");
}

void installArchive(const InstallationTree& tree, const fs::path& archive) {
  fs::copy_file(archive, tree.jvmDirectory() / "FerrolinkJvmRuntime.jar");
}

void installWithTestReceiver(const InstallationTree& tree) {
  installLibrary(tree);
  installArchive(tree, TEST_RECEIVER_JAR);
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

IReceiver* openReceiver() {
  IReceiver* receiver = Ferrolink::Host::detail::openReceiver(caseNativeDirectory() /
                                                              "libFerrolinkJvmRuntimeNative.so");
  receiver->Initialize(8, 2, 0);
  return receiver;
}

Bytes command(std::uint8_t type, std::string_view body) {
  Bytes bytes(11 + body.size(), 0);
  bytes[0] = 2;
  bytes[9] = 8;
  bytes[10] = type;
  std::copy(body.begin(), body.end(), bytes.begin() + 11);
  return bytes;
}

Bytes exchange(IReceiver* receiver, Bytes command) {
  const int length = receiver->SendCommand(command.data(), static_cast<int>(command.size()));
  Bytes response(static_cast<std::size_t>(length));
  receiver->ReadResponse(response.data(), length);
  return response;
}

}  // namespace FerrolinkTest
