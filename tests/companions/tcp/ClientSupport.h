#ifndef FERROLINK_TESTS_COMPANIONS_TCP_CLIENTSUPPORT_H
#define FERROLINK_TESTS_COMPANIONS_TCP_CLIENTSUPPORT_H

#include <dlfcn.h>

#include <cstdint>
#include <set>
#include <string>

#include "tests/companions/tcp/TcpSupport.h"

/// Expected texts and test data for the client libraries.
namespace Ferrolink::Tests {

/// An error text with that code; `rest` follows its first line.
std::string ClientError(int code, const std::string& rest);
std::string Broken(const Port& port, const std::string& when, const std::string& reason);
std::string NotConnected(const Port& port, const std::string& reason);
std::string NoPeer(const Port& port, const std::string& what, const std::string& advice);
std::string NotBegun(const std::string& server, const std::string& text);

inline constexpr const char* kCorrect = "Correct address and port.";

/// Sets the source of the built installation's configuration library: the endpoint `address` with
/// these members, in JSON.
void Configure(const std::string& address, const std::string& members);

/// The command with that kind in its header.
std::string OfKind(char channelType, std::string command);
/// A call of "echo" with that time limit.
std::string CallWithin(std::uint32_t milliseconds, std::string_view payload = "");

/// The milliseconds in a frame's header.
std::uint32_t MillisecondsIn(const std::string& header);

/// The descriptors of this process's sockets.
std::set<int> OpenSockets();
/// The socket that is connected to that port, or -1.
int SocketTo(std::uint16_t port);

}  // namespace Ferrolink::Tests

#endif
