#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SERVEROPTIONS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SERVEROPTIONS_H

#include <asio/ip/address_v4.hpp>
#include <asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "companions/tcp/Wire.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Companions::Tcp::Server {

/// What the command line asks for; docs/network.md and --help list the options.
struct ServerOptions {
  Native::Definitions::Runtime runtime = Native::Definitions::Runtime::Cpp;
  asio::ip::tcp::endpoint listen{asio::ip::address_v4::loopback(), 8080};
  std::vector<std::string> plugIns;
  bool allowLoadLibrary = false;
  std::uint32_t frameLimit = Wire::kUsualLimit;
  std::size_t mostConnections = 256;
  std::uint64_t memoryLimit = 1U << 30U;  ///< of the frames of all connections together
  std::chrono::milliseconds greetingTimeout{10'000};
  std::chrono::milliseconds idleTimeout{600'000};   ///< between commands; 0 is none
  std::chrono::milliseconds readTimeout{30'000};    ///< without a byte of a command that has begun
  std::chrono::milliseconds writeTimeout{30'000};   ///< without a byte of an answer that is taken
  std::chrono::milliseconds shutdownGrace{30'000};  ///< for commands that run
  std::string certificate;                          ///< with it the server speaks TLS
  std::string key;
  std::string clientAuthorities;  ///< with it clients need a certificate
  std::string revocationList;
  bool help = false;

  [[nodiscard]] bool usesTls() const { return !certificate.empty(); }
  [[nodiscard]] const char* runtimeName() const {
    return runtime == Native::Definitions::Runtime::Jvm ? "jvm" : "cpp";
  }
};

/// The command line cannot be understood. what() says what is wrong with it.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Errors: UsageError.
ServerOptions parseOptions(int argc, char** argv);

extern const char* const kUsage;

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
