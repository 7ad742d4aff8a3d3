#ifndef FERROLINK_COMPANIONS_TOOL_ENDPOINTSETTINGS_H
#define FERROLINK_COMPANIONS_TOOL_ENDPOINTSETTINGS_H

#include <string>

#include "companions/configs/Configuration.h"
#include "companions/tool/Address.h"

namespace Ferrolink::Companions::Tool {

/// The settings of a configuration for a server that the user names: those of the endpoint for its
/// address and port, or else those of the first endpoint that connects to it. Empty if there are
/// none.
Endpoint EndpointFor(const Configuration& configuration, const Address& server);

/// The first value of a key; empty without one.
std::string ValueOf(const Endpoint& endpoint, const std::string& key);

/// A configuration, as JSON text, in which the address `key` stands for the server. The settings
/// for that server and those of the error log are kept. Other endpoints and all runtimes are not.
std::string ConfigurationFor(const Configuration& configuration, const Address& server,
                             const std::string& key);

}  // namespace Ferrolink::Companions::Tool

#endif
