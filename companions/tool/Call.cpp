// ferrolink call: one call of a handler, in this process or of a server.
#include <arpa/inet.h>
#include <netdb.h>

#include <array>
#include <filesystem>

#include "companions/configs/Configuration.h"
#include "companions/configs/ConfigurationSource.h"
#include "companions/tool/Address.h"
#include "companions/tool/Apart.h"
#include "companions/tool/Commands.h"
#include "companions/tool/EndpointSettings.h"
#include "companions/tool/Failure.h"
#include "companions/tool/LogDirectory.h"
#include "companions/tool/Options.h"
#include "companions/tool/Output.h"
#include "companions/tool/Terminal.h"
#include "ferrolink/Host.h"
#include "native/interfaces/ITransmitter.h"

namespace Ferrolink::Companions::Tool {
namespace {

using Host::Bytes;
using Native::Definitions::Runtime;
using Native::Definitions::RuntimeOperationMode;
using Native::Interfaces::IReceiver;
namespace Header = Native::Definitions::CommandHeader;

Host::Deadline DeadlineOf(const CallOptions& options) {
  return std::chrono::milliseconds(options.timeLimit);
}

Bytes CallJava(const CallOptions& options, const Bytes& payload) {
  Host::Host host({.libraryDirectory = {}, .configuration = options.configuration});
  for (const std::string& path : PathsOf(options.classPath)) {
    host.LoadLibrary(path);
  }
  return options.timeLimit == 0 ? host.Call(options.handler, payload)
                                : host.Call(options.handler, payload, DeadlineOf(options));
}

Bytes CallCpp(const CallOptions& options, const Bytes& payload) {
  IReceiver* receiver = Host::OpenReceiver(Host::FindLibrary({}, Host::kCppLibrary));
  constexpr auto kCpp = static_cast<std::uint8_t>(Runtime::Cpp);
  receiver->Initialize(kCpp, kCpp, 0);
  for (const std::string& plugIn : options.plugIns) {
    const std::string path = std::filesystem::absolute(plugIn).string();
    Host::RequireNoPipeOrDevice(path);
    Host::ExchangeLoadLibrary(*receiver, Runtime::Cpp, path, "C++");
  }
  Bytes command = Host::CallCommand(Runtime::Cpp, options.handler, payload);
  return options.timeLimit == 0
             ? Host::Exchange(*receiver, command, "C++")
             : Host::ExchangeWithin(*receiver, std::move(command), "C++", DeadlineOf(options));
}

// Errors: Failure that has the place in the configuration.
Configuration ReadConfiguration(const std::string& source) {
  try {
    return source.empty() ? Configuration() : LoadConfiguration(source);
  } catch (const ConfigurationError& error) {
    throw Failure("The configuration is refused. " + std::string(error.what()));
  }
}

// The header has room for an IPv4 address. Other names are reached through the configuration of an
// endpoint, which the header's address stands for. The settings of an endpoint that connects to the
// server are those for the server, however it is named.
Protocol::Route RouteTo(const Address& server, const CallOptions& options,
                        std::string& configuration) {
  const Configuration read = ReadConfiguration(configuration);
  Protocol::Route route{.target = options.Target(),
                        .channel = server.tls ? Header::kChannelTls : Header::kChannelTcp,
                        .port = server.port};
  if (inet_pton(AF_INET, server.host.c_str(), route.address.data()) == 1) {
    if (read.endpoints.count(server.Name()) == 0 && !EndpointFor(read, server).empty()) {
      configuration = ConfigurationFor(read, server, server.Name());
    }
    return route;
  }
  route.address = {127, 0, 0, 1};
  configuration = ConfigurationFor(read, server, "127.0.0.1:" + std::to_string(server.port));
  return route;
}

Bytes CallServer(const CallOptions& options, const Bytes& payload) {
  const Address server = AddressOf(options.at);
  std::string configuration = options.configuration;
  const Protocol::Route route = RouteTo(server, options, configuration);
  const auto library = Host::FindLibrary({}, Host::kCppLibrary);
  void* handle = Host::OpenLibrary(library);
  constexpr auto kMode = RuntimeOperationMode::CallingRuntime;
  using Transmitter = Native::Interfaces::ITransmitter;
  auto* transmitter = Host::FunctionOf<Transmitter*(RuntimeOperationMode)>(
      handle, library, "CreateTransmitter")(kMode);
  if (!configuration.empty()) {
    auto* receiver = Host::FunctionOf<IReceiver*(RuntimeOperationMode)>(handle, library,
                                                                        "CreateReceiver")(kMode);
    if (receiver->SetConfigSource(configuration) < 0) {
      throw Failure("libConfigs.so refuses the configuration. ferrolink doctor tells more.");
    }
  }
  Bytes command = options.timeLimit == 0 ? Protocol::CallCommand(route, options.handler, payload)
                                         : Protocol::CallWithinCommand(route, options.timeLimit,
                                                                       options.handler, payload);
  return Host::Exchange(*transmitter, command, server.Name());
}

Bytes CallTarget(const CallOptions& options, const Bytes& payload) {
  if (!options.at.empty()) {
    return CallServer(options, payload);
  }
  return options.Target() == Runtime::Jvm ? CallJava(options, payload) : CallCpp(options, payload);
}

}  // namespace

int Call(const CallOptions& options) {
  const Bytes payload = options.payload ? Host::ToBytes(*options.payload) : ReadInput();
  // This program prints the errors itself.
  SetIfEmpty("FERROLINK_LOGGING_LEVEL", "off");
  const std::string what = "Calling " + Shown(options.handler);
  return RunApart(what, [&](const std::string& logDirectory) {
    const bool java = options.at.empty() && options.Target() == Runtime::Jvm;
    const auto library = Host::FindLibrary({}, java ? Host::kJvmLibrary : Host::kCppLibrary);
    MoveErrorLog(library.parent_path(), logDirectory);
    const ReservedOutput output(options.verbose ? ReservedOutput::Others::OnStandardError
                                                : ReservedOutput::Others::Discarded);
    Bytes answer;
    {
      const Progress progress(what);
      answer = CallTarget(options, payload);
    }
    output.Write(answer);
  });
}

}  // namespace Ferrolink::Companions::Tool
