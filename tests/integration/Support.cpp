#include "tests/integration/Support.h"

#include <algorithm>

namespace FerrolinkTest {

namespace fs = std::filesystem;

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
