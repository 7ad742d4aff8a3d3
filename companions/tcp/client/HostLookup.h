#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_HOSTLOOKUP_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_HOSTLOOKUP_H

#include <asio/ip/address.hpp>
#include <string>
#include <vector>

#include "companions/tcp/PatientSocket.h"

namespace Ferrolink::Companions::Tcp::Client {

/// The addresses of a host, in the order to try them; at least one. The system's resolver cannot be
/// interrupted, so it runs on a thread of its own, which continues after the deadline. Errors:
/// std::system_error, also asio::error::timed_out at `deadline`.
std::vector<asio::ip::address> LookUpHost(const std::string& host,
                                          PatientSocket::Clock::time_point deadline);

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
