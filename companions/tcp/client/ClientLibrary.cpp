#include "companions/tcp/client/ClientLibrary.h"

#include <exception>

#include "companions/tcp/client/Peer.h"

using Ferrolink::Companions::Tcp::Client::ClientChannel;
using Ferrolink::Companions::Tcp::Client::kLibraryKind;
using Ferrolink::Companions::Tcp::Client::Peer;

Ferrolink::Native::Interfaces::ITransport* CreateTransportChannel(const char* host,
                                                                  std::uint16_t port) {
  if (host == nullptr) {
    return nullptr;
  }
  try {
    return new ClientChannel(Peer{host, port}, kLibraryKind);
  } catch (const std::exception&) {
    return nullptr;
  }
}
