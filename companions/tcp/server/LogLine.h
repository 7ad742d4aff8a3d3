#ifndef FERROLINK_COMPANIONS_TCP_SERVER_LOGLINE_H
#define FERROLINK_COMPANIONS_TCP_SERVER_LOGLINE_H

#include <cstddef>
#include <string>

#include "companions/tcp/server/ServerLog.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The part of a line after time and level: `name peer=... reason="..."`, or members of a JSON
/// object without the braces. It has at most `longest` bytes. Texts are shortened for that and end
/// with "..." then.
std::string LogLineOf(const LogEvent& event, LogFormat format, std::size_t longest);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
