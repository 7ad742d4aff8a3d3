#include "tests/integration/RealJvmCases.h"

#include <ferrolink/Library.h>
#include <ferrolink/protocol/Commands.h>

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
  IReceiver* receiver =
      Ferrolink::Host::OpenReceiver(CaseNativeDirectory() / "libFerrolinkJvmRuntimeNative.so");
  receiver->Initialize(8, 2, 0);
  return receiver;
}

Bytes Command(std::uint8_t type, std::string_view body) {
  Bytes command = Protocol::EmptyCommand({.target = Host::Runtime::Jvm}, type);
  command.insert(command.end(), body.begin(), body.end());
  return command;
}

Bytes Exchange(IReceiver* receiver, Bytes command) {
  const int length = receiver->SendCommand(command.data(), static_cast<int>(command.size()));
  Bytes response(static_cast<std::size_t>(length));
  receiver->ReadResponse(response.data(), length);
  return response;
}

}  // namespace Ferrolink::Tests
