#include "companions/tcp/server/ServerOptions.h"

#include <charconv>
#include <functional>
#include <map>
#include <string_view>
#include <system_error>

namespace Ferrolink::Companions::Tcp::Server {
namespace {

using Native::Definitions::Runtime;

constexpr std::uint32_t kGreatestTimeout = 3'600'000;
constexpr std::uint32_t kMostConnections = 65'535;
constexpr std::uint64_t kLeastMemory = 1U << 20U;
constexpr std::uint64_t kGreatestMemory = std::uint64_t{1} << 40U;

template <class Number = std::uint32_t>
Number numberOf(const std::string& option, std::string_view text, Number least, Number greatest) {
  Number number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end || number < least || number > greatest) {
    throw UsageError(option + " takes a number from " + std::to_string(least) + " to " +
                     std::to_string(greatest) + ", not '" + std::string(text) + "'.");
  }
  return number;
}

asio::ip::tcp::endpoint endpointOf(const std::string& text) {
  const auto colon = text.rfind(':');
  std::error_code error;
  const auto address = asio::ip::make_address_v4(text.substr(0, colon), error);
  if (colon == std::string::npos || error) {
    throw UsageError("--listen takes an IPv4 address and a port, such as 127.0.0.1:8080, not '" +
                     text + "'.");
  }
  return {address, static_cast<std::uint16_t>(
                       numberOf("The port of --listen", text.substr(colon + 1), 0U, 65'535U))};
}

Runtime runtimeOf(const std::string& text) {
  if (text == "jvm") {
    return Runtime::Jvm;
  }
  if (text == "cpp") {
    return Runtime::Cpp;
  }
  throw UsageError("--runtime takes jvm or cpp, not '" + text + "'.");
}

using Setter = std::function<void(ServerOptions&, const std::string&)>;

std::pair<const std::string, Setter> timeout(const char* option, std::uint32_t least,
                                             std::chrono::milliseconds ServerOptions::*member) {
  return {option, [=](ServerOptions& o, const std::string& value) {
            o.*member = std::chrono::milliseconds(numberOf(option, value, least, kGreatestTimeout));
          }};
}

// Of options with a value.
const std::map<std::string, Setter>& setters() {
  static const std::map<std::string, Setter> known = {
      {"--runtime", [](auto& o, auto& value) { o.runtime = runtimeOf(value); }},
      {"--listen", [](auto& o, auto& value) { o.listen = endpointOf(value); }},
      {"--plug-in", [](auto& o, auto& value) { o.plugIns.push_back(value); }},
      {"--tls-certificate", [](auto& o, auto& value) { o.certificate = value; }},
      {"--tls-key", [](auto& o, auto& value) { o.key = value; }},
      {"--tls-client-ca", [](auto& o, auto& value) { o.clientAuthorities = value; }},
      {"--tls-crl", [](auto& o, auto& value) { o.revocationList = value; }},
      {"--max-frame-bytes",
       [](auto& o, auto& value) {
         o.frameLimit =
             numberOf("--max-frame-bytes", value, Wire::kLeastLimit, Wire::kGreatestLimit);
       }},
      {"--max-connections",
       [](auto& o, auto& value) {
         o.mostConnections = numberOf("--max-connections", value, 1U, kMostConnections);
       }},
      {"--max-memory-bytes",
       [](auto& o, auto& value) {
         o.memoryLimit =
             numberOf<std::uint64_t>("--max-memory-bytes", value, kLeastMemory, kGreatestMemory);
       }},
      timeout("--greeting-timeout-ms", 1, &ServerOptions::greetingTimeout),
      timeout("--idle-timeout-ms", 0, &ServerOptions::idleTimeout),
      timeout("--read-timeout-ms", 1, &ServerOptions::readTimeout),
      timeout("--write-timeout-ms", 1, &ServerOptions::writeTimeout),
      timeout("--shutdown-grace-ms", 0, &ServerOptions::shutdownGrace),
  };
  return known;
}

void check(const ServerOptions& options, bool runtimeGiven) {
  if (!runtimeGiven) {
    throw UsageError("--runtime is missing: jvm or cpp.");
  }
  if (options.certificate.empty() != options.key.empty()) {
    throw UsageError("--tls-certificate and --tls-key go together.");
  }
  if (!options.clientAuthorities.empty() && !options.usesTls()) {
    throw UsageError("--tls-client-ca needs --tls-certificate and --tls-key.");
  }
  if (!options.revocationList.empty() && options.clientAuthorities.empty()) {
    throw UsageError("--tls-crl needs --tls-client-ca.");
  }
}

}  // namespace

const char* const kUsage =
    "usage: ferrolink-server --runtime jvm|cpp [option ...]\n"
    "Runs commands that come over the network in a runtime of its own process.\n"
    "  --listen ADDRESS:PORT     IPv4; 127.0.0.1:8080 unless given; port 0 picks one\n"
    "  --plug-in FILE            a library with handlers (an archive for jvm); any number\n"
    "  --allow-load-library      let clients load libraries that lie on this machine\n"
    "  --tls-certificate FILE    speak TLS with this certificate chain (PEM)\n"
    "  --tls-key FILE            its key (PEM, without a password)\n"
    "  --tls-client-ca FILE      demand client certificates of these authorities (PEM)\n"
    "  --tls-crl FILE            certificates that these authorities have revoked (PEM)\n"
    "  --max-frame-bytes N       longest command and response; 268435456 unless given\n"
    "  --max-memory-bytes N      of all commands and responses; 1073741824 unless given\n"
    "  --max-connections N       with a command at a time; 256 unless given\n"
    "  --greeting-timeout-ms N   for the first bytes of a connection; 10000 unless given\n"
    "  --idle-timeout-ms N       between commands; 600000 unless given, 0 is none\n"
    "  --read-timeout-ms N       for a command to go on coming; 30000 unless given\n"
    "  --write-timeout-ms N      for an answer to go on being read; 30000 unless given\n"
    "  --shutdown-grace-ms N     for commands that run at the end; 30000 unless given\n"
    "SIGTERM and SIGINT end it after the commands that run; a second one at once. SIGHUP reads\n"
    "certificates again.\n";

ServerOptions parseOptions(int argc, char** argv) {
  ServerOptions options;
  bool runtimeGiven = false;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--help") {
      options.help = true;
      return options;
    }
    if (option == "--allow-load-library") {
      options.allowLoadLibrary = true;
      continue;
    }
    const auto setter = setters().find(option);
    if (setter == setters().end()) {
      throw UsageError("Unknown option '" + option + "'.");
    }
    if (++i == argc || *argv[i] == '\0') {
      throw UsageError(option + " takes a value.");
    }
    setter->second(options, argv[i]);
    runtimeGiven = runtimeGiven || option == "--runtime";
  }
  check(options, runtimeGiven);
  return options;
}

}  // namespace Ferrolink::Companions::Tcp::Server
