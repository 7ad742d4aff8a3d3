// ferrolink-server: runs commands from the network in a member of its own process.
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <string>

#include "companions/tcp/server/AdminServer.h"
#include "companions/tcp/server/Events.h"
#include "companions/tcp/server/JvmHeap.h"
#include "companions/tcp/server/Member.h"
#include "companions/tcp/server/MemoryBudget.h"
#include "companions/tcp/server/Metrics.h"
#include "companions/tcp/server/Readiness.h"
#include "companions/tcp/server/Server.h"
#include "companions/tcp/server/ServerLog.h"
#include "companions/tcp/server/ServerOptions.h"
#include "companions/tcp/server/ServiceManager.h"
#include "companions/utils/FileDescriptor.h"
#include "native/interfaces/Runtime.h"

namespace {

using namespace Ferrolink::Companions::Tcp::Server;
using Ferrolink::Companions::FileDescriptor;

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

// Asks only a started JVM: one that is starting is visible before threads may attach to it.
std::function<std::optional<Metrics::Heap>()> HeapOnceStarted(const Readiness& readiness) {
  return [&readiness]() -> std::optional<Metrics::Heap> {
    if (readiness.CurrentState() == Readiness::State::Starting) {
      return std::nullopt;
    }
    return JvmHeap();
  };
}

void Serve(const ServerOptions& options, ServiceManager& manager) {
  // Constructed first and destroyed last: all others report to the log, and the metrics ask them.
  ServerLog log({.format = options.logFormat, .access = options.accessLog});
  Readiness readiness;
  MemoryBudget memory(options.memoryLimit);
  const bool hasJvm = options.runtime == Ferrolink::Native::Definitions::Runtime::Jvm;
  Metrics metrics({.bufferBytes = [&] { return memory.Used(); },
                   .logLinesLost = [&] { return log.Lost(); },
                   .isReady = [&] { return readiness.IsReady(); },
                   .heap = hasJvm ? HeapOnceStarted(readiness)
                                  : std::function<std::optional<Metrics::Heap>()>()});
  const Events events(log, metrics);
  std::optional<AdminServer> admin;
  if (options.admin) {
    admin.emplace(AdminServer::Settings{.listen = *options.admin}, readiness,
                  [&] { return metrics.Text(); });
    PrintLine(STDOUT_FILENO, "probes and metrics are on " + NameOf(admin->Address()));
  }
  const FileDescriptor listener = manager.TakeListener();
  const Member member(options);
  Server server(options, member, {events, memory, readiness, manager}, listener);
  if (server.IsReachableFromOutside() && options.clientAuthorities.empty()) {
    PrintLine(STDERR_FILENO,
              "whoever reaches this address may call the handlers; --tls-client-ca FILE would ask "
              "who it is");
  }
  if (options.allowObjects || options.rules->AllowObjects()) {
    PrintLine(STDERR_FILENO,
              std::string(options.allowObjects ? "--allow-objects" : "a rule with \"objects\"") +
                  " allows clients to run any code with the rights of this server");
  }
  if (options.allowLoadLibrary || options.rules->AllowLoadLibrary()) {
    PrintLine(STDERR_FILENO,
              std::string(options.allowLoadLibrary ? "--allow-load-library"
                                                   : "a rule with \"load-libraries\"") +
                  " allows clients to run code from any file of this machine");
  }
  PrintLine(STDOUT_FILENO, std::string(options.RuntimeName()) + " listens on " + server.Address() +
                               (options.UsesTls() ? " (TLS)" : " (plain TCP)"));
  server.Run();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    // Ignored until the server handles it; a JVM does not replace an ignored signal.
    std::signal(SIGHUP, SIG_IGN);
    // Otherwise the members would write their errors to standard error as well, and block until
    // somebody reads them. Their log file has all of them.
    setenv("FERROLINK_LOGGING_LEVEL", "off", 0);
    ServiceManager manager;
    const ServerOptions options = ParseOptions(argc, argv);
    if (options.help) {
      std::cout << Usage();
      return 0;
    }
    if (options.version) {
      std::cout << "ferrolink-server " << FERROLINK_VERSION << "\n";
      return 0;
    }
    Serve(options, manager);
    PrintLine(STDOUT_FILENO, "ended");
    return 0;
  } catch (const UsageError& error) {
    PrintLine(STDERR_FILENO, error.what());
    PrintLine(STDERR_FILENO, "--help lists the options");
    return kWrongUsage;
  } catch (const std::exception& error) {
    PrintLine(STDERR_FILENO, error.what());
    return kFailure;
  }
}
