#include "companions/tcp/client/ClientSettings.h"

#include <charconv>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

#include "companions/tcp/Wire.h"
#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/EndpointConfiguration.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t kUsualConnectTimeout = 10'000;
constexpr std::uint32_t kUsualUnacknowledgedTimeout = 120'000;
constexpr std::uint32_t kGreatestTimeout = 3'600'000;
constexpr std::uint32_t kUsualPoolSize = 256;
constexpr std::uint32_t kGreatestPoolSize = 4096;
constexpr const char* kInsecure = "accept-any-certificate";

std::string TextOf(const char* variable) {
  const char* text = std::getenv(variable);
  return text == nullptr ? "" : text;
}

// The variable's text, or `configured` if it is unset.
std::string TextOf(const char* variable, const std::string& configured) {
  std::string text = TextOf(variable);
  return text.empty() ? configured : text;
}

[[noreturn]] void Refuse(const std::string& variable, const std::string& text,
                         const std::string& wanted) {
  Fail(ClientError::Settings, "The environment variable " + variable + " is '" + text +
                                  "', it must be " + wanted + ". The command was not sent.");
}

std::optional<std::uint32_t> NumberIn(const std::string& text) {
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

// `configured` was validated when the configuration was read.
std::uint32_t NumberOf(const char* variable, const std::string& configured, std::uint32_t usual,
                       std::uint32_t least, std::uint32_t greatest) {
  const std::string text = TextOf(variable);
  if (text.empty()) {
    return NumberIn(configured).value_or(usual);
  }
  const auto number = NumberIn(text);
  if (!number || *number < least || *number > greatest) {
    Refuse(variable, text,
           "a number from " + std::to_string(least) + " to " + std::to_string(greatest));
  }
  return *number;
}

// Parses "host:port", with brackets around an IPv6 address.
Peer PeerOf(const std::string& target) {
  const std::size_t colon = target.rfind(':');
  std::string host = target.substr(0, colon);
  if (host.starts_with('[')) {
    host = host.substr(1, host.size() - 2);
  }
  const auto port = NumberIn(target.substr(colon + 1));
  return {std::move(host), static_cast<std::uint16_t>(port.value_or(0)), true};
}

}  // namespace

ClientSettings ClientSettings::Read(const Peer& endpoint) {
  ClientSettings settings;
  settings.revision = EndpointConfiguration::Revision();
  const EndpointConfiguration configured(endpoint);
  for (const std::string& target : configured.All("connect")) {
    settings.servers.push_back(PeerOf(target));
  }
  if (settings.servers.empty()) {
    settings.servers.push_back(endpoint);
  }
  settings.connectTimeout =
      milliseconds(NumberOf("FERROLINK_CONNECT_TIMEOUT_MS", configured.One("connectTimeoutMs"),
                            kUsualConnectTimeout, 1, kGreatestTimeout));
  settings.frameLimit = NumberOf("FERROLINK_MAX_FRAME_BYTES", configured.One("maxFrameBytes"),
                                 Wire::kUsualLimit, Wire::kLeastLimit, Wire::kGreatestLimit);
  const std::uint32_t callTimeout =
      NumberOf("FERROLINK_CALL_TIMEOUT_MS", configured.One("callTimeoutMs"), Wire::kNoTimeLimit, 1,
               Wire::kNoTimeLimit - 1);
  if (callTimeout != Wire::kNoTimeLimit) {
    settings.callTimeout = milliseconds(callTimeout);
  }
  settings.unacknowledgedTimeout = milliseconds(
      NumberOf("FERROLINK_UNACKNOWLEDGED_TIMEOUT_MS", configured.One("unacknowledgedTimeoutMs"),
               kUsualUnacknowledgedTimeout, 1, kGreatestTimeout));
  settings.poolSize = NumberOf("FERROLINK_POOL_SIZE", configured.One("poolSize"), kUsualPoolSize, 0,
                               kGreatestPoolSize);
  settings.requiresTls = configured.One("tls") == "required";
  settings.tls = {configured.One("name"),
                  configured.One("authorities"),
                  configured.One("revocationList"),
                  configured.One("certificate"),
                  configured.One("key"),
                  false};
  return settings;
}

TlsSettings TlsSettings::WithEnvironment() const {
  TlsSettings settings = *this;
  settings.authorities = TextOf("FERROLINK_TLS_CA_FILE", authorities);
  settings.revocationList = TextOf("FERROLINK_TLS_CRL_FILE", revocationList);
  const std::string insecure = TextOf("FERROLINK_TLS_INSECURE");
  if (!insecure.empty() && insecure != kInsecure) {
    Refuse("FERROLINK_TLS_INSECURE", insecure, std::string("'") + kInsecure + "' or unset");
  }
  settings.acceptAnyCertificate = !insecure.empty();
  const std::string ownCertificate = TextOf("FERROLINK_TLS_CERTIFICATE");
  const std::string ownKey = TextOf("FERROLINK_TLS_KEY");
  if (ownCertificate.empty() != ownKey.empty()) {
    Fail(ClientError::Settings,
         "Of FERROLINK_TLS_CERTIFICATE and FERROLINK_TLS_KEY only one is set. Set both, or none. "
         "The command was not sent.");
  }
  if (!ownCertificate.empty()) {
    settings.certificate = ownCertificate;
    settings.key = ownKey;
  }
  return settings;
}

}  // namespace Ferrolink::Companions::Tcp::Client
