#include "companions/tcp/server/CommandGate.h"

#include <algorithm>
#include <string_view>

#include "ferrolink/detail/Exchange.h"
#include "native/interfaces/CommandHeader.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

namespace Header = Native::Definitions::CommandHeader;

// The handler of the Java archive that does what a load-library command does.
constexpr std::string_view kLoadingHandler = "load-archives";

bool loadsLibraries(std::span<const std::uint8_t> command) {
  const std::uint8_t type = command[Header::kCommandType];
  if (type == Header::kTypeLoadLibrary) {
    return true;
  }
  const bool within = type == Host::detail::kTypeCallWithin;
  if (type != Host::detail::kTypeCallHandler && !within) {
    return false;
  }
  auto body = command.subspan(Header::kSize);
  body = body.subspan(std::min(body.size(), within ? Host::detail::kTimeLeftSize : 0));
  if (body.size() <= kLoadingHandler.size() || body[0] != kLoadingHandler.size()) {
    return false;
  }
  const auto name = body.subspan(1, kLoadingHandler.size());
  return std::equal(name.begin(), name.end(), kLoadingHandler.begin());
}

}  // namespace

std::string whyRefused(std::span<const std::uint8_t> command, const ServerOptions& options) {
  if (command.size() < Header::kSize) {
    return "The command has " + std::to_string(command.size()) +
           " bytes, less than the header of " + std::to_string(Header::kSize) + " bytes.";
  }
  if (command[Header::kTargetRuntime] != static_cast<std::uint8_t>(options.runtime)) {
    return "The command is for runtime " + std::to_string(command[Header::kTargetRuntime]) +
           "; this server runs " + options.runtimeName() + ", runtime " +
           std::to_string(static_cast<int>(options.runtime)) + ".";
  }
  if (!options.allowLoadLibrary && loadsLibraries(command)) {
    return "This server loads no libraries for its clients. Start it with --plug-in FILE, or with "
           "--allow-load-library.";
  }
  return {};
}

}  // namespace Ferrolink::Companions::Tcp::Server
