#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SERVEROPTIONS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SERVEROPTIONS_H

#include <asio/ip/address_v4.hpp>
#include <asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "companions/tcp/Wire.h"
#include "companions/tcp/server/AccessRules.h"
#include "companions/tcp/server/ServerLog.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The time limits of connections and of the shutdown.
struct TimeOptions {
  std::chrono::milliseconds greetingTimeout{10'000};
  std::chrono::milliseconds idleTimeout{600'000};   ///< between commands; 0 is none
  std::chrono::milliseconds readTimeout{30'000};    ///< without a byte of a command that has begun
  std::chrono::milliseconds writeTimeout{30'000};   ///< without a byte of an answer that is taken
  std::chrono::milliseconds drain{0};               ///< from the signal to the first refusal
  std::chrono::milliseconds shutdownGrace{30'000};  ///< from then on, for commands that run
};

/// The files for TLS.
struct TlsOptions {
  std::string certificate;  ///< with it the server speaks TLS
  std::string key;
  std::string clientAuthorities;  ///< with it clients need a certificate
  std::string revocationList;

  [[nodiscard]] bool UsesTls() const { return !certificate.empty(); }
};

/// The options of command line and configuration file; docs/server.md and --help list them.
struct ServerOptions : TimeOptions, TlsOptions {
  Native::Definitions::Runtime runtime = Native::Definitions::Runtime::Cpp;
  std::vector<std::string> plugIns;
  bool allowLoadLibrary = false;
  bool allowObjects = false;

  asio::ip::tcp::endpoint listen{asio::ip::address_v4::loopback(), 8080};
  std::optional<asio::ip::tcp::endpoint> admin;

  std::uint32_t frameLimit = Wire::kUsualLimit;
  std::uint64_t memoryLimit = 1U << 30U;  ///< of the buffers of all connections together
  std::size_t mostConnections = 256;

  LogFormat logFormat = LogFormat::Text;
  bool accessLog = false;

  /// Never null. All copies of the options share the counters.
  std::shared_ptr<AccessRules> rules = std::make_shared<AccessRules>();

  bool help = false;
  bool version = false;

  [[nodiscard]] const char* RuntimeName() const {
    return runtime == Native::Definitions::Runtime::Jvm ? "jvm" : "cpp";
  }
};

/// Command line or configuration file are wrong. what() says how.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads the command line, and the file of its --config; the command line takes precedence. With
/// --help or --version all other options are ignored. Errors: UsageError.
ServerOptions ParseOptions(int argc, char** argv);

/// The text of --help.
std::string Usage();

/// "address:port", with brackets around an IPv6 address.
std::string NameOf(const asio::ip::tcp::endpoint& endpoint);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
