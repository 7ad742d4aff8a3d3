#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_ENDPOINTCONFIGURATION_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_ENDPOINTCONFIGURATION_H

#include <string>
#include <vector>

#include "companions/tcp/client/Peer.h"

namespace Ferrolink::Companions::Tcp::Client {

/// The process's configuration for one server, from libConfigs.so in the directory of this library;
/// docs/configuration.md describes the keys. Empty if that library is missing.
class EndpointConfiguration {
 public:
  /// Errors: ClientError 006 if the configuration cannot be read.
  explicit EndpointConfiguration(const Peer& endpoint);

  /// `All` returns the values of a key, in order. `One` returns the only value, or an empty text.
  [[nodiscard]] std::vector<std::string> All(const std::string& key) const;
  [[nodiscard]] std::string One(const std::string& key) const;

  /// Changes with each new configuration. Thread-safe.
  static unsigned Revision();

 private:
  std::string m_lines;  ///< "key=value\n" each
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
