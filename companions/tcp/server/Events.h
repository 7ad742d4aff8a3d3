#ifndef FERROLINK_COMPANIONS_TCP_SERVER_EVENTS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_EVENTS_H

#include <cstddef>
#include <string>

/// What happens to a server and is worth a line of its log. Any thread.
namespace Ferrolink::Companions::Tcp::Server::Events {

/// One line on standard error, in one piece.
void line(const std::string& text);

/// A connection that was ended before a command, or in place of one.
void refused(const std::string& client, const std::string& why);
/// A connection that ended otherwise than between frames.
void broke(const std::string& client, const std::string& why);
/// A command that was not begun; its connection goes on or ends.
void notBegun(const std::string& client, const std::string& why);
/// A connection was closed to make room for others.
void displaced(const std::string& client);
/// Connections cannot be accepted for a while.
void cannotAccept(const std::string& why);

/// Certificates, authorities and revocation lists were read again.
void certificatesRead();
/// They could not be; those from before stay.
void certificatesKept(const std::string& why);
/// Clients will refuse the server's own certificate.
void certificateNotValid(const std::string& file, const std::string& why);

/// The grace after the signal is over; that many sessions were still there.
void cut(std::size_t sessions);
/// That many handlers do not return; the process ends without them.
void abandoned(std::size_t sessions);

}  // namespace Ferrolink::Companions::Tcp::Server::Events

#endif
