#include "companions/tcp/client/ClientSettings.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

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

std::string textOf(const char* variable) {
  const char* text = std::getenv(variable);
  return text == nullptr ? "" : text;
}

// The variable's text, or else `configured`.
std::string textOf(const char* variable, const std::string& configured) {
  std::string text = textOf(variable);
  return text.empty() ? configured : text;
}

[[noreturn]] void refuse(const std::string& variable, const std::string& text,
                         const std::string& wanted) {
  fail(ClientError::Settings, "The environment variable " + variable + " is '" + text +
                                  "', it must be " + wanted + ". The command was not sent.");
}

std::optional<std::uint32_t> numberIn(const std::string& text) {
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

// What is configured was checked when it was read.
std::uint32_t numberOf(const char* variable, const std::string& configured, std::uint32_t usual,
                       std::uint32_t least, std::uint32_t greatest) {
  const std::string text = textOf(variable);
  if (text.empty()) {
    return numberIn(configured).value_or(usual);
  }
  const auto number = numberIn(text);
  if (!number || *number < least || *number > greatest) {
    refuse(variable, text,
           "a number from " + std::to_string(least) + " to " + std::to_string(greatest));
  }
  return *number;
}

// Of "host:port", where an address of version 6 has brackets.
Peer peerOf(const std::string& target) {
  const std::size_t colon = target.rfind(':');
  std::string host = target.substr(0, colon);
  if (host.starts_with('[')) {
    host = host.substr(1, host.size() - 2);
  }
  const auto port = numberIn(target.substr(colon + 1));
  return {std::move(host), static_cast<std::uint16_t>(port.value_or(0)), true};
}

}  // namespace

ClientSettings ClientSettings::read(const Peer& endpoint) {
  ClientSettings settings;
  settings.revision = EndpointConfiguration::revision();
  const EndpointConfiguration configured(endpoint);
  for (const std::string& target : configured.all("connect")) {
    settings.servers.push_back(peerOf(target));
  }
  if (settings.servers.empty()) {
    settings.servers.push_back(endpoint);
  }
  settings.connectTimeout =
      milliseconds(numberOf("FERROLINK_CONNECT_TIMEOUT_MS", configured.one("connectTimeoutMs"),
                            kUsualConnectTimeout, 1, kGreatestTimeout));
  settings.frameLimit = numberOf("FERROLINK_MAX_FRAME_BYTES", configured.one("maxFrameBytes"),
                                 Wire::kUsualLimit, Wire::kLeastLimit, Wire::kGreatestLimit);
  const std::uint32_t callTimeout =
      numberOf("FERROLINK_CALL_TIMEOUT_MS", configured.one("callTimeoutMs"), Wire::kNoTimeLimit, 1,
               Wire::kNoTimeLimit - 1);
  if (callTimeout != Wire::kNoTimeLimit) {
    settings.callTimeout = milliseconds(callTimeout);
  }
  settings.unacknowledgedTimeout = milliseconds(
      numberOf("FERROLINK_UNACKNOWLEDGED_TIMEOUT_MS", configured.one("unacknowledgedTimeoutMs"),
               kUsualUnacknowledgedTimeout, 1, kGreatestTimeout));
  settings.poolSize = numberOf("FERROLINK_POOL_SIZE", configured.one("poolSize"), kUsualPoolSize, 0,
                               kGreatestPoolSize);
  settings.requiresTls = configured.one("tls") == "required";
  settings.tls = {configured.one("name"),
                  configured.one("authorities"),
                  configured.one("revocationList"),
                  configured.one("certificate"),
                  configured.one("key"),
                  false};
  return settings;
}

TlsSettings TlsSettings::withEnvironment() const {
  TlsSettings settings = *this;
  settings.authorities = textOf("FERROLINK_TLS_CA_FILE", authorities);
  settings.revocationList = textOf("FERROLINK_TLS_CRL_FILE", revocationList);
  const std::string insecure = textOf("FERROLINK_TLS_INSECURE");
  if (!insecure.empty() && insecure != kInsecure) {
    refuse("FERROLINK_TLS_INSECURE", insecure, std::string("'") + kInsecure + "' or unset");
  }
  settings.acceptAnyCertificate = !insecure.empty();
  const std::string ownCertificate = textOf("FERROLINK_TLS_CERTIFICATE");
  const std::string ownKey = textOf("FERROLINK_TLS_KEY");
  if (ownCertificate.empty() != ownKey.empty()) {
    fail(ClientError::Settings,
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
