// The network companions themselves: the client library in this process, and ferrolink-server in
// another one, with the handler "echo" of the benchmark's plug-in.
#include <dlfcn.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/harness/Serve.h"
#include "bench/harness/Team.h"
#include "ferrolink/protocol/Commands.h"
#include "native/interfaces/ITransport.h"

namespace {

namespace Protocol = Ferrolink::Protocol;
namespace Header = Protocol::Header;
using Ferrolink::Native::Interfaces::ITransport;
using Protocol::Bytes;
using Protocol::Runtime;

constexpr std::uint8_t kTcp = Header::kChannelTcp;
constexpr std::uint8_t kTls = Header::kChannelTls;

struct Options {
  std::uint8_t channel = kTcp;
  std::size_t threads = 0;
  std::string server;
  std::string plugIn;
  std::string library;
  std::string certificate;
  std::string key;
};

// The port in the server's first line.
std::uint16_t PortIn(const std::string& line) {
  const std::size_t address = line.find("127.0.0.1:");
  if (address == std::string::npos) {
    throw std::runtime_error("the server does not listen: " + line);
  }
  return static_cast<std::uint16_t>(std::strtoul(line.c_str() + address + 10, nullptr, 10));
}

// Each thread keeps a connection, and the server has one slot for each.
void MakeRoomFor(std::size_t threads) {
  rlimit descriptors{};
  getrlimit(RLIMIT_NOFILE, &descriptors);
  descriptors.rlim_cur = descriptors.rlim_max;
  setrlimit(RLIMIT_NOFILE, &descriptors);
  setenv("FERROLINK_POOL_SIZE", std::to_string(threads).c_str(), 1);
}

std::vector<std::string> CommandLine(const Options& options) {
  std::vector<std::string> line = {options.server,
                                   "--runtime",
                                   "cpp",
                                   "--listen",
                                   "127.0.0.1:0",
                                   "--plug-in",
                                   options.plugIn,
                                   "--max-connections",
                                   std::to_string(std::max<std::size_t>(256, 2 * options.threads))};
  if (options.channel == kTls) {
    line.insert(line.end(), {"--tls-certificate", options.certificate, "--tls-key", options.key});
  }
  return line;
}

std::uint16_t StartServer(const Options& options) {
  int output[2];
  if (pipe(output) != 0) {
    throw std::runtime_error("pipe");
  }
  if (fork() == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(output[1], STDOUT_FILENO);
    std::vector<std::string> line = CommandLine(options);
    std::vector<char*> arguments;
    for (std::string& argument : line) {
      arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(output[1]);
  std::string line;
  for (char byte = 0; read(output[0], &byte, 1) == 1 && byte != '\n';) {
    line.push_back(byte);
  }
  return PortIn(line);
}

ITransport* OpenChannel(const Options& options, std::uint16_t port) {
  void* library = dlopen(options.library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    throw std::runtime_error(dlerror());
  }
  using Create = ITransport*(const char*, std::uint16_t);
  ITransport* channel =
      reinterpret_cast<Create*>(dlsym(library, "CreateTransportChannel"))("127.0.0.1", port);
  channel->Initialize(static_cast<std::uint8_t>(Runtime::Jvm),
                      static_cast<std::uint8_t>(Runtime::Cpp), 0);
  return channel;
}

Bytes CommandOf(const Options& options, std::uint16_t port, std::size_t size) {
  return Protocol::CallCommand({.target = Runtime::Cpp,
                                .caller = Runtime::Jvm,
                                .channel = options.channel,
                                .address = {127, 0, 0, 1},
                                .port = port},
                               "echo", Bytes(size, 'x'));
}

void CallMany(ITransport& channel, Bytes command, std::size_t size, long calls) {
  const int expected = static_cast<int>(Header::kSize + size);
  Bytes answer(static_cast<std::size_t>(expected));
  for (long i = 0; i < calls; ++i) {
    if (channel.SendCommand(command.data(), static_cast<int>(command.size())) != expected) {
      throw std::runtime_error("an answer has another length");
    }
    channel.ReadResponse(answer.data(), expected);
  }
}

void Run(const Options& options) {
  MakeRoomFor(options.threads);
  const std::uint16_t port = StartServer(options);
  if (options.channel == kTls) {
    setenv("FERROLINK_TLS_CA_FILE", options.certificate.c_str(), 1);
  }
  ITransport* channel = OpenChannel(options, port);
  Ferrolink::Bench::Team team(
      options.threads, [] {}, [] {});
  Ferrolink::Bench::Serve([&](std::size_t size, long calls) {
    const Bytes command = CommandOf(options, port, size);
    return team.Run([&](std::size_t, long own) { CallMany(*channel, command, size, own); },
                    std::max(1L, calls / static_cast<long>(options.threads)));
  });
}

}  // namespace

int main(int count, char** values) {
  if (count != 6 && count != 8) {
    std::fprintf(stderr,
                 "usage: ferrolink-bench-network tcp|tls THREADS SERVER PLUG-IN CLIENT-LIBRARY "
                 "[CERTIFICATE KEY]\n");
    return 2;
  }
  Options options{count == 8 ? kTls : kTcp,
                  std::strtoul(values[2], nullptr, 10),
                  values[3],
                  values[4],
                  values[5],
                  "",
                  ""};
  if (count == 8) {
    options.certificate = values[6];
    options.key = values[7];
  }
  try {
    Run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
