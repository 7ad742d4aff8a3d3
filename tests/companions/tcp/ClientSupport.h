#ifndef FERROLINK_TESTS_COMPANIONS_TCP_CLIENTSUPPORT_H
#define FERROLINK_TESTS_COMPANIONS_TCP_CLIENTSUPPORT_H

#include <dlfcn.h>

#include <cstdint>
#include <set>
#include <string>

#include "tests/companions/tcp/TcpSupport.h"

/// What tests of the client libraries expect of them, and what they tell them.
namespace Ferrolink::Tests {

/// An error text of that code. `rest` follows its line.
std::string ClientError(int code, const std::string& rest);
std::string Broken(const Port& port, const std::string& when, const std::string& reason);
std::string NotConnected(const Port& port, const std::string& reason);
std::string NoPeer(const Port& port, const std::string& what, const std::string& advice);
std::string NotBegun(const std::string& server, const std::string& text);

inline constexpr const char* kCorrect = "Correct address and port.";

/// Gives the configuration library of the built installation a source: the endpoint `address` with
/// these members, in JSON.
void Configure(const std::string& address, const std::string& members);

/// A command that goes by that kind, whatever else is in it.
std::string OfKind(char channelType, std::string command);
/// A call of "echo" within that time.
std::string CallWithin(std::uint32_t milliseconds, std::string_view payload = "");

/// The milliseconds in a frame's header.
std::uint32_t MillisecondsIn(const std::string& header);

/// The descriptors of this process's sockets.
std::set<int> OpenSockets();
/// The one of them that is connected to that port; -1 where there is none.
int SocketTo(std::uint16_t port);

}  // namespace Ferrolink::Tests

#endif
