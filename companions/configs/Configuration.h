#ifndef FERROLINK_COMPANIONS_CONFIGS_CONFIGURATION_H
#define FERROLINK_COMPANIONS_CONFIGS_CONFIGURATION_H

#include <algorithm>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ferrolink::Companions {

/// A source, value or request is refused; what() is the text for the user.
class ConfigurationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The result of the port functions for "none".
constexpr int kNoPort = -1;

struct Proxy {
  std::string host;  // empty: no proxy
  int port = kNoPort;
  std::string username;
  std::string password;
  std::string domain;
};

struct Channel {
  std::string runtimeName;  // empty: the name under which the channel is asked for
  std::string type = "inMemory";
  std::string host;
  int port = kNoPort;
  std::string runtimePath;  // absolute or empty
};

/// The settings for one server: keys and values of the source, with absolute paths and decimal
/// numbers. A key with several values appears once for each.
using Endpoint = std::vector<std::pair<std::string, std::string>>;

/// The values of one source, with defaults. Empty texts are not configured.
struct Configuration {
  std::string source;            // as it was given
  std::string workingDirectory;  // absolute or empty
  std::string loggingLevel = "runtimeinfo";
  Proxy proxy;
  // Keys: runtime name in lower case, then configuration name.
  std::map<std::string, std::map<std::string, Channel>, std::less<>> runtimes;
  std::map<std::string, Endpoint, std::less<>> endpoints;  // by "address:port"
};

/// Converts ASCII letters only, regardless of the host's locale.
inline std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return lower;
}

}  // namespace Ferrolink::Companions

#endif
