#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTLIBRARY_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTLIBRARY_H

#include <cstdint>

#include "companions/tcp/client/ClientChannel.h"
#include "native/Export.h"
#include "native/interfaces/ITransport.h"

namespace Ferrolink::Companions::Tcp::Client {

/// Each library defines its own.
extern const LibraryKind kLibraryKind;

}  // namespace Ferrolink::Companions::Tcp::Client

/// The entry point of both client libraries: a new channel to the server at an address; null
/// without an address or memory. The caller owns the channel. Does not connect. Thread-safe.
extern "C" FERROLINK_EXPORT Ferrolink::Native::Interfaces::ITransport* CreateTransportChannel(
    const char* host, std::uint16_t port);

#endif
