#ifndef FERROLINK_COMPANIONS_TCP_SERVER_LOGLINE_H
#define FERROLINK_COMPANIONS_TCP_SERVER_LOGLINE_H

#include <string>

#include "companions/tcp/server/ServerLog.h"

namespace Ferrolink::Companions::Tcp::Server {

/// What follows time and level in a line: `name peer=... reason="..."`, or members of a JSON object
/// without the braces. At most `longest` bytes; the texts in it are shortened for that and then end
/// with "...".
std::string LogLineOf(const LogEvent& event, LogFormat format, std::size_t longest);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
