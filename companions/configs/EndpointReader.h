#ifndef FERROLINK_COMPANIONS_CONFIGS_ENDPOINTREADER_H
#define FERROLINK_COMPANIONS_CONFIGS_ENDPOINTREADER_H

#include <string>

#include "companions/configs/Configuration.h"
#include "companions/configs/JsonNode.h"

namespace Ferrolink::Companions {

/// Reads the endpoint `node`, the member with the key `address`. Relative paths count from
/// `baseDirectory`. Throws ConfigurationError at the first wrong value.
Endpoint ReadEndpoint(const std::string& address, const JsonNode& node,
                      const std::string& baseDirectory);

}  // namespace Ferrolink::Companions

#endif
