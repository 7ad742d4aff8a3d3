// libFerrolinkTcpClient.so: channels over plain TCP.
#include <memory>
#include <utility>

#include "companions/tcp/Connection.h"
#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/client/ClientChannel.h"
#include "companions/tcp/client/ClientLibrary.h"
#include "companions/tcp/client/ClientSettings.h"
#include "companions/tcp/client/Peer.h"
#include "ferrolink/protocol/CommandParts.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

std::unique_ptr<Connection> KeepPlain(PatientSocket socket, const ClientSettings& settings,
                                      const Peer& /*server*/) {
  return std::make_unique<PlainConnection>(std::move(socket), settings.frameLimit);
}

}  // namespace

const LibraryKind kLibraryKind{Protocol::Header::kChannelTcp, Protocol::Header::kChannelTls,
                               "libFerrolinkTcpTlsClient.so", KeepPlain};

}  // namespace Ferrolink::Companions::Tcp::Client
