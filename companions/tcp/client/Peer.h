#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_PEER_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_PEER_H

#include <cstdint>
#include <string>

namespace Ferrolink::Companions::Tcp::Client {

/// The address of a server.
struct Peer {
  std::string host;
  std::uint16_t port = 0;
  bool mayBeName = false;  ///< `host` is looked up if it is no address

  [[nodiscard]] std::string Name() const {
    const bool isVersion6 = host.find(':') != std::string::npos;
    return (isVersion6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
  }
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
