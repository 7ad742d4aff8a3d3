// libFerrolinkTcpClient.so: channels over TCP as it is.
#include <memory>
#include <utility>

#include "companions/tcp/client/ClientLibrary.h"

namespace Ferrolink::Companions::Tcp::Client {

std::unique_ptr<Connection> secure(PatientSocket socket, std::uint32_t limit,
                                   const Peer& /*peer*/) {
  return std::make_unique<PlainConnection>(std::move(socket), limit);
}

}  // namespace Ferrolink::Companions::Tcp::Client
