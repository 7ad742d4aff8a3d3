// libFerrolinkTcpClient.so: channels over TCP as it is.
#include <memory>
#include <utility>

#include "companions/tcp/client/ClientLibrary.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

std::unique_ptr<Connection> keepPlain(PatientSocket socket, const ClientSettings& settings,
                                      const Peer& /*server*/) {
  return std::make_unique<PlainConnection>(std::move(socket), settings.frameLimit);
}

}  // namespace

const LibraryKind libraryKind{kPlainChannel, kTlsChannel, "libFerrolinkTcpTlsClient.so", keepPlain};

}  // namespace Ferrolink::Companions::Tcp::Client
