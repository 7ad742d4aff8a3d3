#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_SERVERTEXT_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_SERVERTEXT_H

#include <cstdint>
#include <span>
#include <string>

namespace Ferrolink::Companions::Tcp::Client {

/// An error text that a server sent, fit to be shown. UTF-8 stays as it is, with its line breaks
/// and tabs; other control characters and bytes that are no UTF-8 appear as \xNN. Cut off at 64
/// KiB.
std::string serverText(std::span<const std::uint8_t> bytes);

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
