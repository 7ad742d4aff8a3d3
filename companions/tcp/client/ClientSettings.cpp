#include "companions/tcp/client/ClientSettings.h"

#include <cstdlib>
#include <utility>

#include "companions/tcp/Wire.h"
#include "companions/tcp/client/ClientError.h"
#include "companions/tcp/client/ClientVariables.h"
#include "companions/tcp/client/EndpointConfiguration.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t kUsualUnacknowledgedTimeout = 120'000;
constexpr std::uint32_t kUsualPoolSize = 256;

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

// `configured` was validated when the configuration was read.
std::uint32_t NumberOf(const NumericVariable& variable, const std::string& configured,
                       std::uint32_t usual) {
  const std::string text = TextOf(variable.name);
  if (text.empty()) {
    return NumberIn(configured).value_or(usual);
  }
  const auto number = variable.ValueIn(text);
  if (!number) {
    Refuse(variable.name, text, variable.Wanted());
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
  settings.connectTimeout = milliseconds(
      NumberOf(kConnectTimeout, configured.One("connectTimeoutMs"), kUsualConnectTimeout));
  settings.frameLimit = NumberOf(kFrameLimit, configured.One("maxFrameBytes"), Wire::kUsualLimit);
  const std::uint32_t callTimeout =
      NumberOf(kCallTimeout, configured.One("callTimeoutMs"), Wire::kNoTimeLimit);
  if (callTimeout != Wire::kNoTimeLimit) {
    settings.callTimeout = milliseconds(callTimeout);
  }
  settings.unacknowledgedTimeout =
      milliseconds(NumberOf(kUnacknowledgedTimeout, configured.One("unacknowledgedTimeoutMs"),
                            kUsualUnacknowledgedTimeout));
  settings.poolSize = NumberOf(kPoolSize, configured.One("poolSize"), kUsualPoolSize);
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
  const std::string insecure = TextOf(kInsecureVariable);
  if (!insecure.empty() && insecure != kInsecure) {
    Refuse(kInsecureVariable, insecure, std::string("'") + kInsecure + "' or unset");
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
