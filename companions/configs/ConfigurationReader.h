#ifndef FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONREADER_H
#define FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONREADER_H

#include <string>

#include "companions/configs/Configuration.h"

namespace Ferrolink::Companions {

/// The configuration that the JSON text `text` describes; relative paths in it count from the
/// absolute path `baseDirectory`. `source` stays empty. Throws ConfigurationError at the first
/// value that is not as documented; its text contains no value of the proxy.
Configuration ReadConfiguration(const std::string& text, const std::string& baseDirectory);

}  // namespace Ferrolink::Companions

#endif
