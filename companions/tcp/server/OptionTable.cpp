#include "companions/tcp/server/OptionTable.h"

#include <asio/io_context.hpp>
#include <charconv>
#include <chrono>
#include <string_view>
#include <system_error>
#include <utility>

#include "companions/tcp/server/ServerLog.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

using asio::ip::tcp;
using Native::Definitions::Runtime;

constexpr std::uint64_t kHour = 3'600'000;
constexpr std::uint64_t kDay = 24 * kHour;
constexpr std::uint64_t kMostConnections = 65'535;
constexpr std::uint64_t kMostMemory = std::uint64_t{1} << 48U;

constexpr const char* kServing = "Serving";
constexpr const char* kTls = "TLS";
constexpr const char* kLimits = "Limits";
constexpr const char* kOperations = "Operations";

constexpr const char* kEndpoint =
    "an address or name and a port, such as 127.0.0.1:8080, [::1]:8080 or localhost:8080";

// A name is resolved to its first address.
tcp::endpoint EndpointOf(const std::string& text) {
  const auto colon = text.rfind(':');
  std::string host = text.substr(0, colon);
  std::uint16_t port = 0;
  const char* end = text.data() + text.size();
  const char* begin = colon == std::string::npos ? end : text.data() + colon + 1;
  const auto [rest, wrong] = std::from_chars(begin, end, port);
  const bool brackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (wrong != std::errc() || rest != end || host.empty() ||
      (!brackets && host.find_first_of(":[]") != std::string::npos)) {
    throw WrongValue(kEndpoint);
  }
  if (brackets) {
    host = host.substr(1, host.size() - 2);
  }
  asio::error_code error;
  const auto address = asio::ip::make_address(host, error);
  if (!error) {
    return {address, port};
  }
  asio::io_context context;
  const auto found = tcp::resolver(context).resolve(
      host, std::to_string(port), tcp::resolver::passive | tcp::resolver::numeric_service, error);
  if (error || found.empty()) {
    throw WrongValue(std::string(kEndpoint) + " (" + error.message() + ")");
  }
  return found.begin()->endpoint();
}

std::string Usual(std::uint64_t number) {
  return "; " + std::to_string(number) + " unless given";
}

template <class Number>
Option NumberOption(std::string name, const char* group, std::string help,
                    Number ServerOptions::*field, std::uint64_t least, std::uint64_t greatest) {
  return {std::move(name),
          OptionKind::Number,
          "N",
          std::move(help) + Usual(ServerOptions().*field),
          group,
          [field](ServerOptions& o, const OptionValue& value) {
            o.*field = static_cast<Number>(value.number);
          },
          least,
          greatest};
}

Option Time(std::string name, const char* group, std::string help,
            std::chrono::milliseconds ServerOptions::*field, std::uint64_t least,
            std::uint64_t greatest) {
  return {std::move(name),
          OptionKind::Number,
          "N",
          std::move(help) + Usual(static_cast<std::uint64_t>((ServerOptions().*field).count())),
          group,
          [field](ServerOptions& o, const OptionValue& value) {
            o.*field = std::chrono::milliseconds(value.number);
          },
          least,
          greatest};
}

Option File(std::string name, std::string help, std::string ServerOptions::*field) {
  return {std::move(name),
          OptionKind::File,
          "FILE",
          std::move(help),
          kTls,
          [field](ServerOptions& o, const OptionValue& value) { o.*field = value.text; }};
}

Option Flag(std::string name, const char* group, std::string help, bool ServerOptions::*field) {
  return {std::move(name),
          OptionKind::Flag,
          "",
          std::move(help),
          group,
          [field](ServerOptions& o, const OptionValue& /*value*/) { o.*field = true; }};
}

void SetRuntime(ServerOptions& options, const OptionValue& value) {
  if (value.text != "jvm" && value.text != "cpp") {
    throw WrongValue("jvm or cpp");
  }
  options.runtime = value.text == "jvm" ? Runtime::Jvm : Runtime::Cpp;
}

void SetLogFormat(ServerOptions& options, const OptionValue& value) {
  if (value.text != "text" && value.text != "json") {
    throw WrongValue("text or json");
  }
  options.logFormat = value.text == "json" ? LogFormat::Json : LogFormat::Text;
}

void AddServing(std::vector<Option>& table) {
  table.push_back({"runtime", OptionKind::Text, "jvm|cpp", "whose handlers serve; required",
                   kServing, SetRuntime});
  table.push_back({"listen", OptionKind::Text, "ADDRESS:PORT",
                   "an address of IPv4, one of IPv6 in brackets, or a name; port 0 picks one; "
                   "127.0.0.1:8080 unless given",
                   kServing, [](ServerOptions& o, const OptionValue& value) {
                     o.listen = EndpointOf(value.text);
                   }});
  table.push_back(
      {"plug-in", OptionKind::Files, "FILE",
       "a library with handlers (an archive for jvm); any number", kServing,
       [](ServerOptions& o, const OptionValue& value) { o.plugIns.push_back(value.text); }});
  table.push_back(Flag("allow-load-library", kServing,
                       "let clients load libraries that lie on this machine",
                       &ServerOptions::allowLoadLibrary));
  table.push_back(Flag("allow-objects", kServing,
                       "let clients make typed calls, which can run any code",
                       &ServerOptions::allowObjects));
}

void AddTls(std::vector<Option>& table) {
  table.push_back(File("tls-certificate", "speak TLS with this certificate chain (PEM)",
                       &ServerOptions::certificate));
  table.push_back(File("tls-key", "its key (PEM, without a password)", &ServerOptions::key));
  table.push_back(File("tls-client-ca", "demand client certificates of these authorities (PEM)",
                       &ServerOptions::clientAuthorities));
  table.push_back(File("tls-crl", "refuse client certificates that these lists revoke (PEM)",
                       &ServerOptions::revocationList));
}

void AddLimits(std::vector<Option>& table) {
  table.push_back(NumberOption("max-frame-bytes", kLimits, "longest command and response",
                               &ServerOptions::frameLimit, Wire::kLeastLimit,
                               Wire::kGreatestLimit));
  table.push_back(NumberOption("max-memory-bytes", kLimits,
                               "for commands and responses of all connections together",
                               &ServerOptions::memoryLimit, Wire::kLeastLimit, kMostMemory));
  table.push_back(NumberOption("max-connections", kLimits, "served at a time",
                               &ServerOptions::mostConnections, 1, kMostConnections));
  table.push_back(Time("greeting-timeout-ms", kLimits,
                       "for the first bytes of a connection, TLS included",
                       &ServerOptions::greetingTimeout, 1, kHour));
  table.push_back(Time("idle-timeout-ms", kLimits,
                       "between two commands, then the connection is closed; 0 is for ever",
                       &ServerOptions::idleTimeout, 0, kDay));
  table.push_back(Time("read-timeout-ms", kLimits, "for the next bytes of a command that has begun",
                       &ServerOptions::readTimeout, 1, kHour));
  table.push_back(Time("write-timeout-ms", kLimits,
                       "for a client to take the next bytes of an answer",
                       &ServerOptions::writeTimeout, 1, kHour));
}

void AddOperations(std::vector<Option>& table) {
  table.push_back(
      {"admin", OptionKind::Text, "ADDRESS:PORT",
       "serve /livez, /readyz and /metrics there over HTTP; nowhere unless given", kOperations,
       [](ServerOptions& o, const OptionValue& value) { o.admin = EndpointOf(value.text); }});
  table.push_back(Time("drain-ms", kOperations,
                       "after SIGTERM, serve on while /readyz fails already", &ServerOptions::drain,
                       0, kHour));
  table.push_back(Time("shutdown-grace-ms", kOperations,
                       "after that, for commands that run; then their connections are cut",
                       &ServerOptions::shutdownGrace, 0, kHour));
  table.push_back({"log-format", OptionKind::Text, "text|json",
                   "of the lines on standard error; text unless given", kOperations, SetLogFormat});
  table.push_back(Flag("access-log", kOperations, "log each call, too", &ServerOptions::accessLog));
}

}  // namespace

const std::vector<Option>& OptionTable() {
  static const std::vector<Option> table = [] {
    std::vector<Option> options;
    AddServing(options);
    AddTls(options);
    AddLimits(options);
    AddOperations(options);
    return options;
  }();
  return table;
}

}  // namespace Ferrolink::Companions::Tcp::Server
