// ferrolink-server: runs commands that come over the network in a member of its own process.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include "companions/tcp/server/Events.h"
#include "companions/tcp/server/Member.h"
#include "companions/tcp/server/Server.h"
#include "companions/tcp/server/ServerOptions.h"

namespace {

using namespace Ferrolink::Companions::Tcp::Server;

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

void print(const std::string& text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stdout));
  static_cast<void>(std::fflush(stdout));
}

void serve(const ServerOptions& options) {
  const Member member(options);
  Server server(options, member);
  if (!options.listen.address().is_loopback() && options.clientAuthorities.empty()) {
    Events::line(
        "whoever reaches this address may call the handlers; --tls-client-ca FILE would ask who "
        "it is");
  }
  print(std::string("ferrolink-server: ") + options.runtimeName() + " listens on " +
        server.address() + (options.usesTls() ? " (TLS)" : " (plain TCP)") + "\n");
  server.run();
  print("ferrolink-server: ended\n");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    // The server takes it later; a JVM leaves alone what is ignored.
    std::signal(SIGHUP, SIG_IGN);
    const ServerOptions options = parseOptions(argc, argv);
    if (options.help) {
      print(usage());
      return 0;
    }
    if (options.version) {
      print(std::string("ferrolink-server ") + FERROLINK_VERSION + "\n");
      return 0;
    }
    serve(options);
    return 0;
  } catch (const UsageError& error) {
    Events::line(error.what());
    Events::line("--help lists the options");
    return kWrongUsage;
  } catch (const std::exception& error) {
    Events::line(error.what());
    return kFailure;
  }
}
