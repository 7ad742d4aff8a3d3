#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTLIBRARY_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTLIBRARY_H

#include <cstdint>

#include "companions/tcp/client/ClientChannel.h"
#include "native/Export.h"
#include "native/interfaces/ITransport.h"

namespace Ferrolink::Companions::Tcp::Client {

/// Each library's own.
extern const LibraryKind kLibraryKind;

}  // namespace Ferrolink::Companions::Tcp::Client

/// The one door of both client libraries: a new channel to the server at an address, which the
/// caller deletes; null without an address or memory. Does not connect. Any thread.
extern "C" FERROLINK_EXPORT Ferrolink::Native::Interfaces::ITransport* CreateTransportChannel(
    const char* host, std::uint16_t port);

#endif
