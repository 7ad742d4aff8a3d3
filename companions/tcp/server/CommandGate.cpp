#include "companions/tcp/server/CommandGate.h"

#include "companions/configs/Printable.h"
#include "ferrolink/protocol/CommandParts.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

namespace Header = Protocol::Header;

// The handler of the Java archive with the effect of a load-library command.
constexpr std::string_view kLoadingHandler = "load-archives";

constexpr const char* kNoLoading =
    "This server loads no libraries for its clients. Start it with --plug-in FILE, or with "
    "--allow-load-library.";

constexpr const char* kNoObjects =
    "This server allows its clients no typed calls, because these can run any code. Start it with "
    "--allow-objects to allow them.";

std::string WhyNotAllowed(std::uint8_t type, std::string_view handler,
                          const AccessRules::Client& client) {
  if (type == Header::kTypeHeartBeat || client.MayCall(handler)) {
    return {};
  }
  if (handler.empty()) {
    return "The rules of this server allow calls of handlers, not commands of type " +
           std::to_string(type) + ".";
  }
  return "The rules of this server do not let " + client.Name() + " call '" + Printable(handler) +
         "'.";
}

}  // namespace

std::string_view HandlerOf(std::span<const std::uint8_t> command) {
  const auto call = Protocol::FindCall(command);
  return call ? call->name : std::string_view();
}

std::string WhyRefused(std::span<const std::uint8_t> command, const ServerOptions& options,
                       const AccessRules::Client* client) {
  if (!Protocol::HasHeader(command)) {
    return "The command has " + std::to_string(command.size()) +
           " bytes, less than the header of " + std::to_string(Header::kSize) + " bytes.";
  }
  if (command[Header::kTargetRuntime] != static_cast<std::uint8_t>(options.runtime)) {
    return "The command is for runtime " + std::to_string(command[Header::kTargetRuntime]) +
           "; this server runs " + options.RuntimeName() + ", runtime " +
           std::to_string(static_cast<int>(options.runtime)) + ".";
  }
  const std::uint8_t type = Protocol::TypeOf(command);
  const std::string_view handler = HandlerOf(command);
  if (type == Header::kTypeLoadLibrary || handler == kLoadingHandler) {
    const bool allowed = options.allowLoadLibrary || (client != nullptr && client->MayLoad());
    return allowed ? "" : kNoLoading;
  }
  if (IsForObjects(handler)) {
    const bool allowed = options.allowObjects || (client != nullptr && client->MayUseObjects());
    return allowed ? "" : kNoObjects;
  }
  return client == nullptr ? "" : WhyNotAllowed(type, handler, *client);
}

}  // namespace Ferrolink::Companions::Tcp::Server
