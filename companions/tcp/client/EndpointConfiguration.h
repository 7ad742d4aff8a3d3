#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_ENDPOINTCONFIGURATION_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_ENDPOINTCONFIGURATION_H

#include <string>
#include <vector>

#include "companions/tcp/client/Peer.h"

namespace Ferrolink::Companions::Tcp::Client {

/// What the process's configuration says of one server, in libConfigs.so beside this library;
/// docs/configuration.md describes the keys. Nothing where that library is missing.
class EndpointConfiguration {
 public:
  /// Errors: ClientError 006 where the configuration cannot be read.
  explicit EndpointConfiguration(const Peer& endpoint);

  /// The values of a key in their order; the single value, or an empty text.
  [[nodiscard]] std::vector<std::string> All(const std::string& key) const;
  [[nodiscard]] std::string One(const std::string& key) const;

  /// Changes whenever the configuration has been replaced. Any thread.
  static unsigned Revision();

 private:
  std::string m_lines;  ///< "key=value\n" each
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
