#include "companions/tcp/client/ClientSettings.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

#include "companions/tcp/Wire.h"
#include "companions/tcp/client/ClientError.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

constexpr std::uint32_t kUsualTimeout = 10'000;
constexpr std::uint32_t kGreatestTimeout = 3'600'000;
constexpr const char* kInsecure = "accept-any-certificate";

std::string textOf(const char* variable) {
  const char* text = std::getenv(variable);
  return text == nullptr ? "" : text;
}

[[noreturn]] void refuse(const std::string& variable, const std::string& text,
                         const std::string& wanted) {
  fail(ClientError::Settings, "The environment variable " + variable + " is '" + text +
                                  "', it must be " + wanted + ". The command was not sent.");
}

std::uint32_t numberOf(const char* variable, std::uint32_t usual, std::uint32_t least,
                       std::uint32_t greatest) {
  const std::string text = textOf(variable);
  if (text.empty()) {
    return usual;
  }
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end || number < least || number > greatest) {
    refuse(variable, text,
           "a number from " + std::to_string(least) + " to " + std::to_string(greatest));
  }
  return number;
}

}  // namespace

ClientSettings ClientSettings::read() {
  return {std::chrono::milliseconds(
              numberOf("FERROLINK_CONNECT_TIMEOUT_MS", kUsualTimeout, 1, kGreatestTimeout)),
          numberOf("FERROLINK_MAX_FRAME_BYTES", Wire::kUsualLimit, Wire::kLeastLimit,
                   Wire::kGreatestLimit)};
}

TlsSettings TlsSettings::read() {
  TlsSettings settings{textOf("FERROLINK_TLS_CA_FILE"), textOf("FERROLINK_TLS_CERTIFICATE"),
                       textOf("FERROLINK_TLS_KEY"), false};
  const std::string insecure = textOf("FERROLINK_TLS_INSECURE");
  if (!insecure.empty() && insecure != kInsecure) {
    refuse("FERROLINK_TLS_INSECURE", insecure, std::string("'") + kInsecure + "' or unset");
  }
  settings.acceptAnyCertificate = !insecure.empty();
  if (settings.certificate.empty() != settings.key.empty()) {
    fail(ClientError::Settings,
         "Of FERROLINK_TLS_CERTIFICATE and FERROLINK_TLS_KEY only one is set. Set both, or none. "
         "The command was not sent.");
  }
  return settings;
}

}  // namespace Ferrolink::Companions::Tcp::Client
