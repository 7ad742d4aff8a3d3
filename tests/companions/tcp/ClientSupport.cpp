#include "tests/companions/tcp/ClientSupport.h"

#include <arpa/inet.h>
#include <ferrolink/protocol/Commands.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <filesystem>
#include <stdexcept>

namespace Ferrolink::Tests {

std::string ClientError(int code, const std::string& rest) {
  const std::string number = std::to_string(code);
  return "error: Network Client: Exception code " + std::string(3 - number.size(), '0') + number +
         ".\n" + rest;
}

std::string Broken(const Port& port, const std::string& when, const std::string& reason) {
  return ClientError(
      2, "The connection to " + port.Name() + " broke while " + when + ": " + reason +
             ". The command may have been executed and is not sent again. See what the server "
             "says, then decide whether to repeat it.");
}

std::string NotConnected(const Port& port, const std::string& reason) {
  return ClientError(1, "Cannot connect to " + port.Name() + ": " + reason +
                            ". The command was not sent. See that ferrolink-server runs there and "
                            "has room for another connection.");
}

std::string NoPeer(const Port& port, const std::string& what, const std::string& advice) {
  return ClientError(3, port.Name() + " " + what + ". The command was not sent. " + advice);
}

std::string NotBegun(const std::string& server, const std::string& text) {
  return ClientError(8, server + " has not begun the command, which was not executed: " + text);
}

void Configure(const std::string& address, const std::string& members) {
  void* library = dlopen(FERROLINK_INSTALLATION "/Binaries/Native/Linux/X64/libConfigs.so",
                         RTLD_NOW | RTLD_LOCAL);
  auto* set = reinterpret_cast<int (*)(const char*)>(dlsym(library, "SetConfigSource"));
  if (set == nullptr ||
      set(("{\"endpoints\": {\"" + address + "\": {" + members + "}}}").c_str()) != 0) {
    throw std::runtime_error("cannot configure " + address);
  }
}

std::string OfKind(char channelType, std::string command) {
  command[Protocol::Header::kChannelType] = channelType;
  return command;
}

std::string CallWithin(std::uint32_t milliseconds, std::string_view payload) {
  return Protocol::ToText(Protocol::CallWithinCommand(
      {.target = Protocol::Runtime::Cpp, .caller = Protocol::Runtime::Jvm}, milliseconds, "echo",
      Protocol::AsBytes(payload)));
}

std::uint32_t MillisecondsIn(const std::string& header) {
  std::uint32_t number = 0;
  for (const char byte : header.substr(8, 4)) {
    number = number << 8U | static_cast<unsigned char>(byte);
  }
  return number;
}

std::set<int> OpenSockets() {
  std::set<int> sockets;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code closedMeanwhile;
    const auto target = std::filesystem::read_symlink(entry, closedMeanwhile);
    if (target.string().starts_with("socket:")) {
      sockets.insert(std::stoi(entry.path().filename()));
    }
  }
  return sockets;
}

int SocketTo(std::uint16_t port) {
  for (const int descriptor : OpenSockets()) {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
        peer.sin_family == AF_INET && ntohs(peer.sin_port) == port) {
      return descriptor;
    }
  }
  return -1;
}

}  // namespace Ferrolink::Tests
