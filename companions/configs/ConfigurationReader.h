#ifndef FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONREADER_H
#define FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONREADER_H

#include <string>

#include "companions/configs/Configuration.h"

namespace Ferrolink::Companions {

/// Parses a configuration from the JSON text `text`. Relative paths count from the absolute path
/// `baseDirectory`. `source` stays empty. Throws ConfigurationError at the first wrong value; its
/// text has no value of the proxy.
Configuration ReadConfiguration(const std::string& text, const std::string& baseDirectory);

}  // namespace Ferrolink::Companions

#endif
