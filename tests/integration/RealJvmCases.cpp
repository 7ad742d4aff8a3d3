#include "tests/integration/RealJvmCases.h"

#include <algorithm>

namespace Ferrolink::Tests {

namespace fs = std::filesystem;

void InstallLibrary(const InstallationTree& tree) {
  tree.AddLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, "libFerrolinkJvmRuntimeNative.so");
  tree.AddLibrary(CONFIGS_PATH, "libConfigs.so");
  tree.AddLibrary(UTILS_PATH, "libUtils.so");
}

void InstallArchive(const InstallationTree& tree, const fs::path& archive) {
  fs::copy_file(archive, tree.JvmDirectory() / "FerrolinkJvmRuntime.jar");
}

void InstallWithTestReceiver(const InstallationTree& tree) {
  InstallLibrary(tree);
  InstallArchive(tree, TEST_RECEIVER_JAR);
}

IReceiver* OpenReceiver() {
  IReceiver* receiver = Ferrolink::Host::detail::OpenReceiver(CaseNativeDirectory() /
                                                              "libFerrolinkJvmRuntimeNative.so");
  receiver->Initialize(8, 2, 0);
  return receiver;
}

Bytes Command(std::uint8_t type, std::string_view body) {
  Bytes bytes(11 + body.size(), 0);
  bytes[0] = 2;
  bytes[9] = 8;
  bytes[10] = type;
  std::copy(body.begin(), body.end(), bytes.begin() + 11);
  return bytes;
}

Bytes Exchange(IReceiver* receiver, Bytes command) {
  const int length = receiver->SendCommand(command.data(), static_cast<int>(command.size()));
  Bytes response(static_cast<std::size_t>(length));
  receiver->ReadResponse(response.data(), length);
  return response;
}

}  // namespace Ferrolink::Tests
