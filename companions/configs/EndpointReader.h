#ifndef FERROLINK_COMPANIONS_CONFIGS_ENDPOINTREADER_H
#define FERROLINK_COMPANIONS_CONFIGS_ENDPOINTREADER_H

#include <string>

#include "companions/configs/Configuration.h"
#include "companions/configs/JsonNode.h"

namespace Ferrolink::Companions {

/// The endpoint `node`, which stands under the key `address`; relative paths in it count from
/// `baseDirectory`. Throws ConfigurationError at the first value that is not as documented.
Endpoint ReadEndpoint(const std::string& address, const JsonNode& node,
                      const std::string& baseDirectory);

}  // namespace Ferrolink::Companions

#endif
